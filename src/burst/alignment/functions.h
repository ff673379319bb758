// Functions of alignment with variants for instruction sets: pyramids, and the sums over pixels
// that frames are registered by.
#ifndef VELMORA_SRC_BURST_ALIGNMENT_FUNCTIONS_H
#define VELMORA_SRC_BURST_ALIGNMENT_FUNCTIONS_H

#include <cstddef>
#include <cstdint>

namespace velmora {

enum class CpuSet;  // cpu/cpu_set.h; files compiled for a set take no more than they need

namespace burst {

/// Pixels of one row of the reference, packed into arrays. `count` is a multiple of
/// kPixelGroup: the last group is filled up with entries whose column is kNoColumn and whose other
/// values are 0.
inline constexpr int32_t kPixelGroup = 16;
inline constexpr uint16_t kNoColumn = 0xFFFF;
struct PixelRow {
  const uint16_t* columns;
  const int16_t* values;      ///< samples, five fraction bits
  const int16_t* gradientsX;  ///< right neighbour less left one: the slope with six fraction bits
  const int16_t* gradientsY;
  int32_t count;
  float centre;  ///< columns count as X = (column - centre) * scale, -1 .. 1
  float scale;
};

/// Arrays to be filled with pixels of a row, see PixelRow.
struct PixelArrays {
  uint16_t* columns;
  int16_t* values;
  int16_t* gradientsX;
  int16_t* gradientsY;
};

/// Where a row of the reference lies in another frame. Column x lies at column x + dx, row y + dy:
/// dx = (x0 + X (x1 + X x2)) / (w0 + X w1), dy = (y0 + X y1) / (w0 + X w1).
struct WarpedRow {
  const int16_t* samples;  ///< of the frame, five fraction bits
  const uint8_t* masked;   ///< bit 1: this sample or its right, lower or lower right neighbour
                           ///< must not be used. Null: all may
  std::ptrdiff_t pitch;
  std::ptrdiff_t maskedPitch;
  int32_t width;  ///< of the frame
  int32_t height;
  int32_t y;
  float x0, x1, x2;
  float y0, y1;
  float w0, w1;
  float gain;  ///< gain * sample + bias is compared with the reference, in grey levels
  float bias;
};

/// The residual of a pixel that has none: it lies outside the frame or is masked there.
inline constexpr float kNoResidual = 1e9f;

/// Sums over the pixels of a row. With residual r, gradients gx, gy in grey levels, b the warped
/// sample times gain, q = limit^2 / (limit^2 + r^2) and weight w = q^2:
struct RowSums {
  float gxgx[5];  ///< [k] w gx gx X^k
  float gxgy[5];
  float gygy[5];
  float rgx[3];  ///< [k] w r gx X^k
  float rgy[3];
  float score;  ///< r^2 q
  float count;  ///< pixels that have a residual
  // The rest only where they were asked for.
  float bgx[3];  ///< [k] w b gx X^k
  float bgy[3];
  float gx[3];  ///< [k] w gx X^k
  float gy[3];
  float bb;  ///< w b b, and so on
  float b;
  float one;
  float rb;
  float r;
};
inline constexpr int32_t kGeometricSums = 23;
inline constexpr int32_t kAllSums = 40;
static_assert(sizeof(RowSums) == kAllSums * sizeof(float));

/// Sums over a stretch of a row, for a translation of the tile that it belongs to.
struct CellSums {
  float rr;  ///< r r of the pixels that have a residual
  float gxgx;
  float gxgy;
  float gygy;
  float rgx;
  float rgy;
  float count;
};
inline constexpr int32_t kCellSums = 7;
static_assert(sizeof(CellSums) == kCellSums * sizeof(float));

struct AlignmentFunctions {
  /// Means of 2 x 2 bytes, five fraction bits: out[i] = 8 * (the sum of four). masked[i] = 1 where
  /// two or more of the four are above 250 or below 2, otherwise 0.
  void (*halveBytes)(const uint8_t* upper, const uint8_t* lower, int16_t* out, uint8_t* masked,
                     int32_t count);
  /// Means of 2 x 2 samples, 0 .. 8160, rounded half up; masked[i] = 1 where two or more of the
  /// four are masked (0 or 1 each), otherwise 0.
  void (*halve)(const int16_t* const* rows, const uint8_t* const* maskedRows, int16_t* out,
                uint8_t* masked, int32_t count);
  /// [1 2 1] / 4 both ways over samples of 0 .. 8160, rounded half up; the rows' ends are
  /// repeated. Rows may coincide.
  void (*smooth)(const int16_t* const* rows, int16_t* out, int32_t count);
  /// The same of bytes, into five fraction bits: exact.
  void (*smoothBytes)(const uint8_t* const* rows, int16_t* out, int32_t count);
  /// From rows y - 1 .. y + 2 of 0 and 1: bit 0 of out[i] tells whether one of the 3 x 3 around
  /// (i, y) is set, bit 1 whether that holds for one of (i, y), (i + 1, y), (i, y + 1),
  /// (i + 1, y + 1). The rows' ends are repeated.
  void (*widenMask)(const uint8_t* const* rows, uint8_t* out, int32_t count);

  /// Counts the pixels of columns [1, width - 1) that are not masked (bit 0) and whose gradient
  /// |gx| + |gy|, six fraction bits, is at least `threshold`. Rows y - 1 .. y + 1.
  int32_t (*countSteep)(const int16_t* const* rows, const uint8_t* masked, int32_t width,
                        int32_t threshold);
  /// Writes these pixels from left to right and nothing behind the last one.
  void (*takeSteep)(const int16_t* const* rows, const uint8_t* masked, int32_t width,
                    int32_t threshold, const PixelArrays& to);

  /// residuals[i] = (gain * s + bias) - value of pixel i, or kNoResidual, with s the Catmull-Rom
  /// sample at its place in the frame, of which the 4 x 4 samples must lie inside; warped[i] =
  /// gain * s, or 0. Positions' fractions are used as they are, columns' taps rounded to Q14.
  void (*residuals)(const PixelRow& row, const WarpedRow& warp, float* residuals, float* warped);
  /// The sums over residuals and what belongs to them, each as eight interleaved partial sums,
  /// added in pairs. `all`: with those that gain and bias need.
  void (*addUp)(const PixelRow& row, const float* residuals, const float* warped, float limit,
                bool all, RowSums& sums);
  /// sums[c] += those of pixels width * c .. width * (c + 1) - 1, width 8 or 16, each sum as eight
  /// interleaved partial sums added in pairs. Residuals' weights are 1.
  void (*addCells)(const PixelRow& row, const float* residuals, int32_t width, CellSums* sums);
};

/// The functions in use, and those of one set.
const AlignmentFunctions& alignmentFunctions();
const AlignmentFunctions& alignmentFunctions(CpuSet set);

}  // namespace burst
}  // namespace velmora

#endif  // VELMORA_SRC_BURST_ALIGNMENT_FUNCTIONS_H
