// Memory of the process call in progress, for stages that are not handed the call's record.
#ifndef VELMORA_SRC_REGISTRATION_CALL_MEMORY_H
#define VELMORA_SRC_REGISTRATION_CALL_MEMORY_H

#include <cstddef>
#include <cstdint>
#include <limits>

#include "memory/call_buffer.h"
#include "velmora_sr/records.h"

namespace velmora {

/// A product of sizes that stays at the largest value instead of overflowing, so that what is too
/// large for any allocator is refused as such.
constexpr uint64_t saturatingProduct(uint64_t a, uint64_t b) {
  constexpr uint64_t kMax = std::numeric_limits<uint64_t>::max();
  return a != 0 && b > kMax / a ? kMax : a * b;
}

/// `count` values from the allocator of the call in progress; empty when there is no call, no
/// allocator, or not that much memory.
template <typename T>
CallBuffer<T> takeFromCall(uint64_t count) {
  return {Allocator::of(zelkParamPrivate.pub), count};
}

}  // namespace velmora

#endif  // VELMORA_SRC_REGISTRATION_CALL_MEMORY_H
