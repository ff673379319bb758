#include "burst/alignment/pixel_set.h"

#include <array>
#include <cstdlib>

#include "burst/alignment/row_bands.h"

namespace velmora::burst {
namespace {

constexpr int64_t kEnough = 60000;  // pixels up to which all are taken
constexpr double kShare = 0.35;

// Rows y - 1 .. y + 1.
struct ThreeRows {
  ThreeRows(const Plane<int16_t>& plane, int32_t y)
      : rows{plane.row(y - 1), plane.row(y), plane.row(y + 1)} {}
  const int16_t* rows[3];
};

// The gradient, six fraction bits, that the share's pixels reach: from as many rows as hold some
// kEnough pixels. Bins are an eighth of a grey level wide.
int32_t steepThreshold(const PyramidLevel& level) {
  const Plane<int16_t> plane = level.smooth.plane();
  const Size size = plane.size;
  std::array<int64_t, 2048> bins = {};
  int64_t counted = 0;
  const auto step = static_cast<int32_t>(int64_t{size.width} * size.height / kEnough);
  for (int32_t y = 1; y < size.height - 1; y += step) {
    const ThreeRows three(plane, y);
    const uint8_t* const masked = level.masked.plane().row(y);
    for (int32_t x = 1; x < size.width - 1; ++x) {
      if ((masked[x] & 1) != 0) continue;
      const int32_t gradient = std::abs(three.rows[1][x + 1] - three.rows[1][x - 1]) +
                               std::abs(three.rows[2][x] - three.rows[0][x]);  // 0 .. 16320
      ++bins[static_cast<std::size_t>(gradient >> 3)];
      ++counted;
    }
  }
  const auto wanted = static_cast<int64_t>(kShare * static_cast<double>(counted));
  std::size_t bin = bins.size() - 1;
  for (int64_t steeper = bins[bin]; steeper < wanted && bin > 0; steeper += bins[bin])
    --bin;
  return static_cast<int32_t>(bin) << 3;
}

}  // namespace

PixelSet::PixelSet(Memory& memory, Workers& workers, const PyramidLevel& level, bool all)
    : size_(level.smooth.size()) {
  const Plane<int16_t> plane = level.smooth.plane();
  const Plane<uint8_t> masked = level.masked.plane();
  const bool few = all || int64_t{size_.width} * size_.height <= kEnough;
  const int32_t threshold = few ? 0 : steepThreshold(level);
  const auto rows = static_cast<std::size_t>(size_.height);

  begins_ = Buffer<std::size_t>(memory, rows + 1);
  Buffer<int32_t> counts(memory, rows);
  counts[0] = counts[rows - 1] = 0;
  forRows(workers, size_.height - 2, size_.width, 0, [&](int32_t above, int32_t) {
    const int32_t y = above + 1;
    counts[static_cast<std::size_t>(y)] = alignmentFunctions().countSteep(
        ThreeRows(plane, y).rows, masked.row(y), size_.width, threshold);
  });
  begins_[0] = 0;
  for (std::size_t y = 0; y < rows; ++y) {
    const int32_t entries = (counts[y] + kPixelGroup - 1) / kPixelGroup * kPixelGroup;
    begins_[y + 1] = begins_[y] + static_cast<std::size_t>(entries);
    count_ += counts[y];
    longestRow_ = std::max(longestRow_, entries);
  }

  const std::size_t entries = begins_[rows];
  columns_ = Buffer<uint16_t>(memory, entries);
  values_ = Buffer<int16_t>(memory, entries);
  gradientsX_ = Buffer<int16_t>(memory, entries);
  gradientsY_ = Buffer<int16_t>(memory, entries);
  forRows(workers, size_.height - 2, size_.width, 0, [&](int32_t above, int32_t) {
    const int32_t y = above + 1;
    const std::size_t begin = begins_[static_cast<std::size_t>(y)];
    alignmentFunctions().takeSteep(ThreeRows(plane, y).rows, masked.row(y), size_.width, threshold,
                                   {columns_.data() + begin, values_.data() + begin,
                                    gradientsX_.data() + begin, gradientsY_.data() + begin});
    const std::size_t filled =
        begin + static_cast<std::size_t>(counts[static_cast<std::size_t>(y)]);
    for (std::size_t i = filled; i < begins_[static_cast<std::size_t>(y) + 1]; ++i) {
      columns_[i] = kNoColumn;
      values_[i] = gradientsX_[i] = gradientsY_[i] = 0;
    }
  });
}

PixelRow PixelSet::row(int32_t y) const {
  const std::size_t begin = begins_[static_cast<std::size_t>(y)];
  const std::size_t end = begins_[static_cast<std::size_t>(y) + 1];
  return {columns_.data() + begin,
          values_.data() + begin,
          gradientsX_.data() + begin,
          gradientsY_.data() + begin,
          static_cast<int32_t>(end - begin),
          static_cast<float>((size_.width - 1) / 2.0),
          static_cast<float>(2.0 / size_.width)};
}

}  // namespace velmora::burst
