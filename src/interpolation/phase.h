// How a source position picks its sample and its row of a kernel table.
#ifndef VELMORA_SRC_INTERPOLATION_PHASE_H
#define VELMORA_SRC_INTERPOLATION_PHASE_H

#include <cstdint>

namespace velmora {

/// No more phases than this are ever installed, so that phases * fraction stays below 2^26 and the
/// 2D table below 2^20 rows.
inline constexpr int32_t kMaxKernelPhases = 1024;

/// Phase, 0..phases - 1, of a 16.16 source position: the fraction is truncated, never rounded, so
/// that 0xFFFF picks the last phase and not the next sample.
constexpr int32_t kernelPhase(int32_t position, int32_t phases) {
  return (phases * (position & 0xFFFF)) >> 16;
}

/// Whole sample i of a 16.16 source position (towards minus infinity); a row of taps weights the
/// samples i - 1, i, i + 1 and i + 2.
constexpr int32_t kernelSample(int32_t position) {
  return position >> 16;
}

}  // namespace velmora

#endif  // VELMORA_SRC_INTERPOLATION_PHASE_H
