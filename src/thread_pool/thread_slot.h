// One slot of the thread pool.
#ifndef VELMORA_SRC_THREAD_POOL_THREAD_SLOT_H
#define VELMORA_SRC_THREAD_POOL_THREAD_SLOT_H

#include <pthread.h>
#include <semaphore.h>

#include <cstdint>
#include <exception>

#include "velmora_sr/thread_pool.h"

/// A slot is free (doneSem 1, no job), owned (doneSem 0), armed (job set), running (startSem
/// posted), finished (doneSem posted by the worker) and free again after MultiThread_clean. The
/// semaphores are the only ordering between its owner and its worker.
struct SR_ThreadSlot {
  pthread_t thread;
  uint8_t exitFlag;  ///< 1 tells the worker to end at the next post
  sem_t startSem;    ///< 0 when idle; one post starts one job
  sem_t doneSem;     ///< the slot's token: 1 when free; who takes it owns the slot
  int32_t index;     ///< the slot's number, passed to every job
  SR_ThreadJob job;  ///< null when no job is set
  void* arg;         ///< the job's argument
  /// Takes what the job throws; null when nobody asks.
  std::exception_ptr* failure;
  uint8_t
      hasWorker;  ///< 1 while thread runs and the semaphores exist; changed by start and end only
};

namespace velmora {

/// Between MultiThread_set and MultiThread_post of a slot: what its job throws goes to *failure,
/// which must live until the slot is cleaned. Without this call it is dropped.
void keepFailure(int32_t slot, std::exception_ptr* failure);

}  // namespace velmora

#endif  // VELMORA_SRC_THREAD_POOL_THREAD_SLOT_H
