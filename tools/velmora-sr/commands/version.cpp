// velmora-sr --version and --cpu: which library, and which of its kernels.
#include <algorithm>
#include <cstdlib>
#include <string_view>

#include "commands/commands.h"
#include "cpu/cpu_set.h"
#include "engine/session.h"
#include "errors.h"
#include "status.h"
#include "velmora_sr/version.h"

namespace velmora::tool {
namespace {

constexpr const char* kVariable = "VELMORA_SR_CPU";

bool isAvailable(std::string_view wanted) {
  const auto sets = availableCpuSets();
  const auto set = cpuSetByName(wanted);
  return set && std::find(sets.begin(), sets.end(), *set) != sets.end();
}

std::string availableNames(const char* separator) {
  std::string names;
  for (const CpuSet set : availableCpuSets()) {
    if (!names.empty()) names += separator;
    names += name(set);
  }
  return names;
}

}  // namespace

std::string versionText() {
  return "velmora-sr " VELMORA_SR_VERSION_STRING "\nlibrary " + libraryVersion() + "\nkernels " +
         std::string(name(chosenCpuSet())) + " (this machine has: " + availableNames(", ") + ")\n";
}

void chooseKernelSet(const std::string& wanted) {
  if (wanted.empty()) {
    const char* variable = std::getenv(kVariable);
    if (variable != nullptr && *variable != '\0' && !isAvailable(variable)) {
      status().warn(std::string(kVariable) + ": \"" + variable +
                    "\" is no instruction set of this machine, which has " + availableNames(", ") +
                    "; " + std::string(name(chosenCpuSet())) + " is used");
    }
    return;
  }
  if (!isAvailable(wanted)) {
    throw UsageError("--cpu: \"" + wanted + "\" is no instruction set of this machine; give " +
                     availableNames(" or "));
  }
  // The library chooses by the same variable when it is first used.
  setenv(kVariable, wanted.c_str(), 1);
}

}  // namespace velmora::tool
