// The threads of a call.
#ifndef VELMORA_SRC_BURST_WORKERS_H
#define VELMORA_SRC_BURST_WORKERS_H

#include <cstdint>
#include <functional>

namespace velmora::burst {

/// Most workers of a call: arrays of scratch have so many entries.
inline constexpr int32_t kMostWorkers = 64;

/// Stops a call that its host has cancelled.
struct Cancelled {};

/// Runs the parts of a stage on the threads of a call. A part must not depend on another part, on
/// the thread it runs on, or on the order; it takes no memory and throws nothing.
class Workers {
 public:
  virtual ~Workers() = default;
  /// How many parts run at the same time at most: scratch for so many is enough.
  [[nodiscard]] virtual int32_t count() const = 0;
  /// Calls part(i, worker) once for each i in [0, parts), with a worker in [0, count()) that no
  /// other call running at the same time has; returns when all have returned. `weight` is about
  /// what it takes, in nanoseconds of one thread, or 0 for next to nothing: the host's progress
  /// function is told before and between parts, on the thread of the call. Throws Cancelled when it
  /// asks to stop.
  virtual void run(int32_t parts, double weight,
                   const std::function<void(int32_t i, int32_t worker)>& part) = 0;
  /// A stage begins: the runs up to the next expect() weigh about so much together. For the
  /// handle alone, which knows what a call consists of.
  virtual void expect(double weight) = 0;
};

/// All parts on the calling thread.
class OneWorker final : public Workers {
 public:
  [[nodiscard]] int32_t count() const override { return 1; }
  void run(int32_t parts, double, const std::function<void(int32_t, int32_t)>& part) override {
    for (int32_t i = 0; i < parts; ++i)
      part(i, 0);
  }
  void expect(double) override {}
};

}  // namespace velmora::burst

#endif  // VELMORA_SRC_BURST_WORKERS_H
