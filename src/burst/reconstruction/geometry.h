// Where the samples of the picture lie in the frames.
#ifndef VELMORA_SRC_BURST_RECONSTRUCTION_GEOMETRY_H
#define VELMORA_SRC_BURST_RECONSTRUCTION_GEOMETRY_H

#include "burst/motion.h"
#include "burst/resampling/positions.h"

namespace velmora::burst {

/// One axis of a grid of samples to be reconstructed: sample g lies at origin + step * g on a plane
/// of the reference.
struct GridAxis {
  int32_t size = 0;    ///< samples
  int32_t factor = 1;  ///< samples for each sample of the picture, 1 or 2
  double origin = 0;
  double step = 1;

  [[nodiscard]] double position(int32_t g) const { return origin + step * g; }
  [[nodiscard]] double sampleAt(double position) const { return (position - origin) / step; }
  /// The side of a frame's sample, in samples of the grid.
  [[nodiscard]] double side() const { return 1 / step; }
};

/// The grid of one plane of the picture.
struct GridGeometry {
  GridAxis x;
  GridAxis y;
  bool chroma = false;

  [[nodiscard]] Size size() const { return {x.size, y.size}; }
};

/// `first` and `count`: the region's luma samples on this axis, of which the first and the last
/// coincide with those of the picture's `outputSize`. Chroma samples lie in the middle between two
/// luma samples, on the reference and in the picture. Twice as fine grids divide each sample of the
/// picture in two, half a sample apart and as far from its middle.
GridAxis gridAxis(int32_t first, int32_t count, int32_t outputSize, int32_t factor, bool chroma);

/// How samples of a grid and of a frame's plane map onto each other.
struct FrameGrids {
  PositionGrid toFrame;  ///< from the grid to the plane
  PositionGrid toGrid;   ///< from the plane to the window of box sums, see BoxSums
};

/// `plane`: the size of the frame's plane.
FrameGrids frameGrids(Memory& memory, Workers& workers, const GridGeometry& geometry,
                      const Motion& motion, Size plane);

}  // namespace velmora::burst

#endif  // VELMORA_SRC_BURST_RECONSTRUCTION_GEOMETRY_H
