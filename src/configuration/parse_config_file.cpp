// Reads the two files of a handle.
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "configuration/kernel_file.h"
#include "configuration/tuning.h"
#include "logging/log.h"
#include "report/call_report.h"
#include "velmora_sr/configuration.h"
#include "velmora_sr/records.h"

namespace velmora {
namespace {

constexpr const char* kDefaultConfigPath = "/system/etc/camera/zelk/zelk.xml";
constexpr const char* kDefaultKernelPath = "/system/etc/camera/zelk/zelk_kernel";
constexpr std::size_t kShortestPath = 3;

constexpr const char* kLowPath = "/Config/GhostCorrection/LowThr";
constexpr const char* kHighPath = "/Config/GhostCorrection/HighThr";

/// A path that is too short to be one is replaced. The line says "Config" for both files.
const char* pathOrDefault(const char* path, const char* defaultPath) {
  if (std::strlen(path) >= kShortestPath) return path;
  logLine(Priority::error, "Invalid Config File Path \" %s\" ! Use default Path %s", path,
          defaultPath);
  return defaultPath;
}

/// Reads the thresholds; false if there is no document, not even an empty one.
bool loadThresholds(const TuningInput& input) {
  XmlConfig config;
  const char* name = input.name;
  if (input.inMemory()) {
    const auto* text = reinterpret_cast<const char*>(input.bytes.data());
    if (config.LoadDocument(text, input.bytes.size()) == 0) return false;
  } else {
    if (name == nullptr) return false;
    name = pathOrDefault(name, kDefaultConfigPath);
    if (config.LoadConfig(name) == 0) return false;
  }
  zelkParamPrivate.ghostLowThr = config.GetInteger(kLowPath, kDefaultLowThreshold);
  zelkParamPrivate.ghostHighThr = config.GetInteger(kHighPath, kDefaultHighThreshold);
  const bool both = config.GetString(kLowPath, nullptr) != nullptr &&
                    config.GetString(kHighPath, nullptr) != nullptr;
  callReport.facts.configurationRead = both ? 1 : 0;
  logTagged(Priority::error, "%s  <%s>\n", "Load Config File Succeed.", name);
  return true;
}

}  // namespace
}  // namespace velmora

void velmora::loadTuning(const TuningInput& configuration, const TuningInput& kernels) {
  zelkParamPrivate.kernelRadius = 2;
  zelkParamPrivate.kernelTaps = 4;
  if (!loadThresholds(configuration)) {
    zelkParamPrivate.ghostLowThr = kDefaultLowThreshold;
    zelkParamPrivate.ghostHighThr = kDefaultHighThreshold;
    callReport.facts.configurationRead = 0;
    // The text says "succeed." although this is a fallback: the defaults did load, and log parsers
    // know the line.
    logFailure(Priority::error, SR_RET_SUCCEED, FailureStep::defaultThresholds, "ParseConfigFile");
  }
  if (kernels.inMemory() || kernels.name == nullptr) {
    loadKernels(kernels);
  } else {
    loadKernelFile(pathOrDefault(kernels.name, kDefaultKernelPath));
  }
}

Velmora_SR_ESR_RET ParseConfigFile(const char* configPath, const char* kernelPath) {
  velmora::loadTuning({configPath, {}}, {kernelPath, {}});
  return SR_RET_SUCCEED;
}
