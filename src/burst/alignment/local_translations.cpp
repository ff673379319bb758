#include "burst/alignment/local_translations.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "burst/alignment/functions.h"
#include "burst/alignment/level_aligner.h"
#include "burst/alignment/metered_workers.h"
#include "burst/alignment/row_bands.h"

namespace velmora::burst {
namespace {

constexpr double kLongest = 3.5;  // samples
// Of the variance of white noise, what smoothing by [1 2 1] / 4 both ways leaves.
constexpr double kSmoothedNoise = 0.140625;
constexpr int32_t kTileValues = LocalField::kTile * LocalField::kTile;
constexpr int32_t kCellsPerTile = LocalField::kTile / LocalField::kSpacing;

// A level of the registered pair.
struct PairLevel {
  Plane<const int16_t> reference;
  Plane<const int16_t> frame;
  Homography homography;  // of the level
  double gain;
  double bias;
  int32_t cell;  // samples between tiles: half of a tile's side

  // The homography and a translation after it.
  [[nodiscard]] Homography moved(Point by) const {
    return Homography{{1, 0, by.x, 0, 1, by.y, 0, 0, 1}} * homography;
  }
  [[nodiscard]] WarpedRow row(int32_t y, const Homography& by) const {
    WarpedRow warp = warpedRow(by, reference.size, y, frame, {});
    warp.gain = static_cast<float>(gain);
    warp.bias = static_cast<float>(bias);
    return warp;
  }
};

// Gradients of a stretch of a row.
struct Gradients {
  int16_t* x;
  int16_t* y;

  void take(const int16_t* row, const int16_t* above, const int16_t* below, int32_t begin,
            int32_t end) const {
    for (int32_t i = begin; i < end; ++i)
      x[i] = static_cast<int16_t>(row[i + 1] - row[i - 1]);
    for (int32_t i = begin; i < end; ++i)
      y[i] = static_cast<int16_t>(below[i] - above[i]);
  }
  void clear(int32_t begin, int32_t end) const {
    std::fill(x + begin, x + end, int16_t{0});
    std::fill(y + begin, y + end, int16_t{0});
  }
};

// Stretches of rows with their gradients, in memory of one worker.
class Stretch {
 public:
  // Room for `values` entries of each kind.
  Stretch(uint16_t* columns, int16_t* samples, float* sums, int32_t values)
      : columns_(columns),
        values_(samples),
        gradientsX_(samples + values),
        gradientsY_(samples + 2 * int64_t{values}),
        residuals_(sums),
        warped_(sums + values) {}

  // Takes columns [left, left + count) of row y, filled up to a whole group, to entry `at`; the
  // plane's rim has no gradients.
  void take(const Plane<const int16_t>& plane, int32_t y, int32_t left, int32_t count,
            int32_t at) const {
    const int16_t* const row = plane.row(y) + left;
    const int16_t* const above = plane.row(std::max(y - 1, 0)) + left;
    const int16_t* const below = plane.row(std::min(y + 1, plane.size.height - 1)) + left;
    const bool rim = y == 0 || y == plane.size.height - 1;
    const int32_t begin = rim ? count : std::max(1 - left, 0);
    const int32_t end = std::max(begin, std::min(count, plane.size.width - 1 - left));
    const Gradients gradients = {gradientsX_ + at, gradientsY_ + at};
    for (int32_t i = 0; i < count; ++i)
      columns_[at + i] = static_cast<uint16_t>(left + i);
    std::copy_n(row, count, values_ + at);
    gradients.clear(0, begin);
    gradients.take(row, above, below, begin, end);
    gradients.clear(end, count);
    for (int32_t to = at + count; to % kPixelGroup != 0; ++to) {
      columns_[to] = kNoColumn;
      values_[to] = gradientsX_[to] = gradientsY_[to] = 0;
    }
  }

  // Adds the sums of `count` entries from `at` on, cell by cell.
  void addTo(CellSums* sums, const PairLevel& level, const WarpedRow& warp, int32_t at,
             int32_t count, int32_t cell) const {
    const PixelRow row = {columns_ + at,
                          values_ + at,
                          gradientsX_ + at,
                          gradientsY_ + at,
                          (count + kPixelGroup - 1) / kPixelGroup * kPixelGroup,
                          static_cast<float>((level.reference.size.width - 1) / 2.0),
                          static_cast<float>(2.0 / level.reference.size.width)};
    alignmentFunctions().residuals(row, warp, residuals_, warped_);
    alignmentFunctions().addCells(row, residuals_, cell, sums);
  }

