// What the x86 functions do one sample at a time: internal linkage, so that each file has its own
// copy compiled with its own flags.
#ifndef VELMORA_SRC_INTERPOLATION_X86_TAILS_H
#define VELMORA_SRC_INTERPOLATION_X86_TAILS_H

#include <cstdint>

#include "interpolation/functions.h"

namespace velmora {
namespace {  // NOLINT(cert-dcl59-cpp)
// NOLINTBEGIN(misc-definitions-in-headers)

/// Column j of a block of rows with its source samples clamped to their row.
[[maybe_unused]] void filterOne(const FilterBlock& block, const ColumnPlan& plan, int32_t j) {
  const int16_t* taps = plan.taps + int64_t{4} * j;
  int32_t columns[4];
  for (int32_t t = 0; t < 4; ++t) {
    const int32_t column = plan.first[j] + t;
    const int32_t raised = column < 0 ? 0 : column;
    columns[t] = raised < plan.sourceWidth ? raised : plan.sourceWidth - 1;
  }
  const uint8_t* row = block.source;
  int16_t* out = block.out + j;
  for (int32_t r = 0; r < block.rows; ++r, row += block.sourcePitch, out += block.outPitch) {
    const int32_t sum = row[columns[0]] * taps[0] + row[columns[1]] * taps[1] +
                        row[columns[2]] * taps[2] + row[columns[3]] * taps[3];
    *out = static_cast<int16_t>((sum + 2048) >> 12);
  }
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

// NOLINTEND(misc-definitions-in-headers)
}  // namespace
}  // namespace velmora

#endif  // VELMORA_SRC_INTERPOLATION_X86_TAILS_H
