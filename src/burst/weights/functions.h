// Functions of the weights with variants for instruction sets.
#ifndef VELMORA_SRC_BURST_WEIGHTS_FUNCTIONS_H
#define VELMORA_SRC_BURST_WEIGHTS_FUNCTIONS_H

#include <cstdint>

namespace velmora {

enum class CpuSet;  // cpu/cpu_set.h; files compiled for a set take no more than they need

namespace burst {

/// Sums over five rows, column by column.
struct ColumnSums {
  int32_t* difference;         ///< of frame minus reference, five fraction bits, +-40955
  int32_t* squaredDifference;  ///< ten fraction bits, up to 5 * 8191^2 = 335 million
  int32_t* sample;             ///< of the reference, grey levels
  int32_t* squaredSample;
};

/// What the tests of a plane depend on; variances in squared grey levels.
struct WeightBounds {
  float noise;     ///< of one frame
  float pair;      ///< twice that: of the difference
  float meanOf25;  ///< pair / 25 + 0.5: of the difference's mean over 5 x 5, plus a floor
};

struct WeightFunctions {
  /// inside[i] = 1 where a position lies in 0 .. lastX, 0 .. lastY, else 0, for i in [0, count).
  void (*findInside)(const int32_t* x, const int32_t* y, int32_t lastX, int32_t lastY,
                     int32_t count, uint8_t* inside);
  /// difference[i] = warped[i] - 32 * reference[i], limited to +-8191, for i in [0, count).
  void (*subtract)(const int16_t* warped, const uint8_t* reference, int32_t count,
                   int16_t* difference);
  /// Adds a row to the column sums and takes another away.
  void (*slide)(const int16_t* addedDifference, const uint8_t* addedSample,
                const int16_t* removedDifference, const uint8_t* removedSample, int32_t count,
                const ColumnSums& sums);
  /// weights[i], 0 .. 255, from the five columns i .. i + 4, for i in [0, count); 0 where inside[i]
  /// is.
  void (*weigh)(const ColumnSums& sums, const uint8_t* inside, const WeightBounds& bounds,
                int32_t count, uint8_t* weights);
  /// out[i] = the smallest of the three columns i .. i + 2 of three rows.
  void (*smallestOf9)(const uint8_t* const* rows, int32_t count, uint8_t* out);
  /// out[i] = the mean of the three columns i .. i + 2 of three rows, rounded to nearest.
  void (*meanOf9)(const uint8_t* const* rows, int32_t count, uint8_t* out);
};

/// The functions in use, and those of one set.
const WeightFunctions& weightFunctions();
const WeightFunctions& weightFunctions(CpuSet set);

}  // namespace burst
}  // namespace velmora

#endif  // VELMORA_SRC_BURST_WEIGHTS_FUNCTIONS_H
