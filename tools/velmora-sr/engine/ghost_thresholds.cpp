#include "engine/ghost_thresholds.h"

#include <algorithm>
#include <cmath>

#include "engine/noise.h"

namespace velmora::tool {
namespace {

// Measured on photos, see docs/quality.md: higher thresholds gain little and let ghosts through.
constexpr double kEdges = 19;
constexpr double kPerNoise = 0.9;
constexpr double kHighToLow = 2.5;
constexpr int kMaxDifference = 255;

}  // namespace

GhostThresholds thresholdsFor(double noise) {
  const double low = kEdges + kPerNoise * noise;
  const auto rounded = [](double value) {
    return static_cast<int>(std::lround(std::min(value, double{kMaxDifference})));
  };
  return {rounded(low), rounded(kHighToLow * low)};
}

GhostThresholds thresholdsFor(const Picture& first, const Picture& second) {
  return thresholdsFor(std::max(noiseOf(first), noiseOf(second)));
}

}  // namespace velmora::tool
