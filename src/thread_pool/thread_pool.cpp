// The process-wide pool of sixteen worker threads with fixed slots.
#include "velmora_sr/thread_pool.h"

#include <limits.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cfenv>
#include <cstdio>
#include <span>

#include "logging/log.h"
#include "thread_pool/thread_slot.h"

namespace {

std::array<SR_ThreadSlot, VELMORA_SR_THREAD_SLOTS> slots = {};
int32_t userCount = 0;
int32_t createdThreads = 0;

/// Jobs take a tenth of it; the system's default is megabytes of address space for each worker.
constexpr std::size_t kStackSize = 256 * 1024;

SR_ThreadSlot* slotAt(int32_t slot) {
  if (slot < 0 || slot >= VELMORA_SR_THREAD_SLOTS) return nullptr;
  return &slots[static_cast<std::size_t>(slot)];
}

/// Takes one from a semaphore; a signal handler that interrupts the wait does not end it.
void take(sem_t& semaphore) {
  while (sem_wait(&semaphore) != 0 && errno == EINTR) {
  }
}

bool tryTake(sem_t& semaphore) {
  int result;
  do {
    result = sem_trywait(&semaphore);
  } while (result != 0 && errno == EINTR);
  return result == 0;
}

/// Runs the job that is set in a slot. Whatever the job throws ends here: an exception must neither
/// end the worker nor keep the slot's owner waiting.
void runJob(const SR_ThreadSlot& slot, int32_t index) {
  try {
    slot.job(slot.arg, index);
  } catch (...) {
    if (slot.failure != nullptr) *slot.failure = std::current_exception();
  }
}

void* workerLoop(void* indexPointer) {
  SR_ThreadSlot& slot = *slotAt(*static_cast<const int32_t*>(indexPointer));
  for (;;) {
    take(slot.startSem);
    if (slot.exitFlag != 0) return nullptr;
    if (slot.job == nullptr) continue;
    // A thread inherits the rounding and the traps of whoever started the pool.
    std::fesetenv(FE_DFL_ENV);
    runJob(slot, slot.index);
    sem_post(&slot.doneSem);
  }
}

bool startWorker(SR_ThreadSlot& slot, int32_t index, const pthread_attr_t& attribute) {
  sem_init(&slot.startSem, 0, 0);
  sem_init(&slot.doneSem, 0, 1);
  slot.index = index;
  slot.exitFlag = 0;
  slot.job = nullptr;
  slot.arg = nullptr;
  slot.failure = nullptr;
  int error = pthread_create(&slot.thread, &attribute, workerLoop, &slot.index);
  // Thread-local variables count as stack: those of the host may not fit.
  if (error == EINVAL) error = pthread_create(&slot.thread, nullptr, workerLoop, &slot.index);
  if (error != 0) {
    sem_destroy(&slot.startSem);
    sem_destroy(&slot.doneSem);
    return false;
  }
  slot.hasWorker = 1;
  return true;
}

/// Ends the workers of slots whose jobs are all done.
void endWorkers(std::span<SR_ThreadSlot> workers) {
  for (SR_ThreadSlot& slot : workers) {
    take(slot.doneSem);
    slot.exitFlag = 1;
    sem_post(&slot.startSem);
    pthread_join(slot.thread, nullptr);
    sem_destroy(&slot.startSem);
    sem_destroy(&slot.doneSem);
    slot.hasWorker = 0;
  }
}

/// In the child of a fork the workers do not exist, and what they were at is lost. The users stay:
/// each of them still owes its MultiThread_destory.
void forgetWorkers() {
  createdThreads = 0;
  for (SR_ThreadSlot& slot : slots) {
    slot.failure = nullptr;
    slot.hasWorker = 0;
  }
}

// Once, when the library is loaded: handlers cannot be taken back.
[[maybe_unused]] const int forkHandler = pthread_atfork(nullptr, nullptr, forgetWorkers);

}  // namespace

