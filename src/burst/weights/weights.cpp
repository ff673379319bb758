#include "burst/weights/weights.h"

#include <algorithm>
#include <array>

#include "burst/weights/field_limits.h"
#include "burst/weights/functions.h"
#include "burst/weights/warped_plane.h"

namespace velmora::burst {
namespace {

constexpr int32_t kTileWidth = 128;  // of the half-size plane
constexpr int32_t kTileHeight = 64;
// The statistics reach two samples around a sample, smallest and mean one each.
constexpr int32_t kStatistics = 2;
constexpr int32_t kHalo = 4;

/// The buffers that one worker computes a tile's weights in. Rows hold the largest luma tile and
/// its surroundings.
struct TileScratch {
  static constexpr std::size_t kRow = 2 * kTileWidth + 2 * kHalo;
  static constexpr std::size_t kRows = 2 * kTileHeight + 2 * kHalo;

  TileScratch() = default;
  TileScratch(Memory& memory, std::size_t window)
      : warp{Buffer<int16_t>(memory, window), Buffer<int32_t>(memory, kRow),
             Buffer<int32_t>(memory, kRow)},
        warped(memory, kRow),
        differences(memory, kRow * kRows),
        samples(memory, kRow * kRows),
        inside(memory, kRow * kRows),
        raw(memory, kRow * kRows),
        smallest(memory, kRow * kRows),
        full(memory, kRow * kRows),
        sums(memory, 4 * kRow) {}

