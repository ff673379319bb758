// Where the samples of one grid lie on another: nodes on every eighth sample, integers between.
#ifndef VELMORA_SRC_BURST_RESAMPLING_POSITIONS_H
#define VELMORA_SRC_BURST_RESAMPLING_POSITIONS_H

#include <algorithm>
#include <cstdint>

#include "burst/memory.h"
#include "burst/motion.h"
#include "burst/workers.h"

namespace velmora::burst {

/// Positions are kept with 14 fraction bits (up to +-131071 samples) and used with six: 64 phases.
inline constexpr int32_t kNodeBits = 14;
inline constexpr int32_t kPhaseBits = 6;
inline constexpr int32_t kPhases = 1 << kPhaseBits;
inline constexpr int32_t kNodeSpacing = 8;

/// Maps a grid of `size` samples. A homography with the perspective of a hand-held burst differs
/// from its nodes' bilinear surface by less than 1/1000 sample.
class PositionGrid {
 public:
  PositionGrid() = default;
  /// `position(Point) -> Point` tells where a sample of this grid lies on the other; what lies
  /// farther than 64 samples outside `target` is moved to there, so that positions stay in range.
  template <typename Position>
  PositionGrid(Memory& memory, Workers& workers, Size size, Size target, const Position& position)
      : PositionGrid(memory, size) {
    workers.run((rows_ + kRowsPerPart - 1) / kRowsPerPart, 0, [&](int32_t part, int32_t) {
      const int32_t end = std::min(rows_, (part + 1) * kRowsPerPart);
      for (int32_t j = part * kRowsPerPart; j < end; ++j) {
        Node* const row = nodesOf(j);
        for (int32_t i = 0; i < nodesPerRow_; ++i) {
          const Point p = position(
              {static_cast<double>(kNodeSpacing) * i, static_cast<double>(kNodeSpacing) * j});
          row[i] = {nodeOf(p.x, target.width), nodeOf(p.y, target.height)};
        }
        limitSlopes(row);
      }
    });
    if (level()) keepColumns(memory);
  }

  /// The positions of samples [left, right) of a row, six fraction bits, rounded to nearest.
  void row(int32_t y, int32_t left, int32_t right, int32_t* x, int32_t* yOut) const;

  [[nodiscard]] Size size() const { return size_; }
  /// A rectangle (ends exclusive) around the whole parts of the positions of all samples of a part
  /// of the grid.
  [[nodiscard]] Rect bounds(const Rect& part) const;

 private:
  static constexpr int32_t kRowsPerPart = 16;
  struct Node {
    int32_t x;
    int32_t y;
  };

  PositionGrid(Memory& memory, Size size);

  // A position as it is kept; a result that is no number counts as far outside.
  static int32_t nodeOf(double position, int32_t size) {
    constexpr double kOutside = 64;
    const double last = std::min(size - 1 + kOutside, 131071.0);
    double p = position;
    if (!(p > -kOutside)) p = -kOutside;
    if (p > last) p = last;
    const double rounded = p * (1 << kNodeBits) + 0.5;  // down, not towards 0
    const auto whole = static_cast<int32_t>(rounded);
    return whole - (rounded < whole ? 1 : 0);
  }
  void limitSlopes(Node* row) const;
  // Whether columns and rows of this grid lie along those of the other.
  [[nodiscard]] bool level() const;
  void keepColumns(Memory& memory);
  [[nodiscard]] Node* nodesOf(int32_t row) const {
    return nodes_.data() + std::ptrdiff_t{row} * nodesPerRow_;
  }

  Size size_ = {};
  int32_t nodesPerRow_ = 0;
  int32_t rows_ = 0;
  Buffer<Node> nodes_;
  Buffer<int32_t> columns_;  ///< x of every row of a level grid; none for others
};

}  // namespace velmora::burst

#endif  // VELMORA_SRC_BURST_RESAMPLING_POSITIONS_H
