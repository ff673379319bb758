#include "scene.h"

#include <algorithm>
#include <cmath>

namespace velmora::bench {
namespace {

uint64_t mix(uint64_t z) {
  z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9u;
  z = (z ^ (z >> 27)) * 0x94D049BB133111EBu;
  return z ^ (z >> 31);
}

double lattice(int64_t x, int64_t y, uint64_t salt) {
  const uint64_t h =
      mix(static_cast<uint64_t>(x) * 0x9E3779B97F4A7C15u ^ mix(static_cast<uint64_t>(y) + salt));
  return static_cast<double>(h >> 11) * 0x1p-53;
}

// Smoothly interpolated random values on a grid of the given pitch.
double valueNoise(double x, double y, double pitch, uint64_t salt) {
  x /= pitch;
  y /= pitch;
  const double fx = std::floor(x), fy = std::floor(y);
  const auto ix = static_cast<int64_t>(fx), iy = static_cast<int64_t>(fy);
  const auto smooth = [](double t) { return t * t * (3 - 2 * t); };
  const double u = smooth(x - fx), v = smooth(y - fy);
  const double top = lattice(ix, iy, salt) * (1 - u) + lattice(ix + 1, iy, salt) * u;
  const double bottom = lattice(ix, iy + 1, salt) * (1 - u) + lattice(ix + 1, iy + 1, salt) * u;
  return top * (1 - v) + bottom * v;
}

// Random discs, one at most per cell: closed edges at many sizes, as real scenes have them.
double discs(double x, double y, double cell, uint64_t salt) {
  const auto ix = static_cast<int64_t>(std::floor(x / cell));
  const auto iy = static_cast<int64_t>(std::floor(y / cell));
  const double cx = (static_cast<double>(ix) + 0.3 + 0.4 * lattice(ix, iy, salt)) * cell;
  const double cy = (static_cast<double>(iy) + 0.3 + 0.4 * lattice(ix, iy, salt + 1)) * cell;
  const double radius = cell * (0.08 + 0.2 * lattice(ix, iy, salt + 2));
  const double edge = std::clamp(radius - std::hypot(x - cx, y - cy) + 0.5, 0.0, 1.0);
  return edge * (lattice(ix, iy, salt + 3) - 0.5);
}

}  // namespace

Nv12Frame renderScene(int width, int height, const Motion& motion, double noiseSigma,
                      uint64_t seed) {
  Nv12Frame frame{width, height, {}};
  frame.bytes.resize(static_cast<std::size_t>(width) * height * 3 / 2);
  const double c = std::cos(motion.angle) * motion.zoom, s = std::sin(motion.angle) * motion.zoom;
  const auto toByte = [](double v) {
    return static_cast<uint8_t>(std::clamp(v + 0.5, 0.0, 255.0));
  };
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      const double px = x * c - y * s + motion.dx, py = x * s + y * c + motion.dy;
      double v = 128 + 90 * (valueNoise(px, py, 160, 1) - 0.5) +
                 60 * (valueNoise(px, py, 23, 2) - 0.5) + 30 * (valueNoise(px, py, 5, 3) - 0.5) +
                 110 * discs(px, py, 64, 10) + 110 * discs(px, py, 190, 20);
      if (noiseSigma > 0) {
        double n = 0;  // the sum of four uniforms is normal enough
        for (uint64_t k = 0; k < 4; ++k)
          n += lattice(x, y, seed * 4 + k + 100) - 0.5;
        v += n * noiseSigma * std::sqrt(3.0);
      }
      frame.bytes[static_cast<std::size_t>(y) * width + x] = toByte(v);
    }
  }
  uint8_t* chroma = frame.bytes.data() + static_cast<std::size_t>(width) * height;
  for (int y = 0; y < height / 2; ++y) {
    for (int x = 0; x < width / 2; ++x) {
      const double px = 2 * (x * c - y * s) + motion.dx, py = 2 * (x * s + y * c) + motion.dy;
      *chroma++ = toByte(128 + 60 * (valueNoise(px, py, 90, 5) - 0.5));
      *chroma++ = toByte(128 + 60 * (valueNoise(px, py, 110, 6) - 0.5));
    }
  }
  return frame;
}

}  // namespace velmora::bench
