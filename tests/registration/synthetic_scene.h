// Pictures of a textured scene that can be sampled at any position: pairs with a known motion.
#ifndef VELMORA_TESTS_REGISTRATION_SYNTHETIC_SCENE_H
#define VELMORA_TESTS_REGISTRATION_SYNTHETIC_SCENE_H

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "registration/synthetic_pairs.h"
#include "support/random.h"
#include "velmora_sr/features.h"

namespace velmora::test {

/// Value noise of several scales: random values on lattices, smoothly interpolated.
class Scene {
 public:
  explicit Scene(uint64_t seed) : seed_(seed) {}

  [[nodiscard]] double at(Position p) const {
    double value = 128;
    double amplitude = 70;
    uint64_t octave = 0;
    for (const double spacing : {67.0, 31.0, 17.0}) {
      value += amplitude * noise(p.x / spacing, p.y / spacing, octave++);
      amplitude *= 0.8;
    }
    return value;
  }

 private:
  /// In [-1, 1], fixed for each lattice point.
  [[nodiscard]] double lattice(int64_t x, int64_t y, uint64_t octave) const {
    Random random(seed_ * 0x9E3779B97F4A7C15u + octave * 0x632BE59BD9B4E019u +
                  static_cast<uint64_t>(x) * 0xD1B54A32D192ED03u +
                  static_cast<uint64_t>(y) * 0x8CB92BA72F3D8DD7u);
    random.next();
    return random.unit() * 2 - 1;
  }
  [[nodiscard]] double noise(double x, double y, uint64_t octave) const {
    const double left = std::floor(x);
    const double top = std::floor(y);
    const auto smooth = [](double t) { return t * t * t * (t * (6 * t - 15) + 10); };
    const double fx = smooth(x - left);
    const double fy = smooth(y - top);
    const auto corner = [&](int dx, int dy) {
      return lattice(static_cast<int64_t>(left) + dx, static_cast<int64_t>(top) + dy, octave);
    };
    const double upper = corner(0, 0) * (1 - fx) + corner(1, 0) * fx;
    const double lower = corner(0, 1) * (1 - fx) + corner(1, 1) * fx;
    return upper * (1 - fy) + lower * fy;
  }

  uint64_t seed_;
};

/// A packed luma plane, which is all that registration reads of a frame.
struct Frame {
  int32_t width;
  int32_t height;
  std::vector<uint8_t> data;

  Frame(int32_t w, int32_t h, uint8_t luma = 128)
      : width(w), height(h), data(static_cast<std::size_t>(w) * h, luma) {}

  uint8_t& at(int32_t y, int32_t x) { return data[static_cast<std::size_t>(y) * width + x]; }
  void paint(int32_t left, int32_t top, int32_t side, uint8_t value) {
    for (int32_t y = top; y < top + side; ++y)
      std::fill_n(&at(y, left), side, value);
  }
  /// The stride is set to what nobody may read.
  tagST_PIC record() { return {width, height, -7, data.data(), nullptr, nullptr, 0, 0}; }
};

/// The scene as a camera sees it after the inverse of a motion: what the motion says lies at (x, y)
/// of the new frame is drawn there. `noise` is uniform in +-noise grey levels.
inline Frame draw(const Scene& scene, int32_t width, int32_t height,
                  const Motion& newToScene = shift(0, 0), double noise = 0,
                  uint64_t noiseSeed = 0) {
  Frame frame(width, height);
  Random random(noiseSeed);
  for (int32_t y = 0; y < height; ++y) {
    for (int32_t x = 0; x < width; ++x) {
      const Position at = newToScene.apply({static_cast<double>(x), static_cast<double>(y)});
      const double value = scene.at(at) + (noise == 0 ? 0 : noise * (2 * random.unit() - 1));
      frame.at(y, x) = static_cast<uint8_t>(std::clamp(value + 0.5, 0.0, 255.0));
    }
  }
  return frame;
}

/// A scene from so far that the detector finds points without a reduction, too.
inline Frame texture(int32_t width, int32_t height, uint64_t seed) {
  return draw(Scene(seed), width, height, {{3, 0, 0, 0, 3, 0, 0, 0, 1}});
}

/// Independent samples: the hardest case for filters, and nothing that two frames share.
inline Frame noise(int32_t width, int32_t height, uint64_t seed) {
  Frame frame(width, height);
  frame.data = Random(seed).bytes(frame.data.size());
  return frame;
}

}  // namespace velmora::test

#endif  // VELMORA_TESTS_REGISTRATION_SYNTHETIC_SCENE_H
