// Values of options, read with messages that name the option, the value and what it should be.
#ifndef VELMORA_TOOL_ARGUMENTS_H
#define VELMORA_TOOL_ARGUMENTS_H

#include <optional>
#include <string>
#include <vector>

#include "engine/ghost_thresholds.h"
#include "engine/tuning.h"
#include "frame_io.h"
#include "output_target.h"
#include "picture.h"

namespace velmora::tool {

/// "WIDTHxHEIGHT" in pixels.
Size parseSize(const std::string& option, const std::string& value);
/// "X0,Y0,X1,Y1", inclusive.
Region parseRegion(const std::string& option, const std::string& value);
/// A factor above 0 and at most 64.
double parseScale(const std::string& option, const std::string& value);
/// A whole number in [low, high].
int parseNumber(const std::string& option, const std::string& value, int low, int high);
/// A number of pixels, also in millions: "24M".
int64_t parsePixels(const std::string& option, const std::string& value);
/// "LOW,HIGH", differences of samples: 0 to 255, LOW not above HIGH.
GhostThresholds parseThresholds(const std::string& option, const std::string& value);
/// The name of a format; only raw ones when `raw` is set.
FileFormat parseFormat(const std::string& option, const std::string& value, bool raw);

/// Throws UsageError when the region does not lie inside a picture of this size.
void requireInside(const std::string& option, Region region, Size picture);

/// The option texts that the enlarging subcommands share, empty where not given.
struct FrameOptions {
  std::string output;
  std::string outputFormat;
  std::string quality;
  std::string inputSize;
  std::string inputFormat;
  std::string scale;
  std::string size;
  std::string region;
  TuningFiles tuning;

  [[nodiscard]] InputRequest input(const std::string& path) const;
  [[nodiscard]] OutputRequest outputRequest() const;
  /// The region asked for, or the whole picture.
  [[nodiscard]] Region regionIn(Size picture) const;
  /// The size asked for, or the region's times the scale (2 unless given), rounded.
  [[nodiscard]] Size outputSize(Region chosen) const;
  /// requireSeparateFiles() of these, -o and the tuning files; the outputs must be replaceable.
  void requireSeparate(std::vector<NamedFile> outputs, std::vector<NamedFile> inputs) const;
  /// Checks all values that can be checked before any file is opened.
  void check() const;
};

}  // namespace velmora::tool

#endif  // VELMORA_TOOL_ARGUMENTS_H
