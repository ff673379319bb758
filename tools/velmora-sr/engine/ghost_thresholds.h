// The thresholds of de-ghosting: chosen for a pair, and handed to the library.
#ifndef VELMORA_TOOL_ENGINE_GHOST_THRESHOLDS_H
#define VELMORA_TOOL_ENGINE_GHOST_THRESHOLDS_H

#include <string>

#include "picture.h"

namespace velmora::tool {

/// Differences below `low` keep the first frame's sample, from `high` on it is replaced.
struct GhostThresholds {
  int low = 0;
  int high = 0;
};

/// Thresholds above the noise of a pair: `low` grows from 19, which allows for edges, since frames
/// are compared at whole pixels of the second, by 0.9 for each step of noise; `high` is 2.5 times
/// as much. Where noise exceeds `low` now and then, samples are only blended a little.
GhostThresholds thresholdsFor(double noise);

/// The larger noise of both frames tells.
GhostThresholds thresholdsFor(const Picture& first, const Picture& second);

/// A configuration file of the library in the folder for temporary files; it is gone with the
/// object. The library takes thresholds from such a file only, when a session starts.
class TemporaryConfiguration {
 public:
  /// Throws Failure when the file cannot be written.
  explicit TemporaryConfiguration(GhostThresholds thresholds);
  ~TemporaryConfiguration();
  TemporaryConfiguration(const TemporaryConfiguration&) = delete;
  TemporaryConfiguration& operator=(const TemporaryConfiguration&) = delete;

  [[nodiscard]] const std::string& path() const { return path_; }

 private:
  std::string path_;
};

}  // namespace velmora::tool

#endif  // VELMORA_TOOL_ENGINE_GHOST_THRESHOLDS_H
