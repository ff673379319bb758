#include "demo/camera.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <random>

namespace velmora::tool {
namespace {

struct Position {
  double x, y;
};

// Catmull-Rom weights of the four samples around a fraction.
std::array<double, 4> cubic(double t) {
  return {t * (-0.5 + t * (1 - 0.5 * t)), 1 + t * t * (1.5 * t - 2.5),
          t * (0.5 + t * (2 - 1.5 * t)), t * t * (0.5 * t - 0.5)};
}

// The same for the mean of the points half a sample before and behind: five samples, since one of
// the points lies in the neighbouring interval, at the same fraction of it.
std::array<double, 5> cubicMean(double t) {
  const auto half = cubic(t < 0.5 ? t + 0.5 : t - 0.5);
  std::array<double, 5> weights{};
  for (std::size_t i = 0; i < 4; ++i) {
    weights[i] += half[i] / 2;
    weights[i + 1] += half[i] / 2;
  }
  return weights;
}

// The mean over a square of 2 x 2 samples, as the mean of the four points half a sample away.
double meanAround(const Plane& plane, Position p) {
  const double left = std::floor(p.x);
  const double top = std::floor(p.y);
  const auto wx = cubicMean(p.x - left);
  const auto wy = cubicMean(p.y - top);
  // With a fraction below one half, the point before lies in the interval before.
  const int x0 = static_cast<int>(left) - (p.x - left < 0.5 ? 2 : 1);
  const int y0 = static_cast<int>(top) - (p.y - top < 0.5 ? 2 : 1);
  double sum = 0;
  for (int j = 0; j < 5; ++j) {
    const uint8_t* row = plane.row(std::clamp(y0 + j, 0, plane.size.height - 1));
    double line = 0;
    for (int i = 0; i < 5; ++i)
      line += wx[static_cast<std::size_t>(i)] * row[std::clamp(x0 + i, 0, plane.size.width - 1)];
    sum += wy[static_cast<std::size_t>(j)] * line;
  }
  return sum;
}

class Noise {
 public:
  explicit Noise(uint32_t seed) : random_(seed) {}
  // Box and Muller's method: the distributions of the standard library differ between its makers.
  double next() {
    const double radius = std::sqrt(-2 * std::log(1 - unit()));
    return radius * std::cos(2 * std::numbers::pi * unit());
  }

 private:
  double unit() { return static_cast<double>(random_()) / 4294967296.0; }
  std::mt19937 random_;
};

uint8_t toByte(double value) {
  return static_cast<uint8_t>(std::lround(std::clamp(value, 0.0, 255.0)));
}

}  // namespace

Picture photographed(const Picture& truth, Size frame, const Motion& motion, double noise,
                     uint32_t seed, int margin) {
  const Position centre = {(frame.width - 1) / 2.0, (frame.height - 1) / 2.0};
  const double c = motion.scale * std::cos(motion.angle);
  const double s = motion.scale * std::sin(motion.angle);
  const auto seen = [&](double x, double y) -> Position {
    x -= centre.x;
    y -= centre.y;
    return {centre.x + motion.shiftX + c * x - s * y, centre.y + motion.shiftY + s * x + c * y};
  };
  Noise random(seed);
  Picture picture(frame);
  for (int y = 0; y < frame.height; ++y) {
    for (int x = 0; x < frame.width; ++x) {
      const Position p = seen(x, y);
      const Position at = {2 * p.x + margin, 2 * p.y + margin};
      picture.y.row(y)[x] = toByte(meanAround(truth.y, at) + noise * random.next());
    }
  }
  // A chroma sample lies amid four luma samples, in the frame as in the truth: chroma sample c at
  // luma 2c + 1/2.
  for (int y = 0; y < picture.u.size.height; ++y) {
    for (int x = 0; x < picture.u.size.width; ++x) {
      const Position p = seen(2 * x + 0.5, 2 * y + 0.5);
      const Position at = {p.x + (margin - 0.5) / 2, p.y + (margin - 0.5) / 2};
      picture.u.row(y)[x] = toByte(meanAround(truth.u, at) + noise / 2 * random.next());
      picture.v.row(y)[x] = toByte(meanAround(truth.v, at) + noise / 2 * random.next());
    }
  }
  return picture;
}

}  // namespace velmora::tool
