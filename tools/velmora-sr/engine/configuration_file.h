// A configuration file as the library reads it, and what is wrong with it.
#ifndef VELMORA_TOOL_ENGINE_CONFIGURATION_FILE_H
#define VELMORA_TOOL_ENGINE_CONFIGURATION_FILE_H

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "engine/ghost_thresholds.h"

namespace velmora::tool {

/// True for bytes whose first character is a "<", as any XML's is.
bool looksLikeXml(std::span<const uint8_t> bytes);

struct ConfigurationFile {
  struct Threshold {
    std::string path;
    std::optional<std::string> text;  ///< as the file has it; none: the default applies
    int value = 0;                    ///< as the library reads it
  };
  Threshold low, high;
  GhostThresholds taken;             ///< what is in force in the end
  std::vector<std::string> faults;   ///< why the file does not do what it seems to, one phrase each
  std::vector<std::string> unknown;  ///< paths of elements below /Config that the library ignores
};

ConfigurationFile readConfiguration(std::span<const uint8_t> bytes);

/// A configuration file that sets these thresholds.
std::vector<uint8_t> configurationOf(GhostThresholds thresholds);

}  // namespace velmora::tool

#endif  // VELMORA_TOOL_ENGINE_CONFIGURATION_FILE_H