  WarpScratch warp;
  Buffer<int16_t> warped;
  Buffer<int16_t> differences;
  Buffer<uint8_t> samples;
  Buffer<uint8_t> inside;
  Buffer<uint8_t> raw;
  Buffer<uint8_t> smallest;
  Buffer<uint8_t> full;  ///< the tile's weights
  Buffer<int32_t> sums;
};

uint8_t* rowOf(const Buffer<uint8_t>& rows, int32_t y) {
  return rows.data() + static_cast<std::size_t>(y) * TileScratch::kRow;
}
int16_t* rowOf(const Buffer<int16_t>& rows, int32_t y) {
  return rows.data() + static_cast<std::size_t>(y) * TileScratch::kRow;
}

/// Copies the outermost sample of each side of a row outward, where the plane has no more.
template <typename T>
void repeatEnds(T* row, int32_t before, int32_t count, int32_t behind) {
  std::fill(row - before, row, row[0]);
  std::fill(row + count, row + count + behind, row[count - 1]);
}

/// The weights of a tile of one plane, in scratch.full.
void weighTile(const WarpedPlane& warped, const WeightBounds& bounds, const Rect& tile,
               const TileScratch& scratch) {
  const WeightFunctions& functions = weightFunctions();
  const Size size = warped.size();
  // The surroundings, and what of them the plane has; the rest repeats its border samples.
  const Rect around = {tile.left - kHalo, tile.top - kHalo, tile.right + kHalo,
                       tile.bottom + kHalo};
  const Rect part = {std::max(around.left, 0), std::max(around.top, 0),
                     std::min(around.right, size.width), std::min(around.bottom, size.height)};
  const int32_t before = part.left - around.left;
  const int32_t behind = around.right - part.right;
  const int32_t count = part.width();

  warped.rows(part, scratch.warp, scratch.warped.data(), [&](int32_t y, const int16_t* values) {
    const int32_t r = y - around.top;
    uint8_t* const samples = rowOf(scratch.samples, r) + before;
    uint8_t* const inside = rowOf(scratch.inside, r) + before;
    const SourcePlane& reference = warped.reference();
    if (reference.step == 1) {
      std::copy_n(reference.row(y) + part.left, count, samples);
    } else {
      for (int32_t i = 0; i < count; ++i)
        samples[i] = reference.at(part.left + i, y);
    }
    functions.findInside(scratch.warp.x.data(), scratch.warp.y.data(), warped.lastX(),
                         warped.lastY(), count, inside);
    int16_t* const differences = rowOf(scratch.differences, r) + before;
    functions.subtract(values, samples, count, differences);
    repeatEnds(samples, before, count, behind);
    repeatEnds(inside, before, count, behind);
    repeatEnds(differences, before, count, behind);
  });

  const int32_t width = around.width();
  const int32_t height = around.height();
  const auto present = [&](int32_t r) {  // the row that stands for row r of the surroundings
    return std::clamp(r, part.top - around.top, part.bottom - 1 - around.top);
  };
  constexpr std::size_t kRow = TileScratch::kRow;
  int32_t* const sums = scratch.sums.data();
  std::fill(sums, sums + 4 * kRow, 0);
  const ColumnSums columns = {sums, sums + kRow, sums + 2 * kRow, sums + 3 * kRow};
  // A row of zeros stands for the rows that no sum has yet.
  std::fill(scratch.warped.data(), scratch.warped.data() + kRow, int16_t{0});
  uint8_t* const zeros = scratch.full.data();
  std::fill(zeros, zeros + kRow, uint8_t{0});
  for (int32_t r = 0; r < height; ++r) {
    const int32_t added = present(r);
    const int32_t removed = present(r - 5);
    functions.slide(rowOf(scratch.differences, added), rowOf(scratch.samples, added),
                    r < 5 ? scratch.warped.data() : rowOf(scratch.differences, removed),
                    r < 5 ? zeros : rowOf(scratch.samples, removed), width, columns);
    if (r < 2 * kStatistics) continue;
    const int32_t centre = r - kStatistics;
    functions.weigh(columns, rowOf(scratch.inside, present(centre)) + kStatistics, bounds,
                    width - 2 * kStatistics, rowOf(scratch.raw, centre) + kStatistics);
  }
  const auto neighbours = [](const Buffer<uint8_t>& rows, int32_t r, int32_t column) {
    return std::array<const uint8_t*, 3>{rowOf(rows, r - 1) + column, rowOf(rows, r) + column,
                                         rowOf(rows, r + 1) + column};
  };
  for (int32_t r = kHalo - 1; r < height - kHalo + 1; ++r) {
    functions.smallestOf9(neighbours(scratch.raw, r, kHalo - 2).data(), tile.width() + 2,
                          rowOf(scratch.smallest, r) + kHalo - 1);
  }
  for (int32_t r = kHalo; r < height - kHalo; ++r) {
    functions.meanOf9(neighbours(scratch.smallest, r, kHalo - 1).data(), tile.width(),
                      rowOf(scratch.full, r - kHalo));
  }
}

/// The mean of 2 x 2 luma weights, rounded half up; an odd last column or row counts twice.
void halve(const TileScratch& scratch, const Rect& luma, const Rect& half,
           const Plane<uint8_t>& out) {
  for (int32_t y = half.top; y < half.bottom; ++y) {
    const uint8_t* const upper = rowOf(scratch.full, 2 * y - luma.top);
    const uint8_t* const lower =
        rowOf(scratch.full, std::min(2 * y + 1, luma.bottom - 1) - luma.top);
    uint8_t* const row = out.row(y);
    for (int32_t x = half.left; x < half.right; ++x) {
      const int32_t left = 2 * x - luma.left;
      const int32_t right = std::min(left + 1, luma.width() - 1);
      row[x] =
          static_cast<uint8_t>((upper[left] + upper[right] + lower[left] + lower[right] + 2) >> 2);
    }
  }
}

void keepSmaller(const TileScratch& scratch, const Rect& half, const Plane<uint8_t>& out) {
  for (int32_t y = half.top; y < half.bottom; ++y) {
    const uint8_t* const other = rowOf(scratch.full, y - half.top);
    uint8_t* const row = out.row(y);
    for (int32_t x = half.left; x < half.right; ++x) {
      row[x] = std::min(row[x], other[x - half.left]);
    }
  }
}

WeightBounds boundsFor(double sigma) {
  const double noise = sigma * sigma;
  return {static_cast<float>(noise), static_cast<float>(2 * noise),
          static_cast<float>(2 * noise / 25 + 0.5)};
}

}  // namespace

Weights weighPair(Memory& memory, Workers& workers, const MatchedPair& pair,
                  const NoiseLevels& noise) {
  const WindowTable windows = catmullRomWindows(memory);
  const std::array<WarpedPlane, kPlanes> planes = {WarpedPlane(memory, workers, pair, 0, windows),
                                                   WarpedPlane(memory, workers, pair, 1, windows),
                                                   WarpedPlane(memory, workers, pair, 2, windows)};
  const Size size = planes[0].size();
  const Size halfSize = planes[1].size();
  Weights weights = {PlaneBuffer<uint8_t>(memory, halfSize)};
  const Plane<uint8_t> half = weights.half.plane();

  const int32_t across = (halfSize.width + kTileWidth - 1) / kTileWidth;
  const int32_t down = (halfSize.height + kTileHeight - 1) / kTileHeight;
  const auto tileAt = [&](int32_t i) {
    const int32_t left = i % across * kTileWidth;
    const int32_t top = i / across * kTileHeight;
    return Rect{left, top, std::min(left + kTileWidth, halfSize.width),
                std::min(top + kTileHeight, halfSize.height)};
  };
  const auto lumaOf = [&](const Rect& tile) {
    return Rect{2 * tile.left, 2 * tile.top, std::min(2 * tile.right, size.width),
                std::min(2 * tile.bottom, size.height)};
  };
  std::size_t window = 0;
  for (int32_t i = 0; i < across * down; ++i) {
    const Rect tile = tileAt(i);
    window = std::max({window, planes[0].windowSize(grown(lumaOf(tile), kHalo, size)),
                       planes[1].windowSize(grown(tile, kHalo, halfSize))});
  }
  std::array<TileScratch, kMostWorkers> scratch;
  for (int32_t w = 0; w < workers.count(); ++w) {
    scratch[static_cast<std::size_t>(w)] = TileScratch(memory, window);
  }

  const FieldLimits limits(memory, pair.motion->field);
  const WeightBounds luma = boundsFor(noise.sigma[0]);
  const WeightBounds u = boundsFor(noise.sigma[1]);
  const WeightBounds v = boundsFor(noise.sigma[2]);
  const Buffer<int64_t> totals(memory,
                               static_cast<std::size_t>(across) * static_cast<std::size_t>(down));
  workers.run(across * down, weightsWork(size), [&](int32_t i, int32_t worker) {
    const TileScratch& own = scratch[static_cast<std::size_t>(worker)];
    const Rect tile = tileAt(i);
    weighTile(planes[0], luma, lumaOf(tile), own);
    halve(own, lumaOf(tile), tile, half);
    weighTile(planes[1], u, tile, own);
    keepSmaller(own, tile, half);
    weighTile(planes[2], v, tile, own);
    keepSmaller(own, tile, half);
    int64_t total = 0;
    for (int32_t y = tile.top; y < tile.bottom; ++y) {
      if (limits.any()) limits.apply(y, tile.left, tile.right, half.row(y));
      for (int32_t x = tile.left; x < tile.right; ++x)
        total += half.row(y)[x];
    }
    totals[static_cast<std::size_t>(i)] = total;
  });
  int64_t total = 0;
  for (const int64_t t : totals.span())
    total += t;
  weights.mean = static_cast<double>(total) / (255.0 * static_cast<double>(halfSize.width) *
                                               static_cast<double>(halfSize.height));
  return weights;
}

}  // namespace velmora::burst
