#include "engine/ghost_thresholds.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <span>

#include "engine/noise.h"
#include "errors.h"
#include "status.h"
#include "streams.h"

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

TemporaryConfiguration::TemporaryConfiguration(GhostThresholds thresholds) {
  const char* folder = std::getenv("TMPDIR");
  path_ =
      std::string(folder != nullptr && *folder != '\0' ? folder : "/tmp") + "/velmora-sr-XXXXXX";
  const int descriptor = mkstemp(path_.data());
  if (descriptor < 0) throw Failure(path_ + ": cannot create: " + std::strerror(errno));
  // Without the declaration the library's look-ups would find nothing.
  const std::string document = format(
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Config><GhostCorrection>"
      "<LowThr>%d</LowThr><HighThr>%d</HighThr></GhostCorrection></Config>\n",
      thresholds.low, thresholds.high);
  try {
    writeAll(descriptor,
             std::span(reinterpret_cast<const uint8_t*>(document.data()), document.size()), path_);
  } catch (...) {
    close(descriptor);
    unlink(path_.c_str());
    throw;
  }
  close(descriptor);
}

TemporaryConfiguration::~TemporaryConfiguration() {
  unlink(path_.c_str());
}

}  // namespace velmora::tool
