// The slots of the thread pool that feature extraction shares its work among.
#ifndef VELMORA_SRC_REGISTRATION_FEATURE_SLOTS_H
#define VELMORA_SRC_REGISTRATION_FEATURE_SLOTS_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "thread_pool/row_band.h"
#include "thread_pool/slot_group.h"

namespace velmora {

inline constexpr std::array<int32_t, 4> kFeatureSlots = {12, 13, 14, 15};

/// The share of `count` items that a slot works on: a quarter each, rounded down, and what remains
/// for the last. Empty for slots outside the group.
constexpr RowBand shareOfSlot(int32_t slot, int32_t count) {
  return rowBand(count, slot - kFeatureSlots.front(), Remainder::last);
}

/// Runs job(&records[t], 12 + t) on the first slots of the group, one per record, and waits.
template <typename Record, std::size_t kExtent>
void runOnFeatureSlots(std::span<Record, kExtent> records, SR_ThreadJob job) {
  struct Group {
    std::span<Record> records;
    SR_ThreadJob job;
  } group{records, job};
  runOnSlotsOnly(
      std::span(kFeatureSlots).first(records.size()),
      [](void* arg, int32_t slot) {
        auto& g = *static_cast<Group*>(arg);
        g.job(&g.records[slot - kFeatureSlots.front()], slot);
      },
      &group);
}

}  // namespace velmora

#endif  // VELMORA_SRC_REGISTRATION_FEATURE_SLOTS_H
