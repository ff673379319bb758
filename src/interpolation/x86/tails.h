// What the x86 kernels do one sample at a time: internal linkage, so that each file has its own
// copy compiled with its own flags.
#ifndef VELMORA_SRC_INTERPOLATION_X86_TAILS_H
#define VELMORA_SRC_INTERPOLATION_X86_TAILS_H

#include <cstdint>

#include "kernels/interpolation_kernels.h"

namespace velmora {
namespace {

/// Column j of a row with its source samples clamped to the row.
[[maybe_unused]] void filterOne(const uint8_t* row, const ColumnPlan& plan, int32_t j,
                                int16_t* out) {
  int32_t sum = 2048;
  for (int32_t t = 0; t < 4; ++t) {
    int32_t column = plan.first[j] + t;
    column = column < 0 ? 0 : column;
    column = column < plan.sourceWidth ? column : plan.sourceWidth - 1;
    sum += row[column] * plan.taps[static_cast<int64_t>(4) * j + t];
  }
  out[j] = static_cast<int16_t>(sum >> 12);
}

/// The first and last source columns that `count` columns from j on begin at. Plans rise, or fall
/// where a region is mirrored.
struct Span {
  int32_t low;
  int32_t high;
};
[[maybe_unused]] Span span(const ColumnPlan& plan, int32_t j, int32_t count) {
  const int32_t a = plan.first[j];
  const int32_t b = plan.first[j + count - 1];
  return a < b ? Span{a, b} : Span{b, a};
}

/// Two neighbouring taps as the 32-bit pattern that a multiply-add of pairs wants.
[[maybe_unused]] int tapPair(const int16_t* taps) {
  return static_cast<int>(static_cast<uint16_t>(taps[0]) |
                          static_cast<uint32_t>(static_cast<uint16_t>(taps[1])) << 16);
}

}  // namespace
}  // namespace velmora

#endif  // VELMORA_SRC_INTERPOLATION_X86_TAILS_H
