// Reads the two files of a handle.
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "common/failure_line.h"
#include "configuration/kernel_file.h"
#include "velmora_sr/configuration.h"
#include "velmora_sr/platform.h"
#include "velmora_sr/records.h"

namespace velmora {
namespace {

constexpr const char* kDefaultConfigPath = "/system/etc/camera/zelk/zelk.xml";
constexpr const char* kDefaultKernelPath = "/system/etc/camera/zelk/zelk_kernel";
constexpr int32_t kDefaultLowThreshold = 1;
constexpr int32_t kDefaultHighThreshold = 5;
constexpr std::size_t kShortestPath = 3;

/// A path that is too short to be one is replaced. The line says "Config" for both files.
const char* pathOrDefault(const char* path, const char* defaultPath) {
  if (std::strlen(path) >= kShortestPath) return path;
  __android_log_print(kLogError, kLogTag, "Invalid Config File Path \" %s\" ! Use default Path %s",
                      path, defaultPath);
  return defaultPath;
}

/// Reads the thresholds; false if there is no document, not even an empty one.
bool loadThresholds(const char* configPath) {
  if (configPath == nullptr) return false;
  const char* path = pathOrDefault(configPath, kDefaultConfigPath);
  XmlConfig config;
  if (config.LoadConfig(path) == 0) return false;
  zelkParamPrivate.ghostLowThr =
      config.GetInteger("/Config/GhostCorrection/LowThr", kDefaultLowThreshold);
  zelkParamPrivate.ghostHighThr =
      config.GetInteger("/Config/GhostCorrection/HighThr", kDefaultHighThreshold);
  __android_log_print(kLogError, kLogTag, "%s: %s  <%s>\n", kLogTag, "Load Config File Succeed.",
                      path);
  return true;
}

}  // namespace
}  // namespace velmora

Velmora_SR_ESR_RET ParseConfigFile(const char* configPath, const char* kernelPath) {
  using namespace velmora;
  zelkParamPrivate.kernelRadius = 2;
  zelkParamPrivate.kernelTaps = 4;
  if (!loadThresholds(configPath)) {
    zelkParamPrivate.ghostLowThr = kDefaultLowThreshold;
    zelkParamPrivate.ghostHighThr = kDefaultHighThreshold;
    // The text says "succeed." although this is a fallback: the defaults did load, and log parsers
    // know the line.
    logFailureLine(kLogError, SR_RET_SUCCEED, 176, "ParseConfigFile");
  }
  loadKernelFile(kernelPath == nullptr ? nullptr : pathOrDefault(kernelPath, kDefaultKernelPath));
  return SR_RET_SUCCEED;
}
