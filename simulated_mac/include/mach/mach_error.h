#pragma once

#include <mach/mach.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef kern_return_t mach_error_t;

char* mach_error_string(mach_error_t error_value);

#ifdef __cplusplus
}
#endif
