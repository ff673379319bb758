// Functions of reconstruction with variants for instruction sets. Pointers are rows of buffers that
// do not overlap unless an entry says otherwise.
#ifndef VELMORA_SRC_BURST_RECONSTRUCTION_FUNCTIONS_H
#define VELMORA_SRC_BURST_RECONSTRUCTION_FUNCTIONS_H

#include <cstddef>
#include <cstdint>

namespace velmora {

enum class CpuSet;  // cpu/cpu_set.h; files compiled for a set take no more than they need

namespace burst {

/// How the frames share a row of the picture.
struct ShareRow {
  int32_t others;                 ///< frames besides the reference, 0 .. 7
  const uint8_t* const* weights;  ///< their weights; the reference has 255
  const uint16_t* reciprocals;    ///< [1787] 2^22 / (255 + i), rounded up, for their sum i
  /// What the windows of the correction add up to, Q12: of the reference, then of the others.
  const int16_t* const* spreads;
  const uint16_t* steps;  ///< by the frames' common spread less lowestSpread, Q14, one to spare
  int32_t lowestSpread;
  int16_t* const* shares;       ///< [others + 1] Q14; add up to 2^14
  int16_t* const* corrections;  ///< [others + 1] Q12, below 2^14; null: not wanted, nor are spreads
  uint8_t* frames;              ///< how many frames were added up, 1 .. 8
};

/// Rows that are multiplied and added up.
struct ProductRow {
  int32_t terms;                  ///< 1 .. 8
  const int16_t* const* samples;  ///< any values
  const int16_t* const*
      factors;    ///< their magnitudes add up to less than 2^15: sums stay in 32 bits
  int32_t shift;  ///< fraction bits of the factors, 1 .. 15
};

/// Positions that are allowed, ends included.
struct PositionLimits {
  int32_t left;
  int32_t top;
  int32_t right;
  int32_t bottom;
};

/// A row of a frame to be compared with what it should be.
struct ResidualRow {
  const int16_t* samples;   ///< of the frame
  const int16_t* means[3];  ///< of the picture over the samples' squares: rows above, at and
                            ///< below; columns -1 .. count
  int32_t sharpened;        ///< Q10, -1024 .. 1024; 0: the other rows and columns are not read
  const int16_t* inside;    ///< -1 where there is a residual, otherwise 0
};

/// See sampleWeights: they mean nothing.
inline constexpr int32_t kSpareWeights = 6;

struct ReconstructionFunctions {
  /// out[i] = upper[i] * (16 - fraction) + lower[i] * fraction for i in [0, count).
  void (*blendWeights)(const uint8_t* upper, const uint8_t* lower, int32_t fraction, int32_t count,
                       int16_t* out);
  /// out[i] = blended[j] * taps[2 i] + blended[j + 1] * taps[2 i + 1], j = columns[i], rounded half
  /// up by 8 bits. Taps add up to 16; columns never fall. kSpareWeights behind those that count may
  /// be read.
  void (*sampleWeights)(const int16_t* blended, const int32_t* columns, const int16_t* taps,
                        int32_t count, uint8_t* out);
  /// out[i] = sums[64 * phase of y[i] + phase of x[i]]; 0 <= sums < 2^15.
  void (*lookUpSums)(const int32_t* sums, const int32_t* x, const int32_t* y, int32_t count,
                     int16_t* out);
  /// share of frame k = weights[k] * 256 * reciprocal / 2^16, truncated, the rest is the
  /// reference's; common spread = sum of shares * spreads / 2^14, truncated; correction of frame k
  /// = its share * step / 2^16, truncated; frames = (sum of all weights) / 255, rounded.
  void (*shareRow)(const ShareRow& row, int32_t count);
  /// out[i] = base[i] + the sum of samples times factors, rounded half up by the shift; both the
  /// sum and the result saturate. `base` is `out`, or null for zeros.
  void (*addProducts)(const ProductRow& row, int32_t count, const int16_t* base, int16_t* out);
  /// Moves positions that lie outside to the limits, and marks those that need not with -1 in
  /// `inside`, the others with 0.
  void (*limitPositions)(const PositionLimits& limits, int32_t count, int32_t* x, int32_t* y,
                         int16_t* inside);
  /// out[i] = samples - m where inside, otherwise 0, saturated; m = the mean M, sharpened: M +
  /// a * (M - M blurred by [1 2 1] / 4 both ways), what is added rounded half up and saturated,
  /// then the sum.
  void (*residualRow)(const ResidualRow& row, int32_t count, int16_t* out);
  /// out[i] = samples[i] / 32, rounded half up and clamped to 0..255.
  void (*roundRow)(const int16_t* samples, int32_t count, uint8_t* out);
};

/// The functions in use, and those of one set.
const ReconstructionFunctions& reconstructionFunctions();
const ReconstructionFunctions& reconstructionFunctions(CpuSet set);

}  // namespace burst
}  // namespace velmora

#endif  // VELMORA_SRC_BURST_RECONSTRUCTION_FUNCTIONS_H