int32_t MultiThread_Init(int32_t /*n*/) {
  velmora::printProgress("%s s_thread_index:%d", __func__, userCount);
  if (userCount++ > 0) {
    velmora::printProgress("MultiThread_Init already init threads");
    return 0;
  }
  createdThreads = 0;
  pthread_attr_t attribute;
  if (pthread_attr_init(&attribute) != 0) {
    velmora::printProgress("Failed to init thread attribute.");
    return -1;
  }
  pthread_attr_setstacksize(&attribute,
                            std::max(kStackSize, static_cast<std::size_t>(PTHREAD_STACK_MIN)));
  for (int32_t i = 0; i < VELMORA_SR_THREAD_SLOTS; ++i) {
    if (startWorker(*slotAt(i), i, attribute)) continue;
    velmora::printProgress("[%s] Create Thread Failed!", __func__);
    // Half a pool is no pool: without any worker, posts run their jobs on the caller.
    endWorkers(std::span(slots).first(static_cast<std::size_t>(i)));
    pthread_attr_destroy(&attribute);
    return -1;
  }
  createdThreads = VELMORA_SR_THREAD_SLOTS;
  if (pthread_attr_destroy(&attribute) != 0) {
    velmora::printProgress("[%s] destroy threadAttr Failed!", __func__);
    return -1;
  }
  return 0;
}

int32_t MultiThread_destory() {
  velmora::printProgress("%s s_thread_index:%d", __func__, userCount);
  if (userCount == 0) return 0;
  if (userCount-- > 1) {
    velmora::printProgress("MultiThread_destory wait other module to destory");
    return 0;
  }
  for (int32_t i = 0; i < VELMORA_SR_THREAD_SLOTS; ++i)
    MultiThread_clean(i);
  endWorkers(std::span(slots).first(static_cast<std::size_t>(createdThreads)));
  createdThreads = 0;
  return 0;
}

void MultiThread_set(int32_t slot, SR_ThreadJob job, void* arg) {
  SR_ThreadSlot* target = slotAt(slot);
  if (target == nullptr) return;
  target->job = job;
  target->arg = arg;
}

void velmora::keepFailure(int32_t slot, std::exception_ptr* failure) {
  SR_ThreadSlot* target = slotAt(slot);
  if (target != nullptr) target->failure = failure;
}

int32_t MultiThread_post(int32_t slot) {
  SR_ThreadSlot* target = slotAt(slot);
  if (target == nullptr) return -1;
  if (target->hasWorker != 0) {
    sem_post(&target->startSem);
  } else if (target->job != nullptr) {
    runJob(*target, slot);
  }
  return 0;
}

int32_t MultiThread_wait(int32_t slot) {
  SR_ThreadSlot* target = slotAt(slot);
  if (target == nullptr) return -1;
  if (target->hasWorker != 0) take(target->doneSem);
  return 0;
}

int32_t MultiThread_clean(int32_t slot) {
  SR_ThreadSlot* target = slotAt(slot);
  if (target == nullptr) return -1;
  if (target->hasWorker != 0) take(target->doneSem);
  target->job = nullptr;
  target->arg = nullptr;
  target->failure = nullptr;
  if (target->hasWorker != 0) sem_post(&target->doneSem);
  return 0;
}

int32_t MultiThread_trySet(int32_t slot, SR_ThreadJob job, void* arg) {
  SR_ThreadSlot* target = slotAt(slot);
  if (target == nullptr) return -1;
  if (target->hasWorker != 0 && !tryTake(target->doneSem)) return -1;
  target->job = job;
  target->arg = arg;
  return 0;
}

int32_t MultiThread_post_lock(int32_t slot) {
  SR_ThreadSlot* target = slotAt(slot);
  if (target == nullptr) return -1;
  // A worker takes a post without a job silently, so there is no end to wait for.
  const bool runs = target->job != nullptr;
  MultiThread_post(slot);
  if (runs && target->hasWorker != 0) {
    take(target->doneSem);
    sem_post(&target->doneSem);
  }
  return 0;
}
