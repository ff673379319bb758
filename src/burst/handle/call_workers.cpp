#include "burst/handle/call_workers.h"

#include <limits.h>

#include <algorithm>
#include <cerrno>
#include <stdexcept>
#include <utility>

#include "common/float_environment.h"

namespace velmora::burst {
namespace {

using namespace std::chrono_literals;

/// Address space only: what a worker does not touch takes no memory. Large scratch comes from the
/// handle's memory, so that the need is some tens of kilobytes.
constexpr std::size_t kStackSize = 512 * 1024;
/// Between two words to the host while a stage goes on.
constexpr auto kTellingInterval = 5ms;
/// How long an executor may keep the calling thread before the host is told again.
constexpr auto kExecutorTurn = 50ms;

}  // namespace

CallWorkers::~CallWorkers() {
  {
    const std::lock_guard lock(mutex_);
    ending_ = true;
  }
  wake_.notify_all();
  for (int32_t i = 0; i < started_; ++i)
    pthread_join(threads_[static_cast<std::size_t>(i)].id, nullptr);
}

void CallWorkers::startThreads() {
  if (startTried_) return;
  startTried_ = true;
  pthread_attr_t attributes;
  if (pthread_attr_init(&attributes) != 0) return;
  pthread_attr_setstacksize(&attributes,
                            std::max(kStackSize, static_cast<std::size_t>(PTHREAD_STACK_MIN)));
  for (int32_t i = 0; i < settings_.threads - 1; ++i) {
    Thread& thread = threads_[static_cast<std::size_t>(i)];
    thread.workers = this;
    thread.worker = i + 1;
    int error = pthread_create(&thread.id, &attributes, threadMain, &thread);
    // Thread-local variables count as stack: those of the host may not fit.
    if (error == EINVAL) error = pthread_create(&thread.id, nullptr, threadMain, &thread);
    if (error != 0) break;
    ++started_;
  }
  pthread_attr_destroy(&attributes);
}

void* CallWorkers::threadMain(void* pointer) {
  const Thread& thread = *static_cast<const Thread*>(pointer);
  const DefaultFloatEnvironment environment;
  thread.workers->workUntilEnd(thread.worker);
  return nullptr;
}

void CallWorkers::workUntilEnd(int32_t worker) {
  uint64_t seen = 0;
  std::unique_lock lock(mutex_);
  for (;;) {
    wake_.wait(lock, [&] { return ending_ || round_ != seen; });
    if (ending_) return;
    seen = round_;
    if (worker > wanted_) continue;
    lock.unlock();
    takeParts(worker);
    lock.lock();
    if (--active_ == 0) done_.notify_one();
  }
}

void CallWorkers::run(int32_t parts, double weight, const Part& part) {
  part_ = &part;
  parts_ = parts;
  weight_ = weight;
  next_.store(0, std::memory_order_relaxed);
  failure_ = nullptr;
  tell(position());
  if (parts > 1 && settings_.executor.run != nullptr) {
    runOnExecutor();
  } else {
    runOnThreads();
  }
  if (failure_ != nullptr) std::rethrow_exception(std::exchange(failure_, nullptr));
  stageDone_ += weight;
  weight_ = 0;
}

void CallWorkers::runOnThreads() {
  if (parts_ > 1 && settings_.executor.run == nullptr) startThreads();
  const int32_t helpers = std::min(started_, parts_ - 1);
  if (helpers > 0) {
    {
      const std::lock_guard lock(mutex_);
      ++round_;
      wanted_ = helpers;
      active_ = helpers;
    }
    wake_.notify_all();
  }
  takeParts(0);
  if (helpers > 0) {
    std::unique_lock lock(mutex_);
    done_.wait(lock, [&] { return active_ == 0; });
  }
}

void CallWorkers::runOnExecutor() {
  const int32_t lanes = std::min(settings_.threads, parts_);
  const auto lane = [](void* workers, int32_t i) {
    const DefaultFloatEnvironment environment;
    static_cast<CallWorkers*>(workers)->takeParts(i);
  };
  while (next_.load(std::memory_order_relaxed) < parts_) {
    if (settings_.progress != nullptr) deadline_ = Clock::now() + kExecutorTurn;
    const int32_t before = next_.load(std::memory_order_relaxed);
    settings_.executor.run(settings_.executor.user, lane, this, lanes);
    if (next_.load(std::memory_order_relaxed) == before)
      throw std::runtime_error("the host's executor has run no job");
    if (failure_ != nullptr) return;
    tell(position());
  }
}

void CallWorkers::takeParts(int32_t worker) {
  const bool onCaller = pthread_equal(pthread_self(), caller_) != 0;
  try {
    for (bool first = true;; first = false) {
      if (!first && deadline_ != Clock::time_point::max() && Clock::now() >= deadline_) return;
      const int32_t i = next_.fetch_add(1, std::memory_order_relaxed);
      if (i >= parts_) return;
      (*part_)(i, worker);
      if (onCaller) tellBetweenParts();
    }
  } catch (...) {
    keepFailure();
  }
}

void CallWorkers::keepFailure() noexcept {
  // Nobody begins another part.
  next_.store(parts_, std::memory_order_relaxed);
  const std::lock_guard lock(mutex_);
  if (failure_ == nullptr) failure_ = std::current_exception();
}

void CallWorkers::expect(double weight) {
  stageBegin_ += stage_;
  stage_ = weight;
  stageDone_ = 0;
}

double CallWorkers::position() const {
  const int32_t taken = std::min(next_.load(std::memory_order_relaxed), parts_);
  const double ofRun = parts_ > 0 ? static_cast<double>(taken) / parts_ : 1;
  return (stageBegin_ + std::min(stage_, stageDone_ + weight_ * ofRun)) / total_;
}

void CallWorkers::finish() {
  tell(1);
}

void CallWorkers::tellBetweenParts() {
  if (settings_.progress != nullptr && Clock::now() - lastTold_ >= kTellingInterval)
    tell(position());
}

void CallWorkers::tell(double share) {
  if (settings_.progress == nullptr) return;
  told_ = std::clamp(share, told_, 1.0);
  const int32_t answer = settings_.progress(settings_.progressUser, told_);
  lastTold_ = Clock::now();
  if (answer != 0) throw Cancelled();
}

}  // namespace velmora::burst