 private:
  uint16_t* columns_;
  int16_t* values_;
  int16_t* gradientsX_;
  int16_t* gradientsY_;
  float* residuals_;
  float* warped_;
};

// The stretches of all workers.
class Stretches {
 public:
  Stretches(Memory& memory, const Workers& workers, int32_t values)
      : values_((values + kPixelGroup - 1) / kPixelGroup * kPixelGroup),
        columns_(memory, room(workers)),
        samples_(memory, 3 * room(workers)),
        sums_(memory, 2 * room(workers)) {}
  [[nodiscard]] Stretch of(int32_t worker) const {
    const int64_t begin = int64_t{worker} * values_;
    return {columns_.data() + begin, samples_.data() + 3 * begin, sums_.data() + 2 * begin,
            values_};
  }

 private:
  [[nodiscard]] std::size_t room(const Workers& workers) const {
    return static_cast<std::size_t>(values_) * static_cast<std::size_t>(workers.count());
  }
  int32_t values_;
  Buffer<uint16_t> columns_;
  Buffer<int16_t> samples_;
  Buffer<float> sums_;
};

void add(CellSums& sum, const CellSums& other) {
  sum.rr += other.rr;
  sum.gxgx += other.gxgx;
  sum.gxgy += other.gxgy;
  sum.gygy += other.gygy;
  sum.rgx += other.rgx;
  sum.rgy += other.rgy;
  sum.count += other.count;
}

double energy(const CellSums& sums) {
  return static_cast<double>(sums.rr) / static_cast<double>(sums.count);
}

// The translation that reduces the residuals most. The matrix is made a little heavier, so that a
// tile without structure, or with an edge alone, stays where it is.
Point newtonStep(const CellSums& sums) {
  const auto xx = static_cast<double>(sums.gxgx);
  const auto xy = static_cast<double>(sums.gxgy);
  const auto yy = static_cast<double>(sums.gygy);
  const double more = 0.02 * (xx + yy) + 0.001 * static_cast<double>(sums.count);
  const double a = xx + more;
  const double b = yy + more;
  const double determinant = a * b - xy * xy;
  const auto rx = static_cast<double>(sums.rgx);
  const auto ry = static_cast<double>(sums.rgy);
  return {-(b * rx - xy * ry) / determinant, -(a * ry - xy * rx) / determinant};
}

// What a tile of one level is, moved by a translation.
struct Moved {
  Point shift = {0, 0};
  double energy = 0;  // mean square of its residuals
  bool valid = false;
};

class TileSearch {
 public:
  TileSearch(Memory& memory, Workers& workers, const PairLevel& fine, const PairLevel* half,
             double noise);
  void run(LocalField& field);

 private:
  // Sums of the pair as it is, for all cells of a level.
  void sumCells(const PairLevel& level, const Buffer<CellSums>& cells, double weight);
  [[nodiscard]] CellSums tileSums(const Buffer<CellSums>& cells, int32_t i, int32_t j) const;
  static Moved descend(const PairLevel& level, int32_t i, int32_t j, Point start, int32_t steps,
                       const Stretch& scratch);
  [[nodiscard]] Point search(int32_t i, int32_t j, const Stretch& scratch) const;

