#include "burst/reconstruction/geometry.h"

#include "burst/reconstruction/box_sums.h"

namespace velmora::burst {

GridAxis gridAxis(int32_t first, int32_t count, int32_t outputSize, int32_t factor, bool chroma) {
  const double step = (count - 1.0) / (outputSize - 1.0);
  GridAxis axis;
  axis.size = (chroma ? (outputSize + 1) / 2 : outputSize) * factor;
  axis.factor = factor;
  axis.step = step / factor;
  // Luma sample 2 J + 0.5 of the picture lies at luma sample first + step * (2 J + 0.5).
  axis.origin = chroma ? (first + 0.5 * step - 0.5) / 2 : first;
  if (factor == 2) axis.origin -= step / 4;
  return axis;
}

FrameGrids frameGrids(Memory& memory, Workers& workers, const GridGeometry& geometry,
                      const Motion& motion, Size plane) {
  const bool chroma = geometry.chroma;
  const GridAxis& gx = geometry.x;
  const GridAxis& gy = geometry.y;
  const double windowX = boxWindowOffset(gx.side());
  const double windowY = boxWindowOffset(gy.side());
  return {PositionGrid(memory, workers, geometry.size(), plane,
                       [&](Point g) {
                         const Point p = {gx.origin + gx.step * g.x, gy.origin + gy.step * g.y};
                         return chroma ? chromaOfLuma(motion.toFrame(lumaOfChroma(p)))
                                       : motion.toFrame(p);
                       }),
          PositionGrid(memory, workers, plane, geometry.size(), [&](Point u) {
            const Point p =
                chroma ? chromaOfLuma(motion.toReference(lumaOfChroma(u))) : motion.toReference(u);
            return Point{gx.sampleAt(p.x) + windowX, gy.sampleAt(p.y) + windowY};
          })};
}

}  // namespace velmora::burst
