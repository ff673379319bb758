// The two passes of the one-frame interpolation, band by band: horizontally into a 16-bit plane,
// vertically out of it.
#ifndef VELMORA_SRC_INTERPOLATION_SEPARABLE_PASSES_H
#define VELMORA_SRC_INTERPOLATION_SEPARABLE_PASSES_H

#include <array>
#include <cstdint>

#include "interpolation/functions.h"
#include "interpolation/sampling.h"

namespace velmora {

/// Makes the horizontal pass go through its band in strips of a few rows and write every output row
/// as soon as its source rows are filtered, so that nothing in between leaves the cache. The 16-bit
/// plane then holds few rows, and the vertical pass does the output rows whose source rows lie in
/// two bands. The result is the same.
struct StripWork {
  /// Rows of the image without padding: samples of the one plane, or pairs of two planes (even
  /// bytes belong to the first). Null: the source planes are padded and filled.
  const uint8_t* rows = nullptr;
  /// With rows: the source planes, of which each band overwrites a few rows.
  std::array<uint8_t*, 2> padded = {};
  /// Takes the output of two planes as rows of pairs without gaps; a few rows of the destination
  /// planes are overwritten. Null: the output goes to the destination planes.
  uint8_t* pairs = nullptr;
};

/// One or two planes of the same geometry.
struct SeparablePlanes {
  int32_t count = 1;
  std::array<const uint8_t*, 2> source = {};
  std::array<int16_t*, 2> intermediate = {};
  std::array<uint8_t*, 2> destination = {};
  int32_t destinationPitch = 0;
  const StripWork* strips = nullptr;  ///< null: each pass goes over its whole band
};

/// The band of the thread with this index, 12..15. All bands of the horizontal pass come before the
/// vertical ones, with the same arguments.
void horizontalBand(const PlaneGeometry& geometry, const PhaseTable& table,
                    const ColumnPlan& columns, const SeparablePlanes& planes, int32_t threadIndex);
void verticalBand(const PlaneGeometry& geometry, const PhaseTable& table,
                  const SeparablePlanes& planes, int32_t threadIndex);

}  // namespace velmora

#endif  // VELMORA_SRC_INTERPOLATION_SEPARABLE_PASSES_H
