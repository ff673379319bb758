// Runs the shares of one job on a group of slots of the thread pool.
//
// This is the protocol that every parallel stage follows: wait for the slots, set and post their
// jobs, run the caller's own share, clean the slots. The call returns when all shares are done;
// what the shares wrote is visible then. It also works while the pool is not running: the slots'
// shares then run on the caller, in the order of the slots, before its own.
//
//   constexpr std::array<int32_t, 3> kSlots = {13, 14, 15};
//   runOnSlots(kSlots, [](void* arg, int32_t index) {
//     auto& pass = *static_cast<const Pass*>(arg);
//     pass.run(index - 12);  // bands 1, 2 and 3 on the slots, band 0 on the caller
//   }, &pass, 12);
//
// The slots are numbers from 0 to 15, each at most once, and none may be in use by the calling
// thread itself. A share that throws fails the whole job: when all are done its exception is thrown
// on to the caller, the caller's own one first, then that of the first failed slot. The results of
// the job count as unfinished.
#ifndef VELMORA_SRC_THREAD_POOL_SLOT_GROUP_H
#define VELMORA_SRC_THREAD_POOL_SLOT_GROUP_H

#include <cstddef>
#include <cstdint>
#include <span>

#include "velmora_sr/thread_pool.h"

namespace velmora {

/// Runs job(arg, slot) on each slot and job(arg, callerIndex) on the caller.
void runOnSlots(std::span<const int32_t> slots, SR_ThreadJob job, void* arg, int32_t callerIndex);

/// Runs job(args[k], slots[k]) on the slots and job(args[slots.size()], callerIndex) on the caller.
/// @param args  one argument per slot, then the caller's
void runOnSlots(std::span<const int32_t> slots, SR_ThreadJob job, std::span<void* const> args,
                int32_t callerIndex);

/// The same for a plain array, which would otherwise be taken for one argument that all share.
template <std::size_t count>
void runOnSlots(std::span<const int32_t> slots, SR_ThreadJob job, void* const (&args)[count],
                int32_t callerIndex) {
  runOnSlots(slots, job, std::span<void* const>(args), callerIndex);
}

/// Runs job(arg, slot) on each slot while the caller waits.
void runOnSlotsOnly(std::span<const int32_t> slots, SR_ThreadJob job, void* arg);

}  // namespace velmora

#endif  // VELMORA_SRC_THREAD_POOL_SLOT_GROUP_H
