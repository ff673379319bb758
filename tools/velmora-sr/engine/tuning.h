// What the library is tuned with: the files of --config and --kernel, each read once.
#ifndef VELMORA_TOOL_ENGINE_TUNING_H
#define VELMORA_TOOL_ENGINE_TUNING_H

#include <cstdint>
#include <string>
#include <vector>

#include "engine/ghost_thresholds.h"

namespace velmora::tool {

/// Files, pipes among them, that replace the library's built-in tuning; empty names keep it.
struct TuningFiles {
  std::string configuration;
  std::string kernels;
};

/// Their bytes, checked; the library takes them as they are. Empty: what is built in.
struct Tuning {
  std::string configurationName;
  std::vector<uint8_t> configuration;
  GhostThresholds ghost = {1, 5};  ///< that it sets
  std::string kernelsName;
  std::vector<uint8_t> kernels;
  int phases = 50;  ///< that they have
};

/// Throws Failure when a file cannot be read, or is none that the library takes as it stands: it
/// would fall back to its built-in tuning without a word to the user. Warns of elements of a
/// configuration that mean nothing.
Tuning readTuning(const TuningFiles& files);

}  // namespace velmora::tool

#endif  // VELMORA_TOOL_ENGINE_TUNING_H
