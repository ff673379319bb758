// The threads of one call on a handle: the library's own, started when first needed and joined at
// the end of the call, or the host's executor.
#ifndef VELMORA_SRC_BURST_HANDLE_CALL_WORKERS_H
#define VELMORA_SRC_BURST_HANDLE_CALL_WORKERS_H

#include <pthread.h>

#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <exception>
#include <mutex>

#include "burst/workers.h"
#include "velmora_sr/burst.h"

namespace velmora::burst {

struct CallWorkersSettings {
  int32_t threads = 1;                     ///< 1 .. 64, the calling one included
  Velmora_SR_BurstExecutor executor = {};  ///< `run` null: the library's own threads
  Velmora_SR_BurstProgress progress = nullptr;
  void* progressUser = nullptr;
};

/// Takes no memory but the stacks of its threads; those that cannot be started are done without.
/// What a part or the host throws comes out of run(), when all parts that had begun have ended.
class CallWorkers final : public Workers {
 public:
  static constexpr int32_t kMostThreads = 64;

  explicit CallWorkers(const CallWorkersSettings& settings) : settings_(settings) {}
  ~CallWorkers() override;
  CallWorkers(const CallWorkers&) = delete;
  CallWorkers& operator=(const CallWorkers&) = delete;

  [[nodiscard]] int32_t count() const override { return settings_.threads; }
  void run(int32_t parts, double weight,
           const std::function<void(int32_t, int32_t)>& part) override;
  /// How much the stages of the call weigh together; called once, before the first of them.
  void begin(double weight) { total_ = weight; }
  void expect(double weight) override;
  /// Tells the host that the call is done. Throws Cancelled, too.
  void finish();

 private:
  using Clock = std::chrono::steady_clock;
  using Part = std::function<void(int32_t, int32_t)>;

  /// One of the library's threads.
  struct Thread {
    pthread_t id;
    CallWorkers* workers;
    int32_t worker;  ///< 1 and up: the calling thread is worker 0
  };

  void startThreads();
  static void* threadMain(void* pointer);
  void workUntilEnd(int32_t worker);
  void runOnThreads();
  void runOnExecutor();
  /// Takes parts until there is none left, or after one part when the deadline has passed.
  void takeParts(int32_t worker);
  void keepFailure() noexcept;
  void tell(double share);
  void tellBetweenParts();
  [[nodiscard]] double position() const;

  const CallWorkersSettings settings_;
  const pthread_t caller_ = pthread_self();

  // The run in progress.
  const Part* part_ = nullptr;
  int32_t parts_ = 0;
  double weight_ = 0;
  std::atomic<int32_t> next_ =
      0;  ///< the first part that nobody has taken; above parts_ at the end
  Clock::time_point deadline_ = Clock::time_point::max();
  std::exception_ptr failure_;  ///< under mutex_

  // How far the call is.
  double told_ = 0;
  double total_ = 1;
  double stageBegin_ = 0;  ///< what the stages before weigh
  double stage_ = 0;       ///< what this one weighs
  double stageDone_ = 0;
  Clock::time_point lastTold_ = {};

  // The library's threads. The rest is under mutex_.
  std::array<Thread, kMostThreads - 1> threads_;
  int32_t started_ = 0;
  bool startTried_ = false;
  std::mutex mutex_;
  std::condition_variable wake_;
  std::condition_variable done_;
  uint64_t round_ = 0;  ///< counts runs
  int32_t wanted_ = 0;  ///< threads that take part in this one
  int32_t active_ = 0;  ///< of them, those that have not finished
  bool ending_ = false;
};

}  // namespace velmora::burst

#endif  // VELMORA_SRC_BURST_HANDLE_CALL_WORKERS_H
