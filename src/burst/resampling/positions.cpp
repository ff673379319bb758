#include "burst/resampling/positions.h"

#include <algorithm>
#include <utility>

#include "burst/resampling/functions.h"

namespace velmora::burst {
namespace {

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

PositionGrid::PositionGrid(Memory& memory, Size size)
    : size_(size),
      nodesPerRow_((size.width - 1) / kNodeSpacing + 2),
      rows_((size.height - 1) / kNodeSpacing + 2),
      nodes_(memory, static_cast<std::size_t>(nodesPerRow_) * static_cast<std::size_t>(rows_) +
                         kSpareNodes) {
  std::fill_n(nodesOf(rows_), kSpareNodes, Node{0, 0});
}

void PositionGrid::limitSlopes(Node* row) const {
  // 512 samples a node: far beyond what any pair of frames has.
  constexpr int32_t kSteepest = 1 << 23;
  for (int32_t i = 1; i < nodesPerRow_; ++i) {
    row[i].x = stepTowards(row[i].x, row[i - 1].x, kSteepest);
    row[i].y = stepTowards(row[i].y, row[i - 1].y, kSteepest);
  }
}

bool PositionGrid::level() const {
  const Node* const first = nodesOf(0);
  for (int32_t j = 0; j < rows_; ++j) {
    const Node* const row = nodesOf(j);
    for (int32_t i = 0; i < nodesPerRow_; ++i) {
      if (row[i].x != first[i].x || row[i].y != row[0].y) return false;
    }
  }
  return true;
}

void PositionGrid::keepColumns(Memory& memory) {
  const Buffer<int32_t> y(memory, static_cast<std::size_t>(size_.width));
  Buffer<int32_t> x(memory, y.size());
  row(0, 0, size_.width, x.data(), y.data());
  columns_ = std::move(x);
}

void PositionGrid::row(int32_t y, int32_t left, int32_t right, int32_t* x, int32_t* yOut) const {
  const Node* const upper = nodesOf(y / kNodeSpacing);
  const Node* const lower = upper + nodesPerRow_;
  const NodeRow nodes = {&upper->x, &lower->x, y % kNodeSpacing};
  if (columns_.data() == nullptr) {
    resamplingFunctions().positions(nodes, left, right, x, yOut);
  } else if (left < right) {
    resamplingFunctions().positions(nodes, left, left + 1, x, yOut);
    std::copy(columns_.data() + left, columns_.data() + right, x);
    std::fill_n(yOut, right - left, yOut[0]);
  }
}

Rect PositionGrid::bounds(const Rect& part) const {
  Node low = {INT32_MAX, INT32_MAX};
  Node high = {INT32_MIN, INT32_MIN};
  // Samples on a row or column of nodes need none beyond it, but for the sake of one rule.
  for (int32_t j = part.top / kNodeSpacing; j <= (part.bottom - 1) / kNodeSpacing + 1; ++j) {
    const Node* const row = nodesOf(j);
    for (int32_t i = part.left / kNodeSpacing; i <= (part.right - 1) / kNodeSpacing + 1; ++i) {
      low = {std::min(low.x, row[i].x), std::min(low.y, row[i].y)};
      high = {std::max(high.x, row[i].x), std::max(high.y, row[i].y)};
    }
  }
  const auto wholeOf = [](int32_t node) { return positionOf(node) >> kPhaseBits; };
  return {wholeOf(low.x), wholeOf(low.y), wholeOf(high.x) + 1, wholeOf(high.y) + 1};
}

}  // namespace velmora::burst
