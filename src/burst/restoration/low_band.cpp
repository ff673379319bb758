#include "burst/restoration/low_band.h"

#include <algorithm>

namespace velmora::burst {
namespace {

constexpr int32_t kCell = 4;  // samples along each axis
constexpr PassGeometry kBlocks = {8, 1};
constexpr int32_t kBlockReach = 7;  // cells from one of a block to another

// Small blocks of 16 x 16 do better between the lowest frequencies and those of the cells.
bool smooths(const RestorationPlan& plan) {
  return !plan.fast;
}

// The cell whose middle is the last one not behind a sample; -1 before the first.
int32_t cellBefore(int32_t sample) {
  return (sample + 2) / kCell - 1;
}

}  // namespace

Size cellsOf(Size plane) {
  return {plane.width / kCell, plane.height / kCell};
}

void meansOfCells(const PlanePart<const int16_t>& samples, const Rect& cells,
                  const PlanePart<int16_t>& means) {
  constexpr int32_t kSamples = kCell * kCell;
  for (int32_t y = cells.top; y < cells.bottom; ++y) {
    const int16_t* rows[kCell];
    for (int32_t v = 0; v < kCell; ++v)
      rows[v] = samples.at(kCell * cells.left, kCell * y + v);
    int16_t* const out = means.at(cells.left, y);
    for (int32_t x = 0; x < cells.width(); ++x) {
      int32_t sum = kSamples / 2;
      for (const int16_t* row : rows) {
        for (int32_t h = 0; h < kCell; ++h)
          sum += row[kCell * x + h];
      }
      out[x] = static_cast<int16_t>(sum >> 4);
    }
  }
}

LowBand::LowBand(Memory& memory, const RestorationPlan& plan, Size largest)
    : smooth_(smooths(plan)),
      tables_(plan.frames),
      noise_(passTables<8>(memory, plan, &CoefficientNoise::low)) {
  const Size cells = {largest.width / kCell + 1, largest.height / kCell + 1};
  noisy_ = {memory, cells};
  frames_ = {memory, cells};
  fine_ = {memory, cells};
  corrections_ = {memory, cells};
  columns_ = {memory, static_cast<std::size_t>(cells.width) + 2};
  row_ = {memory, kCell * (static_cast<std::size_t>(cells.width) + 2)};
  pass_ = PassRunner(memory, &kBlocks, 1, cells.width);
}

bool LowBand::fits(Size plane) {
  const Size cells = cellsOf(plane);
  return std::min(cells.width, cells.height) >= kBlocks.size;
}

// The cells that interpolation reads, and those that smoothing does.
Rect LowBand::cellsFor(const Rect& wanted, Size cells) const {
  const auto first = [](int32_t sample, int32_t count) {
    return std::clamp(cellBefore(sample), 0, count - 1);
  };
  const auto end = [](int32_t sample, int32_t count) {
    return std::min(cellBefore(sample - 1) + 2, count);
  };
  const Rect read = {first(wanted.left, cells.width), first(wanted.top, cells.height),
                     end(wanted.right, cells.width), end(wanted.bottom, cells.height)};
  return grown(read, smooth_ ? 1 : 0, cells);
}

LowBand::Halo LowBand::halo(const RestorationPlan& plan) {
  // Up to five samples to the end of a cell whose middle lies before or behind the wanted ones.
  const int32_t fine = 5 + kCell * (smooths(plan) ? 1 : 0);
  return {fine + kCell * kBlockReach, fine};
}

Rect LowBand::covers(const Rect& wanted, Size plane) const {
  const Rect cells = cellsFor(wanted, cellsOf(plane));
  return {std::min(wanted.left, kCell * cells.left), std::min(wanted.top, kCell * cells.top),
          std::max(wanted.right, kCell * cells.right),
          std::max(wanted.bottom, kCell * cells.bottom)};
}

void LowBand::run(const RestorationWindow& window, const PlanePart<const int16_t>& fine,
                  Plane<int16_t> out) {
  const Rect cells = cellsFor(window.wanted, cellsOf(window.plane));
  correct(window, fine, cells);
  if (smooth_) smooth({cells.width(), cells.height()});
  add(window, fine, cells, out);
}

// What the cells of the fine samples lack or have too much.
void LowBand::correct(const RestorationWindow& window, const PlanePart<const int16_t>& fine,
                      const Rect& cells) {
  const Size count = cellsOf(window.plane);
  const Rect read = grown(cells, kBlockReach, count);
  const PlanePart<int16_t> noisy = {noisy_.plane(), read.left, read.top};
  meansOfCells({window.samples, window.left, window.top}, read, noisy);
  PlanePart<uint8_t> frames;
  if (window.frames.data != nullptr) {
    frames = {frames_.plane(), read.left, read.top};
    constexpr int32_t kMiddle = kCell / 2;
    for (int32_t y = read.top; y < read.bottom; ++y) {
      const uint8_t* const row = window.frames.row(kCell * y + kMiddle - window.top);
      for (int32_t x = read.left; x < read.right; ++x)
        *frames.at(x, y) = row[kCell * x + kMiddle - window.left];
    }
  }
  const PlanePart<int16_t> corrections = {corrections_.plane(), cells.left, cells.top};
  pass_.run({kBlocks,
             &noise_,
             tables_,
             {noisy.samples, noisy.left, noisy.top},
             {},
             {frames.samples, frames.left, frames.top},
             count,
             cells,
             corrections,
             false});
  const PlanePart<int16_t> made = {fine_.plane(), cells.left, cells.top};
  meansOfCells(fine, cells, made);
  for (int32_t y = cells.top; y < cells.bottom; ++y) {
    int16_t* const row = corrections.at(cells.left, y);
    const int16_t* const less = made.at(cells.left, y);
    for (int32_t x = 0; x < cells.width(); ++x)
      row[x] = static_cast<int16_t>(row[x] - less[x]);
  }
}

// By [1 2 1] / 4 along both axes; the outermost cells, which are not needed but at the borders of
// the plane, are their own neighbours.
void LowBand::smooth(Size size) {
  const Plane<int16_t> cells = corrections_.plane();
  const Plane<int16_t> across = noisy_.plane();  // is free by now
  for (int32_t y = 0; y < size.height; ++y) {
    const int16_t* const row = cells.row(y);
    for (int32_t x = 0; x < size.width; ++x) {
      const int32_t sum =
          row[std::max(x - 1, 0)] + 2 * row[x] + row[std::min(x + 1, size.width - 1)];
      across.row(y)[x] = static_cast<int16_t>((sum + 2) >> 2);
    }
  }
  for (int32_t y = 0; y < size.height; ++y) {
    const int16_t* const above = across.row(std::max(y - 1, 0));
    const int16_t* const row = across.row(y);
    const int16_t* const below = across.row(std::min(y + 1, size.height - 1));
    for (int32_t x = 0; x < size.width; ++x)
      cells.row(y)[x] = static_cast<int16_t>((above[x] + 2 * row[x] + below[x] + 2) >> 2);
  }
}

// Adds the corrections, interpolated between the middles of the cells: in eighths along each axis,
// below 2^18 and 2^21.
void LowBand::add(const RestorationWindow& window, const PlanePart<const int16_t>& fine,
                  const Rect& cells, Plane<int16_t> out) {
  const Rect& wanted = window.wanted;
  const PlanePart<int16_t> corrections = {corrections_.plane(), cells.left, cells.top};
  const int32_t first = cellBefore(wanted.left);
  const int32_t pairs = cellBefore(wanted.right - 1) - first + 1;
  for (int32_t y = wanted.top; y < wanted.bottom; ++y) {
    const auto rowOf = [&](int32_t cell) {
      return corrections.at(0, std::clamp(cell, cells.top, cells.bottom - 1));
    };
    const int16_t* const above = rowOf(cellBefore(y));
    const int16_t* const below = rowOf(cellBefore(y) + 1);
    const int32_t share = 2 * ((y + 2) % kCell) + 1;  // of the row below
    for (int32_t i = 0; i <= pairs; ++i) {
      const int32_t x = std::clamp(first + i, cells.left, cells.right - 1);
      columns_[static_cast<std::size_t>(i)] = above[x] * (8 - share) + below[x] * share;
    }
    const int32_t* const columns = columns_.data();
    int16_t* const row = row_.data();
    for (int32_t i = 0; i < pairs; ++i) {
      const int32_t step = columns[i + 1] - columns[i];
      for (int32_t j = 0; j < kCell; ++j)
        row[kCell * i + j] = static_cast<int16_t>((8 * columns[i] + (2 * j + 1) * step + 32) >> 6);
    }
    // The first of these lies half a sample behind the middle of the first cell.
    const int16_t* const added = row + (wanted.left - (kCell * first + kCell / 2));
    const int16_t* const from = fine.at(wanted.left, y);
    int16_t* const to = out.row(y - wanted.top);
    for (int32_t x = 0; x < wanted.width(); ++x)
      to[x] = static_cast<int16_t>(from[x] + added[x]);
  }
}

}  // namespace velmora::burst
