// Which samples a tile of a plane needs.
#ifndef VELMORA_SRC_BURST_RECONSTRUCTION_TILE_PLAN_H
#define VELMORA_SRC_BURST_RECONSTRUCTION_TILE_PLAN_H

#include "burst/reconstruction/plane_job.h"

namespace velmora::burst {

/// The parts of grid and frames that make up a part of the grid, exactly: so bytes do not depend
/// on how a plane is cut into tiles.
struct TilePlan {
  /// [i]: the part of the grid that is needed after i back projections; the last is the wanted one.
  Rect sums[kMostIterations + 1];
  /// [k]: what is read of frame k; may reach beyond its plane.
  Rect windows[kMostFrames];
  /// [i][k]: samples of frame k whose residuals are needed by back projection i, all on its plane;
  /// may be empty.
  Rect residuals[kMostIterations][kMostFrames];
};

TilePlan planTile(const PlaneJob& job, const Rect& wanted);

/// Positions of squares that lie inside the grid.
PositionLimits boxLimits(const PlaneJob& job);

/// How much scratch tiles need; see TileSums.
struct TileSizes {
  std::size_t grid = 0;    ///< samples of the grid
  std::size_t window = 0;  ///< samples of a frame
  std::size_t row = 0;     ///< in the longest row of either
  std::size_t frames = 0;  ///< most frames of a job
  void include(const TileSizes& other);
};

/// Rows of a tile's buffers: some samples more than are used, for windows that read beyond a
/// square, and for vectors.
std::ptrdiff_t tilePitch(int32_t width);
/// Rows that are read below a tile's last one.
inline constexpr int32_t kRowsBelow = BoxTaps::kMost;

TileSizes tileSizes(const PlaneJob& job, const TilePlan& plan);

}  // namespace velmora::burst

#endif  // VELMORA_SRC_BURST_RECONSTRUCTION_TILE_PLAN_H
