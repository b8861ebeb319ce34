#pragma once

// A stand-in for Dispatch: the declarations that the Apple device uses, as Apple documents them.

#ifdef __cplusplus
extern "C" {
#endif

typedef struct dispatch_queue_s* dispatch_queue_t;
typedef void (*dispatch_function_t)(void* context);

extern struct dispatch_queue_s _dispatch_main_q;
static inline dispatch_queue_t dispatch_get_main_queue(void) {
    return &_dispatch_main_q;
}
void dispatch_async_f(dispatch_queue_t queue, void* context, dispatch_function_t work);

#ifdef __cplusplus
}
#endif
