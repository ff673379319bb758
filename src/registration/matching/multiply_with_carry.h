// The pseudo-random generator of the registration: the same draws on every machine.
#ifndef VELMORA_SRC_REGISTRATION_MULTIPLY_WITH_CARRY_H
#define VELMORA_SRC_REGISTRATION_MULTIPLY_WITH_CARRY_H

#include <cstdint>

namespace velmora {

/// Every use of the generator starts here, so that equal input gives equal results.
inline constexpr unsigned long long kRandomSeed = ~0ULL;

/// Marsaglia's multiply-with-carry: the low word of the state is the value, the high one the carry.
inline uint32_t nextRandom(unsigned long long& state) {
  constexpr uint64_t kMultiplier = 4164903690u;
  state = (state & 0xFFFFFFFFu) * kMultiplier + (state >> 32);
  return static_cast<uint32_t>(state);
}

}  // namespace velmora

#endif  // VELMORA_SRC_REGISTRATION_MULTIPLY_WITH_CARRY_H
