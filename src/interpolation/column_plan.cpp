// Column plans: the horizontal positions and taps of a plane, computed once for all its rows.
#include "interpolation/column_plan.h"

#include <algorithm>
#include <cstddef>

namespace velmora {
namespace {

/// Padded column of the first tap. Positions further outside read the same edge sample four times.
int32_t firstTapColumn(const PlaneGeometry& geometry, int64_t sample) {
  const int64_t column = sample + kFirstTap;
  return static_cast<int32_t>(std::clamp<int64_t>(column, -kTaps, geometry.paddedWidth()));
}

/// The columns whose four taps lie in the row. Positions are monotonic, so they are one run.
class InsideColumns {
 public:
  explicit InsideColumns(const PlaneGeometry& geometry)
      : last_(geometry.paddedWidth() - kTaps), begin_(geometry.outW), end_(geometry.outW) {}

  /// Takes note of column j = 0, 1, ... and its first tap.
  void add(int32_t j, int32_t first) {
    if (first < 0 || first > last_) return;
    begin_ = std::min(begin_, j);
    end_ = j + 1;
  }
  [[nodiscard]] int32_t begin() const { return begin_; }
  [[nodiscard]] int32_t end() const { return end_; }

 private:
  int32_t last_;
  int32_t begin_;
  int32_t end_;
};

}  // namespace

bool ColumnPlanOwner::build(const PlaneGeometry& geometry, const PhaseTable& table) {
  const auto count = static_cast<std::size_t>(geometry.outW);
  first_ = HeapBuffer<int32_t>(count);
  taps_ = HeapBuffer<int16_t>(kTaps * count);
  if (!first_ || !taps_) return false;
  int32_t* first = first_.data();

  const AxisGrid grid = geometry.columns();
  InsideColumns inside(geometry);
  for (int32_t j = 0; j < geometry.outW; ++j) {
    first[j] = firstTapColumn(geometry, grid.sample(j));
    inside.add(j, first[j]);
    const int16_t* taps = table.rows[table.phase(grid.fraction(j))];
    std::copy_n(taps, kTaps, taps_.data() + std::ptrdiff_t{j} * kTaps);
  }
  plan_ = {.count = geometry.outW,
           .sourceWidth = geometry.paddedWidth(),
           .insideBegin = inside.begin(),
           .insideEnd = inside.end(),
           .first = first,
           .taps = taps_.data()};
  return true;
}

bool FusionColumnsOwner::build(const PlaneGeometry& geometry, const PhaseTable& table) {
  const auto count = static_cast<std::size_t>(geometry.outW);
  values_ = HeapBuffer<int32_t>(4 * count);
  if (!values_) return false;
  int32_t* first = values_.data();
  int32_t* mapColumn = first + count;
  int32_t* fraction = mapColumn + count;
  int32_t* phase = fraction + count;

  const AxisGrid grid = geometry.columns();
  InsideColumns inside(geometry);
  for (int32_t j = 0; j < geometry.outW; ++j) {
    first[j] = firstTapColumn(geometry, grid.sample(j));
    inside.add(j, first[j]);
    mapColumn[j] = clampSample(grid.sample(j), geometry.inW);
    fraction[j] = grid.fraction(j);
    phase[j] = table.phase(fraction[j]);
  }
  plan_ = {.count = geometry.outW,
           .insideBegin = inside.begin(),
           .insideEnd = inside.end(),
           .first = first,
           .mapColumn = mapColumn,
           .fraction = fraction,
           .phase = phase};
  return true;
}

}  // namespace velmora
