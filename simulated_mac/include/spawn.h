#pragma once

// The platform's process spawning: what POSIX has, and the platform's own flag that keeps every
// descriptor which the file actions don't name from the child.

#include_next <spawn.h>

#ifndef POSIX_SPAWN_CLOEXEC_DEFAULT
#define POSIX_SPAWN_CLOEXEC_DEFAULT 0x4000
#endif

#ifdef __cplusplus
extern "C" {
#endif

int simulated_posix_spawn(pid_t* pid, const char* path,
                          const posix_spawn_file_actions_t* fileActions,
                          const posix_spawnattr_t* attributes, char* const arguments[],
                          char* const environment[]);
int simulated_posix_spawnattr_setflags(posix_spawnattr_t* attributes, short flags);

#ifdef __cplusplus
}
#endif

#define posix_spawn simulated_posix_spawn
#define posix_spawnattr_setflags simulated_posix_spawnattr_setflags
