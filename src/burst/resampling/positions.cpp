#include "burst/resampling/positions.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "burst/resampling/functions.h"

namespace velmora::burst {
namespace {

constexpr double kOutside = 64;

// A position as it is kept; a result that is no number counts as far outside.
int32_t nodeOf(double position, int32_t size) {
  const double last = std::min(size - 1 + kOutside, 131071.0);
  double p = position;
  if (!(p > -kOutside)) p = -kOutside;
  if (p > last) p = last;
  return static_cast<int32_t>(std::floor(p * (1 << kNodeBits) + 0.5));
}

// `value`, or what lies `limit` from `from` in its direction. Nodes reach +-2^31.
int32_t stepTowards(int32_t value, int32_t from, int32_t limit) {
  const int64_t step = std::clamp<int64_t>(int64_t{value} - from, -limit, limit);
  return static_cast<int32_t>(from + step);
}

// The position of a sample that lies on a node.
int32_t positionOf(int32_t node) {
  constexpr int32_t kShift = kNodeBits - kPhaseBits;
  return (node >> kShift) + ((node >> (kShift - 1)) & 1);
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
      for (int32_t i = 0; i < nodesPerRow_; ++i, node += 2) {
        const Point p = position(
            {static_cast<double>(kNodeSpacing) * i, static_cast<double>(kNodeSpacing) * j});
        node[0] = nodeOf(p.x, target.width);
        node[1] = nodeOf(p.y, target.height);
        if (i == 0) continue;
        // 512 samples a node: far beyond what any pair of frames has.
        constexpr int32_t kSteepest = 1 << 23;
        for (int axis = 0; axis < 2; ++axis)
          node[axis] = stepTowards(node[axis], node[axis - 2], kSteepest);
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
  resamplingFunctions().positions({nodes, nodes + perRow, y % kNodeSpacing}, left, right, x, yOut);
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
