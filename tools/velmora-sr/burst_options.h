// Options of the subcommands that use the burst stage.
#ifndef VELMORA_TOOL_BURST_OPTIONS_H
#define VELMORA_TOOL_BURST_OPTIONS_H

#include <string>

#include "engine/burst_engine.h"
#include "frame_io.h"

namespace velmora::tool {

/// As texts, empty where not given.
struct BurstOptions {
  std::string noise;      ///< "auto" or a standard deviation in grey levels
  std::string sharpened;  ///< "auto" or an amount
  std::string effort;     ///< "normal" or "fast"
  std::string threads;    ///< a number

  /// Throws UsageError for a value that is none; `noiseOption` is what that option is called.
  void check(const char* noiseOption) const;

  /// For values that are checked. What `in` tells about the reference decides how sharpened it is
  /// unless the options do. Throws UsageError for sizes that the burst stage does not make.
  [[nodiscard]] BurstSettings settings(const StreamInfo& in, Region region, Size output) const;
};

}  // namespace velmora::tool

#endif  // VELMORA_TOOL_BURST_OPTIONS_H
