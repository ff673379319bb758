// Positions between nodes.
#include <algorithm>

#include "burst/resampling/function_sets.h"
#include "burst/resampling/positions.h"

namespace velmora::burst::scalar {
namespace {

constexpr int32_t kSpacingBits = 3;
static_assert(1 << kSpacingBits == kNodeSpacing);
// Between nodes positions have the nodes' fraction bits and three more per axis.
constexpr int32_t kExcessBits = kNodeBits + 2 * kSpacingBits - kPhaseBits;

// One axis of the positions of samples [from, to) between a node and its right neighbour, `offset`
// samples to the right of the node for the first. Values of the nodes of the two rows around the
// samples' row, which lies `down` eighths below the upper one.
void interpolate(const int32_t* node, const int32_t* below, int32_t down, int32_t from, int32_t to,
                 int32_t offset, int32_t* out) {
  // 17 fraction bits, up to 2^34.
  const auto between = [down](int32_t upper, int32_t lower) {
    return int64_t{upper} * (kNodeSpacing - down) + int64_t{lower} * down;
  };
  const int64_t left = between(node[0], below[0]);
  const int64_t right = between(node[2], below[2]);
  // Up to 2^26: 7 times as much and what is left of the first position stay below 2^31.
  const auto slope = static_cast<int32_t>(right - left);
  const int64_t rounded = (left << kSpacingBits) + (1 << (kExcessBits - 1));
  const auto whole = static_cast<int32_t>(rounded >> kExcessBits);
  const auto fraction = static_cast<int32_t>(rounded & ((1 << kExcessBits) - 1));
  for (int32_t x = from; x < to; ++x)
    out[x] = whole + ((fraction + (offset + x - from) * slope) >> kExcessBits);
}

}  // namespace

void positions(const NodeRow& row, int32_t left, int32_t right, int32_t* x, int32_t* y) {
  for (int32_t from = left; from < right;) {
    const int32_t i = from / kNodeSpacing;
    const int32_t to = std::min(right, (i + 1) * kNodeSpacing);
    const int32_t offset = from % kNodeSpacing;
    const int32_t* upper = row.upper + 2 * std::ptrdiff_t{i};
    const int32_t* lower = row.lower + 2 * std::ptrdiff_t{i};
    interpolate(upper, lower, row.down, from - left, to - left, offset, x);
    interpolate(upper + 1, lower + 1, row.down, from - left, to - left, offset, y);
    from = to;
  }
}

}  // namespace velmora::burst::scalar
