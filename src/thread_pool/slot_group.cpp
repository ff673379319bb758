// Runs the shares of one job on a group of slots of the thread pool.
#include "thread_pool/slot_group.h"

#include <cassert>

namespace velmora {
namespace {

/// Slots with running shares; its end waits for them and frees the slots.
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
      MultiThread_post(slots[k]);
    }
  }
  ~RunningGroup() {
    for (const int32_t slot : slots_)
      MultiThread_clean(slot);
  }
  RunningGroup(const RunningGroup&) = delete;
  RunningGroup& operator=(const RunningGroup&) = delete;

 private:
  std::span<const int32_t> slots_;
};

}  // namespace

void runOnSlots(std::span<const int32_t> slots, SR_ThreadJob job, void* arg, int32_t callerIndex) {
  assert(job != nullptr);
  const RunningGroup group(slots, job, [arg](std::size_t) { return arg; });
  job(arg, callerIndex);
}

void runOnSlots(std::span<const int32_t> slots, SR_ThreadJob job, std::span<void* const> args,
                int32_t callerIndex) {
  assert(job != nullptr && args.size() == slots.size() + 1);
  const RunningGroup group(slots, job, [args](std::size_t k) { return args[k]; });
  job(args.back(), callerIndex);
}

void runOnSlotsOnly(std::span<const int32_t> slots, SR_ThreadJob job, void* arg) {
  assert(job != nullptr);
  const RunningGroup group(slots, job, [arg](std::size_t) { return arg; });
}

}  // namespace velmora
