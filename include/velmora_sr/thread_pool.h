// The process-wide pool of sixteen worker threads with fixed slots.
#ifndef VELMORA_SR_THREAD_POOL_H
#define VELMORA_SR_THREAD_POOL_H

#include <cstdint>

#include "velmora_sr/export.h"

/// A job: its argument, and the number of the slot that runs it (or the caller's own index).
using SR_ThreadJob = void (*)(void* arg, int32_t index);

VELMORA_API int32_t MultiThread_Init(int32_t n);
VELMORA_API void MultiThread_set(int32_t slot, SR_ThreadJob job, void* arg);
VELMORA_API int32_t MultiThread_post(int32_t slot);
VELMORA_API int32_t MultiThread_wait(int32_t slot);
VELMORA_API int32_t MultiThread_clean(int32_t slot);
VELMORA_API int32_t MultiThread_trySet(int32_t slot, SR_ThreadJob job, void* arg);
VELMORA_API int32_t MultiThread_post_lock(int32_t slot);
VELMORA_API int32_t MultiThread_destory();

#endif  // VELMORA_SR_THREAD_POOL_H
