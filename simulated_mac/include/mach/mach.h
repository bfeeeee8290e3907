#pragma once

// Mach ports, as far as the plug-in calls them: the platform's documented declarations.

#ifdef __cplusplus
extern "C" {
#endif

typedef int kern_return_t;
typedef unsigned int mach_port_t;
typedef mach_port_t mach_port_name_t;
typedef mach_port_t ipc_space_t;

#if defined(__aarch64__)
typedef int boolean_t;
#else
typedef unsigned int boolean_t;
#endif

#ifdef __LP64__
typedef unsigned long vm_address_t;
#endif

#define MACH_PORT_NULL 0

extern mach_port_t mach_task_self_;
#define mach_task_self() mach_task_self_

kern_return_t mach_port_deallocate(ipc_space_t task, mach_port_name_t name);

#ifdef __cplusplus
}
#endif
