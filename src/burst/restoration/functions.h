// Functions of restoration with variants for instruction sets.
//
// All work on many blocks at a time, one after the other along a row, `stride` columns apart. For
// that a row of samples is kept in phases: column i lies at [(i % stride) * pitch + i / stride], so
// that column c of all blocks is one run of values, and lane b of a run belongs to block b. Columns
// are transformed once for all blocks that share them, forwards and, since blocks are added up
// before, backwards.
#ifndef VELMORA_SRC_BURST_RESTORATION_FUNCTIONS_H
#define VELMORA_SRC_BURST_RESTORATION_FUNCTIONS_H

#include <cstddef>
#include <cstdint>

namespace velmora {

enum class CpuSet;  // cpu/cpu_set.h; files compiled for a set take no more than they need

namespace burst {

/// Most blocks of a call.
inline constexpr int32_t kLanes = 32;
/// Tables of noise that the blocks of a call can choose from.
inline constexpr int32_t kTables = 8;
/// Rows in phases are worked on in whole units of so many values.
inline constexpr int32_t kUnit = 16;

/// The columns' transforms, and which coefficients of a block are made of what.
struct BlockRow {
  int32_t size;            ///< of blocks, 8 or 16
  int32_t stride;          ///< from block to block, 1 .. 4; for size 16: 2 or 4
  int32_t lanes;           ///< blocks, 16 or 32
  std::ptrdiff_t pitch;    ///< from one vertical frequency to the next
  std::ptrdiff_t phase;    ///< from one phase to the next
  const int16_t* columns;  ///< of the first block, at most 8190 in magnitude for size 8
  ///< and 5792 for size 16
  const int16_t* pilot;       ///< likewise, for shrinkByPilot; null for shrinkByThreshold
  float weightScale;          ///< the weight of a block that nothing is left of; at most 64000
  int16_t* values;            ///< takes the blocks with their rows transformed back:
  std::ptrdiff_t valuePitch;  ///< [(size * vertical frequency + column) * valuePitch + block]
  int16_t* weights;           ///< [lanes] takes the blocks' weights, at most weightScale / 2
};

/// What to shrink with: a coefficient's entries in all tables lie side by side.
template <typename T>
struct NoiseChoice {
  const T* values;         ///< [size * size][kTables]; row-major, vertical frequency first
  const uint8_t* numbers;  ///< [BlockRow::lanes] the table of each block, 0 .. kTables - 1
};

/// What a row of blocks adds to the sums of the samples that it covers.
struct ColumnSums {
  int32_t size;  ///< see BlockRow
  int32_t stride;
  int32_t count;               ///< runs of values of each phase; a multiple of kUnit
  std::ptrdiff_t phase;        ///< from phase to phase, of the sums
  const int16_t* values;       ///< see BlockRow; kUnit values before the first block can be read,
  std::ptrdiff_t valuePitch;   ///< and as many blocks as `count`
  const int16_t* weights;      ///< likewise; 0 where there is no block
  float* const* numerators;    ///< [size] rows of sums in phases
  float* const* denominators;  //
};

struct RestorationFunctions {
  /// Puts a row of `count` samples into phases, centred and limited: out[(i % stride) * phase +
  /// i / stride] = in[i] - kMidGrey within +-kSampleLimit.
  void (*split)(const int16_t* in, int32_t count, int32_t stride, std::ptrdiff_t phase,
                int16_t* out);
  /// The inverse but for centre and limit: out[i] = in[(i % stride) * phase + i / stride].
  void (*merge)(const int16_t* in, int32_t count, int32_t stride, std::ptrdiff_t phase,
                int16_t* out);
  /// Transforms columns of `size` values, each at most kSampleLimit in magnitude: out[k * pitch +
  /// i] = half (size 8) or a quarter of the coefficient of frequency k of rows[0 .. size - 1][i],
  /// rounded. `count` is a multiple of kUnit.
  void (*transformColumns)(int32_t size, const int16_t* const* rows, int32_t count, int16_t* out,
                           std::ptrdiff_t pitch);
  /// Transforms rows of blocks, takes coefficients away whose magnitude is not above the threshold
  /// and transforms back. Weights are weightScale / (1 + coefficients kept).
  void (*shrinkByThreshold)(const BlockRow& row, const NoiseChoice<int16_t>& thresholds);
  /// Transforms rows of blocks and of the pilot's, takes n2 / (p^2 + 1 + n2) away from each
  /// coefficient, p the pilot's and n2 the block's entry, and transforms back. Weights are
  /// weightScale / (1 + the sum of the squares of what is left of 1).
  void (*shrinkByPilot)(const BlockRow& row, const NoiseChoice<float>& noise);
  /// Adds up the blocks of a row, each value times its block's weight, transforms the columns of
  /// the sums back, and adds them to the numerators and the weights to the denominators.
  void (*addColumns)(const ColumnSums& sums);
  /// out[i] = numerators[i] / denominators[i], rounded half up, limited to +-kSampleLimit,
  /// brought back from its centre; mid-grey where both are 0. `count` is a multiple of kUnit.
  void (*divide)(const float* numerators, const float* denominators, int32_t count, int16_t* out);
};

/// The functions in use, and those of one set.
const RestorationFunctions& restorationFunctions();
const RestorationFunctions& restorationFunctions(CpuSet set);

}  // namespace burst
}  // namespace velmora

#endif  // VELMORA_SRC_BURST_RESTORATION_FUNCTIONS_H
