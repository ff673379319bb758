// Runs the shares of one job on a group of slots of the thread pool.
#include "thread_pool/slot_group.h"

#include <array>
#include <cassert>
#include <exception>
#include <utility>

#include "thread_pool/thread_slot.h"

namespace velmora {
namespace {

/// Slots with running shares. finish() waits for them and frees the slots; so does the end of a
/// group that the caller's own share has left with an exception.
class RunningGroup {
 public:
  /// Takes all slots before it starts the first share: a group is entered whole.
  template <typename ArgumentOf>
  RunningGroup(std::span<const int32_t> slots, SR_ThreadJob job, ArgumentOf argumentOf)
      : slots_(slots) {
    for (const int32_t slot : slots)
      MultiThread_wait(slot);
    for (std::size_t k = 0; k < slots.size(); ++k) {
      assert(slots[k] >= 0 && slots[k] < VELMORA_SR_THREAD_SLOTS);
      MultiThread_set(slots[k], job, argumentOf(k));
      keepFailure(slots[k], &failures_[k]);
      MultiThread_post(slots[k]);
    }
  }
  ~RunningGroup() { cleanSlots(); }

  /// Throws what the first of the failed shares has thrown.
  void finish() {
    cleanSlots();
    for (const std::exception_ptr& failure : failures_)
      if (failure != nullptr) std::rethrow_exception(failure);
  }
  RunningGroup(const RunningGroup&) = delete;
  RunningGroup& operator=(const RunningGroup&) = delete;

 private:
  void cleanSlots() {
    for (const int32_t slot : std::exchange(slots_, {}))
      MultiThread_clean(slot);
  }

  std::span<const int32_t> slots_;
  std::array<std::exception_ptr, VELMORA_SR_THREAD_SLOTS> failures_;
};

}  // namespace

void runOnSlots(std::span<const int32_t> slots, SR_ThreadJob job, void* arg, int32_t callerIndex) {
  assert(job != nullptr);
  RunningGroup group(slots, job, [arg](std::size_t) { return arg; });
  job(arg, callerIndex);
  group.finish();
}

void runOnSlots(std::span<const int32_t> slots, SR_ThreadJob job, std::span<void* const> args,
                int32_t callerIndex) {
  assert(job != nullptr && args.size() == slots.size() + 1);
  RunningGroup group(slots, job, [args](std::size_t k) { return args[k]; });
  job(args.back(), callerIndex);
  group.finish();
}

void runOnSlotsOnly(std::span<const int32_t> slots, SR_ThreadJob job, void* arg) {
  assert(job != nullptr);
  RunningGroup group(slots, job, [arg](std::size_t) { return arg; });
  group.finish();
}

}  // namespace velmora
