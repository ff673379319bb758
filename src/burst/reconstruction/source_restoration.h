// Restores a frame that is alone, before it is enlarged.
#ifndef VELMORA_SRC_BURST_RECONSTRUCTION_SOURCE_RESTORATION_H
#define VELMORA_SRC_BURST_RECONSTRUCTION_SOURCE_RESTORATION_H

#include <span>

#include "burst/resampling/samples.h"
#include "burst/restoration/restoration.h"
#include "burst/workers.h"

namespace velmora::burst {

/// A part of a plane to be restored.
struct SourceTask {
  const SampleSource* source;
  Size plane;
  Rect part;  ///< of the plane
  double sigma;
  bool wiener16;
  PlaneBuffer<int16_t>* restored;  ///< of the size of the part
};

/// Throws std::bad_alloc and Cancelled.
void restoreSources(Memory& memory, Workers& workers, std::span<const SourceTask> tasks, bool fast,
                    double progressWeight);

}  // namespace velmora::burst

#endif  // VELMORA_SRC_BURST_RECONSTRUCTION_SOURCE_RESTORATION_H
