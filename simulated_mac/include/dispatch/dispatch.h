#pragma once

// Grand Central Dispatch, as far as the plug-in calls it: the platform's documented declarations in
// their function form, without blocks.

#include <stdint.h>

#define DISPATCH_NOTHROW __attribute__((__nothrow__))

extern "C" {

// Every kind of dispatch object derives from one, as in the C++ side of the platform's header.
typedef struct dispatch_object_s {
  private:
    dispatch_object_s() = delete;
    ~dispatch_object_s() = delete;
    dispatch_object_s(const dispatch_object_s&) = delete;
    void operator=(const dispatch_object_s&) = delete;
} * dispatch_object_t;
typedef struct dispatch_queue_s : public dispatch_object_s{} * dispatch_queue_t;
typedef struct dispatch_queue_attr_s : public dispatch_object_s{} * dispatch_queue_attr_t;
typedef struct dispatch_semaphore_s : public dispatch_object_s{} * dispatch_semaphore_t;
typedef uint64_t dispatch_time_t;
typedef intptr_t dispatch_once_t;
typedef void (*dispatch_function_t)(void*);

#define DISPATCH_TIME_FOREVER (~0ull)

dispatch_queue_t dispatch_queue_create(const char* label,
                                       dispatch_queue_attr_t attr) DISPATCH_NOTHROW;
dispatch_queue_t dispatch_get_main_queue(void) DISPATCH_NOTHROW;
void dispatch_async_f(dispatch_queue_t queue, void* context,
                      dispatch_function_t work) DISPATCH_NOTHROW;
void dispatch_sync_f(dispatch_queue_t queue, void* context,
                     dispatch_function_t work) DISPATCH_NOTHROW;
void dispatch_once_f(dispatch_once_t* predicate, void* context,
                     dispatch_function_t function) DISPATCH_NOTHROW;

dispatch_semaphore_t dispatch_semaphore_create(intptr_t value) DISPATCH_NOTHROW;
intptr_t dispatch_semaphore_wait(dispatch_semaphore_t dsema,
                                 dispatch_time_t timeout) DISPATCH_NOTHROW;
intptr_t dispatch_semaphore_signal(dispatch_semaphore_t dsema) DISPATCH_NOTHROW;

void dispatch_release(dispatch_object_t object) DISPATCH_NOTHROW;
}
