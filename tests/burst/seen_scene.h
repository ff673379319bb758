// A drawn scene, seen by frames that move, with the memory and workers of a call.
#ifndef VELMORA_TESTS_BURST_SEEN_SCENE_H
#define VELMORA_TESTS_BURST_SEEN_SCENE_H

#include <cstdlib>
#include <functional>
#include <numeric>
#include <vector>

#include "burst/reconstruction/reconstruction.h"

namespace velmora::test {

using namespace burst;

inline Memory& memory() {
  static Memory instance({[](void*, size_t size) { return std::malloc(size); },
                          [](void*, void* block) { std::free(block); }, nullptr});
  return instance;
}

/// Level of a plane (0: luma) at a position of the reference, in luma samples.
using Scene = std::function<double(std::size_t plane, Point luma)>;

/// A frame of the scene: each sample is the level at its centre.
struct DrawnFrame {
  DrawnFrame(const Scene& scene, Size size, const Motion& motion = {}) {
    for (std::size_t p = 0; p < kPlanes; ++p) {
      const Size plane = p == 0 ? size : Size{(size.width + 1) / 2, (size.height + 1) / 2};
      for (int32_t y = 0; y < plane.height; ++y) {
        for (int32_t x = 0; x < plane.width; ++x) {
          const Point at = {static_cast<double>(x), static_cast<double>(y)};
          const double level = scene(p, motion.toReference(p == 0 ? at : lumaOfChroma(at)));
          bytes[p].push_back(static_cast<uint8_t>(level < 0 ? 0 : level > 255 ? 255 : level + 0.5));
        }
      }
      frame.planes[p] = {bytes[p].data(), plane.width, 1, plane};
    }
  }
  DrawnFrame(DrawnFrame&&) = default;
  std::vector<uint8_t> bytes[kPlanes];
  SourceFrame frame;
};

inline Motion moved(double dx, double dy, double turn = 0) {
  Motion motion;
  motion.homography.h = {1, -turn, dx, turn, 1, dy, 0, 0, 1};
  motion.prepare();
  return motion;
}

}  // namespace velmora::test

#endif  // VELMORA_TESTS_BURST_SEEN_SCENE_H
