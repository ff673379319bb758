// Where configuration and kernel tables come from: files, or bytes that the host has read.
#ifndef VELMORA_SRC_CONFIGURATION_TUNING_H
#define VELMORA_SRC_CONFIGURATION_TUNING_H

#include <cstdint>
#include <span>

namespace velmora {

/// Thresholds of de-ghosting where the configuration gives none, or none that can be used.
inline constexpr int32_t kDefaultLowThreshold = 1;
inline constexpr int32_t kDefaultHighThreshold = 5;

struct TuningInput {
  const char* name;  ///< the file, or what to call the bytes in the log; may be null without bytes
  std::span<const uint8_t> bytes;  ///< take the place of the file, unless their pointer is null

  [[nodiscard]] bool inMemory() const { return bytes.data() != nullptr; }
};

/// ParseConfigFile, with bytes in the place of either file.
void loadTuning(const TuningInput& configuration, const TuningInput& kernels);

}  // namespace velmora

#endif  // VELMORA_SRC_CONFIGURATION_TUNING_H
