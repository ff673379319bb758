#include "burst/resampling/positions.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace velmora::burst {
namespace {

constexpr int32_t kSpacingBits = 3;
static_assert(1 << kSpacingBits == kNodeSpacing);
// Between nodes positions have the nodes' fraction bits and three more per axis.
constexpr int32_t kExcessBits = kNodeBits + 2 * kSpacingBits - kPhaseBits;
constexpr double kOutside = 64;

// A position as it is kept; a result that is no number counts as far outside.
int32_t nodeOf(double position, int32_t size) {
  const double last = size - 1 + kOutside;
  double p = position;
  if (!(p > -kOutside)) p = -kOutside;
  if (p > last) p = last;
  return static_cast<int32_t>(std::floor(p * (1 << kNodeBits) + 0.5));
}

// The position of a sample that lies on a node.
int32_t positionOf(int32_t node) {
  constexpr int32_t kShift = kNodeBits - kPhaseBits;
  return (node >> kShift) + ((node >> (kShift - 1)) & 1);
}

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
  // A homography of a real pair stays far below the limit of 2048 samples a node; the others keep
  // inside 32 bits with it: 7 * 2^28 + 2^14 < 2^31.
  constexpr int64_t kSteepest = 1 << 28;
  const auto slope = static_cast<int32_t>(std::clamp(right - left, -kSteepest, kSteepest));
  const int64_t rounded = (left << kSpacingBits) + (1 << (kExcessBits - 1));
  const auto whole = static_cast<int32_t>(rounded >> kExcessBits);
  const auto fraction = static_cast<int32_t>(rounded & ((1 << kExcessBits) - 1));
  for (int32_t x = from; x < to; ++x)
    out[x] = whole + ((fraction + (offset + x - from) * slope) >> kExcessBits);
}

}  // namespace

PositionGrid::PositionGrid(Memory& memory, Workers& workers, Size size, Size target,
                           const std::function<Point(Point)>& position)
    : size_(size), nodesPerRow_((size.width - 1) / kNodeSpacing + 2) {
  const int32_t rows = (size.height - 1) / kNodeSpacing + 2;
  const std::size_t perRow = 2 * static_cast<std::size_t>(nodesPerRow_);
  nodes_ = Buffer<int32_t>(memory, perRow * static_cast<std::size_t>(rows));
  constexpr int32_t kRowsPerPart = 16;
  workers.run((rows + kRowsPerPart - 1) / kRowsPerPart, 0, [&](int32_t part, int32_t) {
    const int32_t end = std::min(rows, (part + 1) * kRowsPerPart);
    for (int32_t j = part * kRowsPerPart; j < end; ++j) {
      int32_t* node = nodes_.data() + perRow * static_cast<std::size_t>(j);
      for (int32_t i = 0; i < nodesPerRow_; ++i) {
        const Point p = position(
            {static_cast<double>(kNodeSpacing) * i, static_cast<double>(kNodeSpacing) * j});
        *node++ = nodeOf(p.x, target.width);
        *node++ = nodeOf(p.y, target.height);
      }
    }
  });
  int64_t reach = 0;
  for (int32_t j = 0; j + 1 < rows; ++j) {
    const int32_t* node = nodes_.data() + perRow * static_cast<std::size_t>(j);
    const int32_t* below = node + perRow;
    for (std::size_t i = 0; i + 2 < perRow; ++i) {
      reach = std::max(
          reach, std::abs(int64_t{node[i + 2]} - node[i]) + std::abs(int64_t{below[i]} - node[i]));
      reach = std::max(reach, std::abs(int64_t{below[i + 2]} - below[i]) +
                                  std::abs(int64_t{below[i + 2]} - node[i + 2]));
    }
  }
  reach_ = static_cast<double>(reach) / (kNodeSpacing << kNodeBits);
}

void PositionGrid::row(int32_t y, int32_t left, int32_t right, int32_t* x, int32_t* yOut) const {
  const std::ptrdiff_t perRow = 2 * std::ptrdiff_t{nodesPerRow_};
  const int32_t* nodes = nodes_.data() + perRow * (y / kNodeSpacing);
  for (int32_t from = left; from < right;) {
    const int32_t i = from / kNodeSpacing;
    const int32_t to = std::min(right, (i + 1) * kNodeSpacing);
    const int32_t* node = nodes + 2 * std::ptrdiff_t{i};
    const int32_t offset = from % kNodeSpacing;
    const int32_t down = y % kNodeSpacing;
    interpolate(node, node + perRow, down, from - left, to - left, offset, x);
    interpolate(node + 1, node + perRow + 1, down, from - left, to - left, offset, yOut);
    from = to;
  }
}

Rect PositionGrid::bounds(const Rect& part) const {
  int32_t low[2] = {INT32_MAX, INT32_MAX};
  int32_t high[2] = {INT32_MIN, INT32_MIN};
  const std::ptrdiff_t perRow = 2 * std::ptrdiff_t{nodesPerRow_};
  // Samples on a row or column of nodes need none beyond it, but for the sake of one rule.
  for (int32_t j = part.top / kNodeSpacing; j <= (part.bottom - 1) / kNodeSpacing + 1; ++j) {
    for (int32_t i = part.left / kNodeSpacing; i <= (part.right - 1) / kNodeSpacing + 1; ++i) {
      const int32_t* node = nodes_.data() + perRow * j + 2 * std::ptrdiff_t{i};
      for (int axis = 0; axis < 2; ++axis) {
        low[axis] = std::min(low[axis], node[axis]);
        high[axis] = std::max(high[axis], node[axis]);
      }
    }
  }
  const auto wholeOf = [](int32_t node) { return positionOf(node) >> kPhaseBits; };
  return {wholeOf(low[0]), wholeOf(low[1]), wholeOf(high[0]) + 1, wholeOf(high[1]) + 1};
}

}  // namespace velmora::burst