  Memory& memory_;
  Workers& workers_;
  const PairLevel& fine_;
  const PairLevel* half_;
  double noise_;
  Size tiles_;
  Size cellGrid_;
  Buffer<CellSums> cells_;
  Buffer<CellSums> halfCells_;
};

TileSearch::TileSearch(Memory& memory, Workers& workers, const PairLevel& fine,
                       const PairLevel* half, double noise)
    : memory_(memory),
      workers_(workers),
      fine_(fine),
      half_(half),
      noise_(noise),
      tiles_{fine.reference.size.width / LocalField::kSpacing - 1,
             fine.reference.size.height / LocalField::kSpacing - 1},
      cellGrid_{tiles_.width + 1, tiles_.height + 1},
      cells_(memory, static_cast<std::size_t>(cellGrid_.width) *
                         static_cast<std::size_t>(cellGrid_.height)),
      halfCells_(memory, cells_.size()) {}

void TileSearch::sumCells(const PairLevel& level, const Buffer<CellSums>& cells, double weight) {
  const int32_t width = cellGrid_.width * level.cell;
  const Stretches scratch(memory_, workers_, width);
  std::fill(cells.data(), cells.data() + cells.size(), CellSums{});
  workers_.run(cellGrid_.height, weight, [&](int32_t j, int32_t worker) {
    const Stretch stretch = scratch.of(worker);
    for (int32_t y = j * level.cell; y < (j + 1) * level.cell; ++y) {
      stretch.take(level.reference, y, 0, width, 0);
      stretch.addTo(cells.data() + int64_t{j} * cellGrid_.width, level,
                    level.row(y, level.homography), 0, width, level.cell);
    }
  });
}

CellSums TileSearch::tileSums(const Buffer<CellSums>& cells, int32_t i, int32_t j) const {
  const CellSums* const upper = cells.data() + int64_t{j} * cellGrid_.width + i;
  const CellSums* const lower = upper + cellGrid_.width;
  CellSums sums = upper[0];
  add(sums, upper[1]);
  add(sums, lower[0]);
  add(sums, lower[1]);
  return sums;
}

Moved TileSearch::descend(const PairLevel& level, int32_t i, int32_t j, Point start, int32_t steps,
                          const Stretch& scratch) {
  constexpr double kStill = 0.01;
  const int32_t side = 2 * level.cell;
  for (int32_t y = 0; y < side; ++y)
    scratch.take(level.reference, j * level.cell + y, i * level.cell, side, y * side);
  Moved moved = {start, 0, false};
  for (int32_t step = 0;; ++step) {
    CellSums cells[kCellsPerTile] = {};
    const Homography homography = level.moved(moved.shift);
    for (int32_t y = 0; y < side; ++y) {
      scratch.addTo(cells, level, level.row(j * level.cell + y, homography), y * side, side,
                    kPixelGroup);
    }
    if (side > kPixelGroup) add(cells[0], cells[1]);
    moved.valid = 2 * cells[0].count >= static_cast<float>(side * side);
    if (!moved.valid) return moved;
    moved.energy = energy(cells[0]);
    const Point by = newtonStep(cells[0]);
    if (step == steps || !(std::fabs(by.x) >= kStill || std::fabs(by.y) >= kStill)) return moved;
    moved.shift.x += by.x;
    moved.shift.y += by.y;
  }
}

// Whether a tile's first step is so short that it can be trusted, and so little would be won that
// the tile cannot be accepted.
bool settled(const CellSums& sums) {
  constexpr double kShort = 0.5;
  constexpr double kLittle = 0.15;
  const Point step = newtonStep(sums);
  const double won =
      -(step.x * static_cast<double>(sums.rgx) + step.y * static_cast<double>(sums.rgy));
  return std::fabs(step.x) < kShort && std::fabs(step.y) < kShort &&
         won < kLittle * static_cast<double>(sums.rr);
}

// The translation of a tile, 0 where none is much better than that.
Point TileSearch::search(int32_t i, int32_t j, const Stretch& scratch) const {
  const CellSums before = tileSums(cells_, i, j);
  if (2 * before.count < static_cast<float>(kTileValues)) return {0, 0};
  const double energyBefore = energy(before);
  if (energyBefore < noise_ + 0.5) return {0, 0};
  if (settled(before) && (half_ == nullptr || settled(tileSums(halfCells_, i, j)))) return {0, 0};

  const auto acceptable = [&](const Moved& moved) {
    const Point t = moved.shift;
    return moved.valid && t.x * t.x + t.y * t.y <= kLongest * kLongest &&
           moved.energy <= 0.7 * energyBefore && energyBefore - moved.energy >= 0.28 * noise_ + 0.5;
  };
  // From half the size, which sees farther; from here where that leads nowhere.
  if (half_ != nullptr) {
    const Moved coarse = descend(*half_, i, j, {0, 0}, 6, scratch);
    if (coarse.valid) {
      const Moved fine = descend(fine_, i, j, {2 * coarse.shift.x, 2 * coarse.shift.y}, 5, scratch);
      if (acceptable(fine)) return fine.shift;
    }
  }
  const Moved fine = descend(fine_, i, j, {0, 0}, 5, scratch);
  return acceptable(fine) ? fine.shift : Point{0, 0};
}

void TileSearch::run(LocalField& field) {
  const double work = translationsWork(fine_.reference.size);
  sumCells(fine_, cells_, 0.3 * work);
  if (half_ != nullptr) sumCells(*half_, halfCells_, 0.1 * work);
  const Stretches scratch(memory_, workers_, kTileValues);
  workers_.run(tiles_.height, 0.4 * work, [&](int32_t j, int32_t worker) {
    const Stretch stretch = scratch.of(worker);
    for (int32_t i = 0; i < tiles_.width; ++i) {
      const Point shift = search(i, j, stretch);
      float* const to = field.shifts.data() + 2 * (int64_t{j} * tiles_.width + i);
      to[0] = static_cast<float>(shift.x);
      to[1] = static_cast<float>(shift.y);
    }
  });
}

// The median of the 3 x 3 tiles around each replaces what is far from it or stands alone.
void smoothField(Memory& memory, LocalField& field) {
  constexpr float kFar = 0.7f;
  const Buffer<float> found(memory, field.shifts.size());
  std::copy(field.shifts.data(), field.shifts.data() + field.shifts.size(), found.data());
  field.accepted = 0;
  for (int32_t j = 0; j < field.tiles.height; ++j) {
    for (int32_t i = 0; i < field.tiles.width; ++i) {
      std::array<float, 9> x;
      std::array<float, 9> y;
      int32_t moved = 0;
      for (int32_t n = 0; n < 9; ++n) {
        const int32_t column = std::clamp(i + n % 3 - 1, 0, field.tiles.width - 1);
        const int32_t row = std::clamp(j + n / 3 - 1, 0, field.tiles.height - 1);
        const float* const at = found.data() + 2 * (int64_t{row} * field.tiles.width + column);
        const auto to = static_cast<std::size_t>(n);
        x[to] = at[0];
        y[to] = at[1];
        if (at[0] != 0 || at[1] != 0) ++moved;
      }
      float* const shift = field.shifts.data() + 2 * (int64_t{j} * field.tiles.width + i);
      std::nth_element(x.begin(), x.begin() + 4, x.end());
      std::nth_element(y.begin(), y.begin() + 4, y.end());
      const float dx = shift[0] - x[4];
      const float dy = shift[1] - y[4];
      if (dx * dx + dy * dy > kFar * kFar || moved < 2) {
        shift[0] = x[4];
        shift[1] = y[4];
      }
      if (shift[0] != 0 || shift[1] != 0) ++field.accepted;
    }
  }
}

LocalField translations(Memory& memory, Workers& workers, const Pyramid& reference,
                        const Pyramid& frame, const PairRegistration& registration, double sigma) {
  const Size size = reference.luma.size;
  const double work = translationsWork(size);
  LocalField field;
  if (size.width < LocalField::kTile || size.height < LocalField::kTile) {
    return field;
  }
  PlaneBuffer<int16_t> made[2];
  const auto full = [&](const Pyramid& pyramid, PlaneBuffer<int16_t>& to) -> Plane<const int16_t> {
    if (pyramid.bottom() == 0) return pyramid.levels[0].smooth.plane();
    to = smoothFrame(memory, workers, pyramid.luma, 0.05 * work);
    return to.plane();
  };
  const PairLevel fine = {full(reference, made[0]), full(frame, made[1]), registration.homography,
                          registration.gain,        registration.bias,    LocalField::kSpacing};
  PairLevel half = {};
  if (reference.top >= 1) {
    half = {reference.levels[1].smooth.plane(),
            frame.levels[1].smooth.plane(),
            atLevel(registration.homography, 1),
            registration.gain,
            registration.bias,
            LocalField::kSpacing / 2};
  }
  field.tiles = {size.width / LocalField::kSpacing - 1, size.height / LocalField::kSpacing - 1};
  field.shifts = Buffer<float>(memory, 2 * static_cast<std::size_t>(field.tiles.width) *
                                           static_cast<std::size_t>(field.tiles.height));
  const double noise = 2 * sigma * sigma * kSmoothedNoise;
  TileSearch(memory, workers, fine, reference.top >= 1 ? &half : nullptr, noise).run(field);
  smoothField(memory, field);
  if (field.accepted == 0) return {};
  return field;
}

}  // namespace

LocalField findTranslations(Memory& memory, Workers& workers, const Pyramid& reference,
                            const Pyramid& frame, const PairRegistration& registration,
                            double sigma) {
  MeteredWorkers metered(workers, translationsWork(reference.luma.size));
  LocalField field = translations(memory, metered, reference, frame, registration, sigma);
  metered.finish();
  return field;
}

}  // namespace velmora::burst
