// Bands of the two passes of the one-frame interpolation.
#include "interpolation/separable_passes.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "interpolation/bands.h"
#include "interpolation/functions.h"
#include "interpolation/mirror.h"

namespace velmora {
namespace {

/// Rows that the horizontal filter takes at a time: what it works out per group of columns serves
/// all of them. At least the four rows of a vertical filter.
constexpr int32_t kStripRows = 8;

/// Padded rows of one band of the horizontal pass. The bands share out all rows but the first and
/// the last, which go with the outermost bands: the kernels of the default tables never weight them
/// on even sizes, other tables and odd sizes do.
RowBand paddedRows(const PlaneGeometry& geometry, int32_t threadIndex) {
  const auto inner = interpolationBand(geometry.paddedHeight() - 2, threadIndex);
  return {threadIndex == kInterpolationCaller ? 0 : inner.first + 1,
          threadIndex == kInterpolationSlots.back() ? geometry.paddedHeight() : inner.end + 1};
}

/// The band of the horizontal pass that a padded row belongs to.
RowBand bandOfRow(const PlaneGeometry& geometry, int32_t row) {
  int32_t threadIndex = kInterpolationCaller;
  while (row >= paddedRows(geometry, threadIndex).end)
    ++threadIndex;
  return paddedRows(geometry, threadIndex);
}

/// Where the strips of a band lie in the 16-bit plane:
///
///     rows of the plane             strips that they hold, one after the other
///     band.first +  0 ..  7         0
///     band.first +  8 .. 15         1, 3, 5, ...
///     band.first + 16 .. 23         2, 4, 6, ...
///     the rest of the band          none
///
/// A vertical filter takes four neighbouring rows, so it reaches over two strips at most. Once
/// strip s is filtered, strips s - 1 and s are in the plane: enough for every output row that strip
/// s completes, since those that end earlier are written already. What remains at the end is for
/// the vertical pass, whose output rows lie on the border of two bands: strip 0 with the band's
/// first rows, which is why it keeps a place of its own, and the last two strips with its last
/// rows. The last strip, and strip 0 of a small band, may have fewer than eight rows.
class StripPlaces {
 public:
  explicit StripPlaces(const RowBand& band) : first_(band.first) {}

  /// The row of the plane that holds padded row `row` of the band.
  [[nodiscard]] int32_t of(int32_t row) const {
    const int32_t strip = (row - first_) / kStripRows;
    const int32_t place = strip == 0 ? 0 : 1 + (strip - 1) % 2;
    return row + (place - strip) * kStripRows;
  }

 private:
  int32_t first_;
};

/// The padded rows under output row k, first and last of four.
struct TapRows {
  int32_t first;
  int32_t last;
};

/// The output rows of a set of planes.
class OutputRows {
 public:
  OutputRows(const PlaneGeometry& geometry, const PhaseTable& table, const SeparablePlanes& planes)
      : filterRows_(interpolationFunctions().filterRows),
        mergePairs_(interpolationFunctions().mergePairs),
        geometry_(geometry),
        grid_(geometry.rows()),
        table_(table),
        planes_(planes) {}

  [[nodiscard]] TapRows tapRows(int32_t k) const { return {tapRow(k, 0), tapRow(k, kTaps - 1)}; }

  /// The i-th output row in the order of rising source rows: regions may be upside down.
  [[nodiscard]] int32_t inSourceOrder(int32_t i) const {
    return geometry_.y1 >= geometry_.y0 ? i : geometry_.outH - 1 - i;
  }

  /// Writes output row k; placeOf(row) is where padded row `row` lies in the 16-bit plane. With
  /// pairs the samples pass through row `scratch` of the destination planes, an output row that no
  /// other thread writes.
  template <typename PlaceOf>
  void write(int32_t k, int32_t scratch, const PlaceOf& placeOf) const {
    const bool paired = planes_.strips != nullptr && planes_.strips->pairs != nullptr;
    const int16_t* taps = table_.rows[table_.phase(grid_.fraction(k))];
    std::array<uint8_t*, 2> out = {};
    for (std::size_t plane = 0; plane < static_cast<std::size_t>(planes_.count); ++plane) {
      const int16_t* rows[kTaps];
      for (int32_t t = 0; t < kTaps; ++t) {
        rows[t] =
            planes_.intermediate[plane] + std::ptrdiff_t{placeOf(tapRow(k, t))} * geometry_.outW;
      }
      out[plane] = planes_.destination[plane] +
                   std::ptrdiff_t{paired ? scratch : k} * planes_.destinationPitch;
      filterRows_(rows, taps, out[plane], geometry_.outW);
    }
    if (paired) {
      mergePairs_(out[0], out[1], planes_.strips->pairs + std::ptrdiff_t{2} * k * geometry_.outW,
                  geometry_.outW);
    }
  }

 private:
  [[nodiscard]] int32_t tapRow(int32_t k, int32_t t) const {
    return clampSample(grid_.sample(k) + kFirstTap + t, geometry_.paddedHeight());
  }

