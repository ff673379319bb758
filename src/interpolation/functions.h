// Functions with variants for instruction sets: those of plane conversion, interpolation and
// de-ghosting. All pointers are row pointers of non-overlapping buffers unless an entry says
// otherwise.
#ifndef VELMORA_SRC_INTERPOLATION_FUNCTIONS_H
#define VELMORA_SRC_INTERPOLATION_FUNCTIONS_H

#include <cstddef>
#include <cstdint>

namespace velmora {

enum class CpuSet;  // cpu/cpu_set.h; files compiled for a set take no more than they need

/// Where the output columns of a plane come from; the same for all its rows.
struct ColumnPlan {
  int32_t count;         ///< output columns
  int32_t sourceWidth;   ///< samples in a padded source row, at least 4
  int32_t insideBegin;   ///< the columns whose four source samples all lie in the row
  int32_t insideEnd;     ///< (before and after them indices are clamped to the row)
  const int32_t* first;  ///< [count] padded column of the first tap, -4 .. sourceWidth, monotonic
  const int16_t* taps;   ///< [4 * count] four Q12 taps per column
};

/// Rows on their way through the horizontal filter.
struct FilterBlock {
  const uint8_t* source;       ///< first of the padded rows
  std::ptrdiff_t sourcePitch;  ///< samples from row to row
  int16_t* out;                ///< takes the first filtered row
  std::ptrdiff_t outPitch;     ///< values from row to row, at least the columns of the plan
  int32_t rows;                ///< 0 or more; some eight rows make the plan's share small
};

/// Where the output columns of a fused plane come from; the same for all its rows.
struct FusionColumns {
  int32_t count;         ///< output columns
  int32_t insideBegin;   ///< the columns whose four first-frame samples all lie in the row
  int32_t insideEnd;     ///< (before and after them indices are clamped to the row)
  const int32_t* first;  ///< [count] padded column of the first tap, -4 .. sourceWidth, monotonic
  const int32_t* mapColumn;  ///< [count] column of the position maps, 0 .. width - 1
  const int32_t* fraction;   ///< [count] fraction of the position, 0 .. 65535
  const int32_t* phase;      ///< [count] its phase, 0 .. phases - 1
};

/// The inputs of one fused output row.
struct FusionRow {
  const uint8_t* rows[4];       ///< padded first-frame rows of the four vertical taps
  const int16_t* const* taps;   ///< 2D table rows of the row's vertical phase, [horizontal phase]
  const int32_t* mapX;          ///< row of the position maps, 16.16, any values
  const int32_t* mapY;          ///< likewise
  int32_t fraction;             ///< fraction of the row's vertical position, 0 .. 65535
  const uint8_t* second;        ///< padded second frame: its border is at least 2, so that the
  int32_t sourceWidth;          ///< taps of a position inside the image lie inside the plane;
                                ///< samples per padded row, of both frames
  int32_t width;                ///< image size, of both frames
  int32_t height;               //
  const int16_t* const* table;  ///< whole 2D table, [vertical phase * phases + horizontal phase],
  int32_t phases;               ///< 16 Q12 taps and their sum
};

/// One row of 4 x 4 blocks to be de-ghosted. Luma planes have pitch `width`; chroma planes hold
/// height / 2 rows of 2 * (width / 2) bytes, in pairs. All planes are given by their first sample.
struct DeghostRow {
  const uint8_t* guideLuma;  ///< second frame
  const uint8_t* guideChroma;
  uint8_t* luma;          ///< first frame, changed in place
  const uint8_t* chroma;  ///< first frame, unchanged
  uint8_t* newChroma;     ///< takes the chroma pairs of the block row's even rows
  int32_t width;
  int32_t height;
  int32_t firstRow;        ///< first row of the blocks
  int32_t rows;            ///< 1 .. 4: blocks are clipped to their band
  const int32_t* mapX;     ///< row `firstRow` of the position maps, 16.16, any values
  const int32_t* mapY;     //
  const int16_t* weights;  ///< [256] Q12 weight of the first frame by difference
};

struct InterpolationFunctions {
  /// Splits a row of pairs: even[j] = pairs[2j], odd[j] = pairs[2j + 1] for j in [0, count).
  void (*splitPairs)(const uint8_t* pairs, uint8_t* even, uint8_t* odd, int32_t count);
  /// The inverse: pairs[2j] = even[j], pairs[2j + 1] = odd[j] for j in [0, count).
  void (*mergePairs)(const uint8_t* even, const uint8_t* odd, uint8_t* pairs, int32_t count);

  /// Horizontal filter of columns [begin, end) of a block of padded rows: out[j] of a row is the
  /// sum of four samples times taps, (sum + 2048) >> 12, not clamped. Any 16-bit taps: at most 8160
  /// in magnitude.
  void (*filterColumns)(const FilterBlock& block, const ColumnPlan& plan, int32_t begin,
                        int32_t end);
  /// Vertical filter of one output row: out[j] is rows[0..3][j] times taps[0..3], summed,
  /// (sum + 2048) >> 12, clamped to 0..255, for j in [0, count). Rows hold results of filterColumns
  /// and may coincide.
  void (*filterRows)(const int16_t* const* rows, const int16_t* taps, uint8_t* out, int32_t count);

  /// Columns [begin, end) of one output row fused from two frames. Per column, S is the sum of 4 x
  /// 4 first-frame samples times taps and W the 17th value of their table row; where the mapped
  /// position (mapX + horizontal fraction, mapY + vertical fraction, wrapping) lies inside the
  /// second image, its 4 x 4 samples and weight are added. out = (S + (W >> 1)) / W, truncated
  /// towards zero and clamped to 0..255; 0 for W = 0. Any 16-bit table.
  void (*fuseRow)(const FusionRow& row, const FusionColumns& columns, int32_t begin, int32_t end,
                  uint8_t* out);

  /// De-ghosts columns [begin, end) of a row of blocks; begin is a multiple of 4, end too unless it
  /// is the width. Per block, the maps at its top left give the guide position of that sample, the
  /// others lie beside it. A sample whose guide position is inside [0, height - 1) x
  /// [0, width - 1) becomes the blend of itself and the bilinear guide value, its chroma pair (for
  /// even rows and columns) that of itself and the guide's pair at the position below, by the
  /// weight of the largest difference of Y, U and V; others keep luma and chroma.
  void (*deghostBlocks)(const DeghostRow& row, int32_t begin, int32_t end);
};

/// The functions in use, and those of one set.
const InterpolationFunctions& interpolationFunctions();
const InterpolationFunctions& interpolationFunctions(CpuSet set);

}  // namespace velmora

#endif  // VELMORA_SRC_INTERPOLATION_FUNCTIONS_H
