#include "burst/restoration/pass.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "burst/restoration/basis.h"
#include "burst/restoration/block_positions.h"

namespace velmora::burst {
namespace {

constexpr int32_t kLargestBlock = 16;

int32_t roundUp(int32_t value, int32_t to) {
  return (value + to - 1) / to * to;
}
std::size_t asSize(std::ptrdiff_t value) {
  return static_cast<std::size_t>(value);
}

}  // namespace

// Where the columns and blocks of a pass lie in rows in phases: the counted blocks in lanes 0 to
// count - 1, the samples they cover in the same places, and behind them, with a gap of a block's
// width that nothing else uses, the block at the end of the plane with samples of its own.
struct PassRunner::Layout {
  Layout(PassGeometry geometry, const BlockPositions& across)
      : columns(across),
        size(geometry.size),
        stride(geometry.stride),
        cover((size + stride - 1) / stride),
        endLane(across.count + cover),
        lanes(across.atEnd ? endLane + 1 : across.count) {
    // Calls with kUnit lanes may read `cover` - 1 values behind the last lane.
    phase = roundUp(roundUp(lanes, kUnit) + 2 * cover, kUnit);
    row = phase * stride;
    valuePitch = phase + kUnit;
  }

  BlockPositions columns;
  int32_t size;
  int32_t stride;
  int32_t cover;    ///< values of a phase that a block covers
  int32_t endLane;  ///< of the block at the end
  int32_t lanes;
  int32_t phase;  ///< values from phase to phase
  int32_t row;    ///< values of a row
  int32_t valuePitch;
};

PassRunner::PassRunner(Memory& memory, const PassGeometry* geometries, int32_t count,
                       int32_t largest) {
  std::ptrdiff_t row = 0;
  std::ptrdiff_t ring = 0;
  std::ptrdiff_t values = 0;
  std::ptrdiff_t lanes = 0;
  for (int32_t i = 0; i < count; ++i) {
    // As many blocks as can touch the target, and the one at the end.
    const int32_t touching = largest + 2 * geometries[i].size;
    BlockPositions most(geometries[i].size, geometries[i].stride, touching, 0, touching);
    most.atEnd = true;
    const Layout layout(geometries[i], most);
    row = std::max<std::ptrdiff_t>(row, layout.row);
    ring = std::max<std::ptrdiff_t>(ring, std::ptrdiff_t{layout.row} * layout.size);
    values = std::max(values, std::ptrdiff_t{layout.valuePitch} * layout.size * layout.size);
    lanes = std::max<std::ptrdiff_t>(lanes, layout.valuePitch);
  }
  noisyRows_ = {memory, asSize(ring)};
  pilotRows_ = {memory, asSize(ring)};
  noisyColumns_ = {memory, asSize(ring)};
  pilotColumns_ = {memory, asSize(ring)};
  values_ = {memory, asSize(values)};
  weights_ = {memory, asSize(lanes)};
  numbers_ = {memory, asSize(lanes)};
  numerators_ = {memory, asSize(ring)};
  denominators_ = {memory, asSize(ring)};
  quotients_ = {memory, 2 * asSize(row)};
  constexpr std::size_t kMixed = std::size_t{kLargestBlock} * kLargestBlock * kLanes;
  mixedThresholds_ = {memory, kMixed};
  mixedSquares_ = {memory, kMixed};
}

void PassRunner::begin(const PassJob& job, const Layout& layout) {
  const std::ptrdiff_t ring = std::ptrdiff_t{layout.row} * layout.size;
  const auto clear = [](auto& buffer, std::ptrdiff_t count) {
    std::fill_n(buffer.data(), count, 0);
  };
  clear(noisyRows_, ring);
  if (job.pilot.samples.data != nullptr) clear(pilotRows_, ring);
  clear(values_, std::ptrdiff_t{layout.valuePitch} * layout.size * layout.size);
  clear(weights_, layout.valuePitch);
  clear(numbers_, layout.valuePitch);
  clear(numerators_, ring);
  clear(denominators_, ring);
}

// Puts a row of samples into the rings.
void PassRunner::loadRow(const PassJob& job, const Layout& layout, int32_t y) {
  const RestorationFunctions& functions = restorationFunctions();
  const BlockPositions& columns = layout.columns;
  const std::ptrdiff_t slot = std::ptrdiff_t{y % layout.size} * layout.row;
  const auto load = [&](const PlanePart<const int16_t>& part, int16_t* row) {
    if (columns.count > 0) {
      const int32_t covered = (columns.count - 1) * layout.stride + layout.size;
      functions.split(part.at(columns.first, y), covered, layout.stride, layout.phase, row);
    }
    if (columns.atEnd) {
      functions.split(part.at(columns.last, y), layout.size, layout.stride, layout.phase,
                      row + layout.endLane);
    }
  };
  load(job.noisy, noisyRows_.data() + slot);
  if (job.pilot.samples.data != nullptr) load(job.pilot, pilotRows_.data() + slot);
}

template <typename T>
NoiseTable<T> PassRunner::tableFor(const T* tables, int32_t entries, const uint8_t* numbers,
                                   int32_t lanes, T* mixed) const {
  if (std::all_of(numbers, numbers + lanes, [&](uint8_t n) { return n == numbers[0]; }))
    return {tables + std::ptrdiff_t{entries} * numbers[0], false};
  for (int32_t i = 0; i < entries; ++i) {
    for (int32_t b = 0; b < lanes; ++b)
      mixed[i * kLanes + b] = tables[entries * numbers[b] + i];
  }
  return {mixed, true};
}

// Shrinks the blocks whose first row is `top` and adds them to the rows of sums.
void PassRunner::shrinkRow(const PassJob& job, const Layout& layout, int32_t top) {
  const RestorationFunctions& functions = restorationFunctions();
  const BlockPositions& columns = layout.columns;
  const int32_t size = layout.size;
  const bool byPilot = job.pilot.samples.data != nullptr;
  std::array<const int16_t*, kLargestBlock> noisy;
  std::array<const int16_t*, kLargestBlock> pilot;
  std::array<float*, kLargestBlock> numerators;
  std::array<float*, kLargestBlock> denominators;
  for (int32_t y = 0; y < size; ++y) {
    const std::ptrdiff_t slot = std::ptrdiff_t{(top + y) % size} * layout.row;
    const std::size_t at = asSize(y);
    noisy[at] = noisyRows_.data() + slot;
    pilot[at] = pilotRows_.data() + slot;
    numerators[at] = numerators_.data() + slot;
    denominators[at] = denominators_.data() + slot;
  }
  functions.transformColumns(size, noisy.data(), layout.row, noisyColumns_.data(), layout.row);
  if (byPilot)
    functions.transformColumns(size, pilot.data(), layout.row, pilotColumns_.data(), layout.row);

  if (job.frames.samples.data != nullptr) {
    const auto numberAt = [&](int32_t left) {
      const uint8_t frames = *job.frames.at(left + size / 2, top + size / 2);
      return static_cast<uint8_t>(std::clamp<int32_t>(frames, 1, job.tableCount) - 1);
    };
    for (int32_t b = 0; b < columns.count; ++b)
      numbers_[asSize(b)] = numberAt(columns.first + b * layout.stride);
    // Lanes without a block go with their neighbour.
    const uint8_t behind =
        columns.atEnd ? numberAt(columns.last) : numbers_[asSize(columns.count - 1)];
    std::fill(numbers_.data() + columns.count, numbers_.data() + layout.valuePitch, behind);
  }

  // The sums of a column's coefficients stay below 2^31: a block's value is at most 11580 (size 8)
  // or 8190 times the root of what its weight is divided by less 1, so that the product is at most
  // half of that times the scale, and as many blocks as `cover` share a column.
  const float scale = std::min(64000.0F, 360000.0F / static_cast<float>(layout.cover));
  int16_t* const values = values_.data() + kUnit;
  int16_t* const weights = weights_.data() + kUnit;
  const int32_t entries = size * size;
  for (int32_t lane = 0; lane < layout.lanes; lane += kLanes) {
    const int32_t lanes = std::min(kLanes, roundUp(layout.lanes - lane, kUnit));
    const BlockRow row = {size,
                          layout.stride,
                          lanes,
                          layout.row,
                          layout.phase,
                          noisyColumns_.data() + lane,
                          byPilot ? pilotColumns_.data() + lane : nullptr,
                          scale,
                          values + lane,
                          layout.valuePitch,
                          weights + lane};
    const uint8_t* const numbers = numbers_.data() + lane;
    if (byPilot) {
      functions.shrinkByPilot(
          row, tableFor(job.tables->squares.data(), entries, numbers, lanes, mixedSquares_.data()));
    } else {
      functions.shrinkByThreshold(row, tableFor(job.tables->thresholds.data(), entries, numbers,
                                                lanes, mixedThresholds_.data()));
    }
  }
  // What lies between the blocks counted and the one at the end, and behind that, is no block.
  const int16_t endWeight = columns.atEnd ? weights[layout.endLane] : int16_t{0};
  std::fill(weights + columns.count, weights + layout.phase, int16_t{0});
  if (columns.atEnd) weights[layout.endLane] = endWeight;

  functions.addColumns({size, layout.stride, layout.phase, layout.phase, values, layout.valuePitch,
                        weights, numerators.data(), denominators.data()});
}

// Writes a row that all its blocks have been added to, and clears its sums for another one.
void PassRunner::finishRow(const PassJob& job, const Layout& layout, int32_t y) {
  const BlockPositions& columns = layout.columns;
  const std::ptrdiff_t slot = std::ptrdiff_t{y % layout.size} * layout.row;
  float* const numerators = numerators_.data() + slot;
  float* const denominators = denominators_.data() + slot;
  if (y >= job.target.top && y < job.target.bottom) {
    const RestorationFunctions& functions = restorationFunctions();
    for (int32_t x = 0; columns.atEnd && x < layout.size; ++x) {
      const auto place = [&](int32_t column) {
        return (column % layout.stride) * layout.phase + column / layout.stride;
      };
      const int32_t to = place(columns.last - columns.first + x);
      const int32_t from = place(x) + layout.endLane;
      numerators[to] += numerators[from];
      denominators[to] += denominators[from];
    }
    int16_t* const quotients = quotients_.data();
    int16_t* const samples = quotients + layout.row;
    functions.divide(numerators, denominators, layout.row, quotients);
    functions.merge(quotients, job.target.right - columns.first, layout.stride, layout.phase,
                    samples);
    const int16_t* const from = samples + (job.target.left - columns.first);
    int16_t* const to = job.out.at(job.target.left, y);
    const int32_t width = job.target.width();
    if (job.average) {
      for (int32_t x = 0; x < width; ++x)
        to[x] = static_cast<int16_t>((to[x] + from[x] + 1) >> 1);
    } else {
      std::copy_n(from, width, to);
    }
  }
  std::fill_n(numerators, layout.row, 0.0F);
  std::fill_n(denominators, layout.row, 0.0F);
}

void PassRunner::run(const PassJob& job) {
  const int32_t size = job.geometry.size;
  const Rect& target = job.target;
  const BlockPositions down(size, job.geometry.stride, job.plane.height, target.top, target.bottom);
  const Layout layout(job.geometry, BlockPositions(size, job.geometry.stride, job.plane.width,
                                                   target.left, target.right));
  begin(job, layout);
  int32_t loaded = down.first;
  int32_t finished = down.first;
  const auto rowOfBlocks = [&](int32_t top) {
    for (; finished < top; ++finished)
      finishRow(job, layout, finished);
    for (; loaded < top + size; ++loaded)
      loadRow(job, layout, loaded);
    shrinkRow(job, layout, top);
  };
  for (int32_t i = 0; i < down.count; ++i)
    rowOfBlocks(down.first + i * job.geometry.stride);
  if (down.atEnd) rowOfBlocks(down.last);
  for (; finished < target.bottom; ++finished)
    finishRow(job, layout, finished);
}

}  // namespace velmora::burst
