// What reconstruction makes of the noise of the frames.
#ifndef VELMORA_SRC_BURST_RECONSTRUCTION_NOISE_TABLES_H
#define VELMORA_SRC_BURST_RECONSTRUCTION_NOISE_TABLES_H

#include <span>

#include "burst/reconstruction/tile_sums.h"
#include "burst/restoration/restoration.h"

namespace velmora::burst {

using NoiseTables = std::array<CoefficientNoise, kMostFrames>;

/// A plane of pseudo-random samples with unit variance as kNoiseScale, sharpened like frames are;
/// goes on for ever in both directions.
PlaneBuffer<int16_t> pseudoNoise(Memory& memory, int32_t sharpened);
inline constexpr int32_t kNoiseScale = 1024;

/// Jobs that are measured, each with its own tables.
struct NoiseTask {
  const PlaneJob* job;
  NoiseTables* tables;  ///< takes at [n - 1] what unit noise becomes where n frames are added up
};

/// Sends pseudo-noise through each job in a window around the middle of its grid, with all weights
/// 255, for 1 .. job.frames frames. Throws std::bad_alloc and Cancelled.
void measureNoise(Memory& memory, Workers& workers, std::span<const NoiseTask> tasks,
                  double progressWeight);

/// The same noise with another standard deviation.
CoefficientNoise scaled(const CoefficientNoise& unit, double sigma);

}  // namespace velmora::burst

#endif  // VELMORA_SRC_BURST_RECONSTRUCTION_NOISE_TABLES_H
