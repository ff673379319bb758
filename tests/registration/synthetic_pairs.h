// Point pairs of a known homography, with noise and outliers.
#ifndef VELMORA_TESTS_REGISTRATION_SYNTHETIC_PAIRS_H
#define VELMORA_TESTS_REGISTRATION_SYNTHETIC_PAIRS_H

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "support/random.h"
#include "velmora_sr/matching.h"

namespace velmora::test {

struct Position {
  double x;
  double y;
};

/// A homography in double precision.
struct Motion {
  std::array<double, 9> h;

  [[nodiscard]] Position apply(Position p) const {
    const double w = h[6] * p.x + h[7] * p.y + h[8];
    return {(h[0] * p.x + h[1] * p.y + h[2]) / w, (h[3] * p.x + h[4] * p.y + h[5]) / w};
  }
  /// Largest distance between where the two put the corners of a frame.
  [[nodiscard]] double cornerError(const float* other, double width, double height) const {
    Motion converted = {};
    std::copy_n(other, 9, converted.h.begin());
    double worst = 0;
    for (const Position corner : {Position{0, 0}, Position{width - 1, 0}, Position{0, height - 1},
                                  Position{width - 1, height - 1}}) {
      const Position a = apply(corner);
      const Position b = converted.apply(corner);
      const double error = std::hypot(a.x - b.x, a.y - b.y);
      worst = std::isnan(error) ? HUGE_VAL : std::max(worst, error);
    }
    return worst;
  }
};

inline Motion shift(double dx, double dy) {
  return {{1, 0, dx, 0, 1, dy, 0, 0, 1}};
}

/// Rotation and scale about the middle of a frame, then a shift and a perspective tilt.
inline Motion tilted(double width, double height, double degrees, double scale, double dx,
                     double dy, double tiltX, double tiltY) {
  const double angle = degrees * 3.14159265358979323846 / 180;
  const double c = scale * std::cos(angle);
  const double s = scale * std::sin(angle);
  const double cx = width / 2;
  const double cy = height / 2;
  return {{c, -s, cx - c * cx + s * cy + dx, s, c, cy - s * cx - c * cy + dy, tiltX, tiltY, 1}};
}

/// The arrays of a tagST_MATCH_PAIRS.
struct Pairs {
  std::vector<float> ref, match;
  tagST_MATCH_PAIRS record;

  explicit Pairs(std::vector<float> refPoints = {}, std::vector<float> matchPoints = {})
      : ref(std::move(refPoints)), match(std::move(matchPoints)) {
    refresh();
  }
  Pairs(const Pairs&) = delete;
  Pairs& operator=(const Pairs&) = delete;

  void add(Position from, Position to) {
    ref.insert(ref.end(), {static_cast<float>(from.x), static_cast<float>(from.y)});
    match.insert(match.end(), {static_cast<float>(to.x), static_cast<float>(to.y)});
    refresh();
  }
  [[nodiscard]] std::vector<unsigned char> scratch() const {
    return std::vector<unsigned char>(176 * ref.size() + 4 * 56);
  }

 private:
  void refresh() { record = {ref.data(), match.data(), static_cast<int32_t>(ref.size() / 2)}; }
};

struct PairsRecipe {
  Motion motion;
  double width = 4000;
  double height = 3000;
  int count = 400;
  double outlierShare = 0;
  double noise = 0;          ///< uniform in +-noise pixels, per coordinate of the registered point
  bool wholePixels = false;  ///< both points rounded, as the matcher delivers them
};

inline void fill(Pairs& pairs, const PairsRecipe& recipe, Random& random) {
  const auto uniform = [&](double low, double high) { return low + (high - low) * random.unit(); };
  const auto rounded = [&](Position p) {
    return recipe.wholePixels ? Position{std::floor(p.x + 0.5), std::floor(p.y + 0.5)} : p;
  };
  for (int i = 0; i < recipe.count; ++i) {
    const Position from = {uniform(0, recipe.width - 1), uniform(0, recipe.height - 1)};
    Position to = recipe.motion.apply(from);
    const Position truth = to;
    if (random.unit() >= recipe.outlierShare) {
      to.x += uniform(-recipe.noise, recipe.noise);
      to.y += uniform(-recipe.noise, recipe.noise);
    } else {
      do {
        to = {uniform(0, recipe.width - 1), uniform(0, recipe.height - 1)};
      } while (std::hypot(to.x - truth.x, to.y - truth.y) < 50);
    }
    pairs.add(rounded(from), rounded(to));
  }
}

}  // namespace velmora::test

#endif  // VELMORA_TESTS_REGISTRATION_SYNTHETIC_PAIRS_H
