// Frames that are drawn from a picture known everywhere.
#ifndef VELMORA_TESTS_BURST_DRAWN_FRAME_H
#define VELMORA_TESTS_BURST_DRAWN_FRAME_H

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <vector>

#include "burst/motion.h"
#include "support/random.h"

namespace velmora::test {

/// Grey level of plane 0, 1 or 2 at a position in luma samples.
using Scene = std::function<double(int32_t plane, burst::Point at)>;

/// Smooth waves of several lengths and directions, no place like another.
inline double waves(int32_t plane, burst::Point at) {
  const auto [x, y] = at;
  if (plane != 0) return 128 + 25 * std::sin(0.05 * x + plane) * std::cos(0.04 * y - plane);
  return 120 + 34 * std::sin(0.31 * x + 0.12 * y) + 27 * std::sin(0.17 * y - 0.07 * x + 1) +
         18 * std::sin(0.023 * x * std::sin(0.011 * y) + 0.5 * y);
}

/// A frame that lies elsewhere, turned by a small angle about its first sample.
inline burst::Motion moved(double dx, double dy, double turn = 0) {
  burst::Motion motion;
  motion.homography.h = {1, -turn, dx, turn, 1, dy, 0, 0, 1};
  motion.prepare();
  return motion;
}

/// A planar frame: luma, U and V. `motion` maps the scene's luma positions onto the frame's.
struct DrawnFrame {
  DrawnFrame(burst::Size size, const Scene& scene, const burst::Homography& motion = {},
             double sigma = 0, uint64_t seed = 1) {
    Random random(seed);
    const burst::Homography back = motion.inverse();
    for (int32_t p = 0; p < burst::kPlanes; ++p) {
      const int32_t half = p == 0 ? 1 : 2;
      const burst::Size own = {(size.width + half - 1) / half, (size.height + half - 1) / half};
      auto& samples = values[static_cast<std::size_t>(p)];
      for (int32_t y = 0; y < own.height; ++y) {
        for (int32_t x = 0; x < own.width; ++x) {
          const burst::Point at = {1.0 * x, 1.0 * y};
          const burst::Point from = back(p == 0 ? at : burst::lumaOfChroma(at));
          // The sum of 12 uniform values less 6 is close to a normal one.
          double noise = -6;
          for (int i = 0; i < 12; ++i)
            noise += random.unit();
          const double level = scene(p, from) + noise * (p == 0 ? sigma : sigma / 2);
          samples.push_back(static_cast<uint8_t>(std::clamp(level + 0.5, 0.0, 255.0)));
        }
      }
      frame.planes[p] = {samples.data(), own.width, 1, own};
    }
  }
  DrawnFrame(const DrawnFrame&) = delete;
  DrawnFrame& operator=(const DrawnFrame&) = delete;

  std::array<std::vector<uint8_t>, burst::kPlanes> values;
  burst::SourceFrame frame;
};

}  // namespace velmora::test

#endif  // VELMORA_TESTS_BURST_DRAWN_FRAME_H
