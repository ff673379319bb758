// Reconstruction: registered frames into one picture.
#ifndef VELMORA_SRC_BURST_RECONSTRUCTION_RECONSTRUCTION_H
#define VELMORA_SRC_BURST_RECONSTRUCTION_RECONSTRUCTION_H

#include <span>

#include "burst/motion.h"
#include "burst/weights/weights.h"

namespace velmora::burst {

/// A frame that goes into the picture. The first of a list is the reference: its motion is the
/// identity, its weights are null, which means 255 everywhere.
struct Contribution {
  const SourceFrame* frame;
  const Motion* motion;
  double gain;
  double bias;
  const Weights* weights;
};

struct ReconstructionSettings {
  Rect region;        ///< of the reference, luma samples; its first and last columns and rows
  Size output;        ///< become the first and last of the picture
  NoiseLevels noise;  ///< of one frame, as measured or given
  double sharpened;   ///< the amount by which frames were sharpened, -0.6 .. 1
  bool fast;
  Size tile = {0, 0};  ///< samples a tile, multiples of 8; zeros: chosen. Never changes results
};

/// Times of the two parts in milliseconds.
struct ReconstructionTimes {
  double noise = 0;
  double reconstruction = 0;
};

/// The sum of the weights that reconstruct() hands to Workers::run; see Workers::expect.
double reconstructionWork(int32_t frames, const ReconstructionSettings& settings);

/// Writes the whole picture. Throws std::bad_alloc before anything is written, and Cancelled.
ReconstructionTimes reconstruct(Memory& memory, Workers& workers,
                                std::span<const Contribution> frames,
                                const ReconstructionSettings& settings, const TargetFrame& picture);

}  // namespace velmora::burst

#endif  // VELMORA_SRC_BURST_RECONSTRUCTION_RECONSTRUCTION_H
