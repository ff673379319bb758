#include "engine/tuning.h"

#include <cstddef>

#include "engine/configuration_file.h"
#include "engine/kernel_file.h"
#include "errors.h"
#include "status.h"
#include "streams.h"

namespace velmora::tool {
namespace {

constexpr std::size_t kMaxConfigurationBytes = std::size_t{16} << 20;

void readConfigurationInto(Tuning& tuning, const std::string& path) {
  tuning.configurationName = path;
  tuning.configuration = readFile(path, kMaxConfigurationBytes);
  if (!looksLikeXml(tuning.configuration)) {
    throw Failure("--config: " + path + " is no XML configuration file (see zelk.xml)");
  }
  const ConfigurationFile file = readConfiguration(tuning.configuration);
  if (!file.faults.empty()) throw Failure("--config: " + path + ": " + file.faults.front());
  for (const std::string& element : file.unknown)
    status().warn("--config: " + path + ": " + element + " is unknown and means nothing");
  tuning.ghost = file.taken;
}

void readKernelsInto(Tuning& tuning, const std::string& path) {
  tuning.kernelsName = path;
  tuning.kernels = readFile(path, kernelFileSize(kMaxPhases));
  const KernelFile file = readKernelFile(tuning.kernels);
  if (!file.fault.empty()) throw Failure("--kernel: " + path + " " + file.fault);
  tuning.phases = file.phases;
}

}  // namespace

Tuning readTuning(const TuningFiles& files) {
  Tuning tuning;
  if (!files.configuration.empty()) readConfigurationInto(tuning, files.configuration);
  if (!files.kernels.empty()) readKernelsInto(tuning, files.kernels);
  return tuning;
}

}  // namespace velmora::tool
