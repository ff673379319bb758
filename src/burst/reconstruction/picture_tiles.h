// Makes the planes of the picture tile by tile.
#ifndef VELMORA_SRC_BURST_RECONSTRUCTION_PICTURE_TILES_H
#define VELMORA_SRC_BURST_RECONSTRUCTION_PICTURE_TILES_H

#include <optional>
#include <span>

#include "burst/reconstruction/plane_job.h"
#include "burst/restoration/restoration.h"

namespace velmora::burst {

/// A plane of the picture and how it is made.
struct PictureTask {
  const PlaneJob* job;
  std::optional<RestorationPlan> plan;  ///< what is done to the sum; none: nothing
  TargetPlane target;
};

/// `tile`: samples of the grid a tile, multiples of 8; zeros: chosen here. Never changes results.
/// Throws std::bad_alloc before anything is written, and Cancelled.
void makePicture(Memory& memory, Workers& workers, std::span<const PictureTask> tasks, Size tile,
                 double progressWeight);

}  // namespace velmora::burst

#endif  // VELMORA_SRC_BURST_RECONSTRUCTION_PICTURE_TILES_H
