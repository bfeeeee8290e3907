#pragma once

#ifdef __cplusplus
extern "C" {
#endif

/// The process's environment, where a bundle can reach it.
char*** _NSGetEnviron(void);

#ifdef __cplusplus
}
#endif