  decltype(InterpolationFunctions::filterRows) filterRows_;
  decltype(InterpolationFunctions::mergePairs) mergePairs_;
  const PlaneGeometry& geometry_;
  AxisGrid grid_;
  const PhaseTable& table_;
  const SeparablePlanes& planes_;
};

/// Rows of the source planes, filtered horizontally.
class SourceRows {
 public:
  SourceRows(const PlaneGeometry& geometry, const ColumnPlan& columns,
             const SeparablePlanes& planes)
      : filterColumns_(interpolationFunctions().filterColumns),
        splitPairs_(interpolationFunctions().splitPairs),
        geometry_(geometry),
        columns_(columns),
        planes_(planes) {}

  /// Filters `count` padded rows from `row` on into those of the 16-bit plane from `place` on.
  void filter(int32_t row, int32_t count, int32_t place) const {
    for (std::size_t plane = 0; plane < static_cast<std::size_t>(planes_.count); ++plane) {
      filterColumns_(
          {.source = planes_.source[plane] + std::ptrdiff_t{row} * geometry_.paddedWidth(),
           .sourcePitch = geometry_.paddedWidth(),
           .out = planes_.intermediate[plane] + std::ptrdiff_t{place} * geometry_.outW,
           .outPitch = geometry_.outW,
           .rows = count},
          columns_, 0, geometry_.outW);
    }
  }

  /// Makes `count` padded rows, from `row` on, out of the image's; they go to the source planes
  /// from row `place` on.
  void load(int32_t row, int32_t count, int32_t place) const {
    const std::ptrdiff_t border = geometry_.pad / 2;
    const std::ptrdiff_t width = geometry_.inW;
    const StripWork& strips = *planes_.strips;
    for (int32_t i = 0; i < count; ++i) {
      const std::ptrdiff_t y = mirroredIndex(row + i - border, geometry_.inH);
      const uint8_t* from = strips.rows + y * width * planes_.count;
      const std::ptrdiff_t offset = std::ptrdiff_t{place + i} * geometry_.paddedWidth() + border;
      uint8_t* first = strips.padded[0] + offset;
      if (planes_.count == 1) {
        std::memcpy(first, from, static_cast<std::size_t>(width));
      } else {
        uint8_t* second = strips.padded[1] + offset;
        splitPairs_(from, first, second, geometry_.inW);
        mirrorRowEnds(second, second, border, width);
      }
      mirrorRowEnds(first, first, border, width);
    }
  }

 private:
  decltype(InterpolationFunctions::filterColumns) filterColumns_;
  decltype(InterpolationFunctions::splitPairs) splitPairs_;
  const PlaneGeometry& geometry_;
  const ColumnPlan& columns_;
  const SeparablePlanes& planes_;
};

/// Both passes over a band, strip by strip, as far as they need no other band: the output rows
/// whose four source rows all lie in [band.first, band.end). In source order these follow each
/// other, and `next` walks over them once.
///
/// Rows that are overwritten belong to this band alone: of the source planes the first strip's
/// rows, of the 16-bit plane those of StripPlaces, of the destination planes the first output row
/// of the band, the scratch row. If the band has no output row, none is written.
void filterInStrips(const PlaneGeometry& geometry, const RowBand& band, const SourceRows& source,
                    const OutputRows& output, const StripWork& strips) {
  const StripPlaces places(band);
  const auto placeOf = [&](int32_t row) { return places.of(row); };
  int32_t next = 0;
  while (next < geometry.outH && output.tapRows(output.inSourceOrder(next)).first < band.first)
    ++next;
  const int32_t scratch = output.inSourceOrder(next);
  for (int32_t row = band.first; row < band.end; row += kStripRows) {
    const int32_t count = std::min(kStripRows, band.end - row);
    if (strips.rows != nullptr) {
      source.load(row, count, band.first);
      source.filter(band.first, count, places.of(row));
    } else {
      source.filter(row, count, places.of(row));
    }
    for (; next < geometry.outH; ++next) {
      const int32_t k = output.inSourceOrder(next);
      if (output.tapRows(k).last >= row + count) break;
      output.write(k, scratch, placeOf);
    }
  }
}

}  // namespace

void horizontalBand(const PlaneGeometry& geometry, const PhaseTable& table,
                    const ColumnPlan& columns, const SeparablePlanes& planes, int32_t threadIndex) {
  const RowBand band = paddedRows(geometry, threadIndex);
  const SourceRows source(geometry, columns, planes);
  if (planes.strips != nullptr) {
    filterInStrips(geometry, band, source, OutputRows(geometry, table, planes), *planes.strips);
    return;
  }
  for (int32_t row = band.first; row < band.end; row += kStripRows)
    source.filter(row, std::min(kStripRows, band.end - row), row);
}

void verticalBand(const PlaneGeometry& geometry, const PhaseTable& table,
                  const SeparablePlanes& planes, int32_t threadIndex) {
  const OutputRows output(geometry, table, planes);
  const auto [first, end] = interpolationBand(geometry.outH, threadIndex);
  for (int32_t k = first; k < end; ++k) {
    if (planes.strips == nullptr) {
      output.write(k, k, [](int32_t row) { return row; });
      continue;
    }
    const TapRows taps = output.tapRows(k);
    if (taps.last < bandOfRow(geometry, taps.first).end) continue;  // one band: written already
    output.write(k, k, [&](int32_t row) { return StripPlaces(bandOfRow(geometry, row)).of(row); });
  }
}

}  // namespace velmora
