// velmora-sr --version and --cpu: which library, and which of its kernels.
#include <algorithm>
#include <cstdlib>
#include <string_view>

#include "commands/commands.h"
#include "engine/session.h"
#include "errors.h"
#include "kernels/cpu.h"
#include "status.h"
#include "velmora_sr/version.h"

namespace velmora::tool {
namespace {

constexpr const char* kVariable = "VELMORA_SR_CPU";

bool isAvailable(std::string_view wanted) {
  const auto sets = availableKernelSets();
  const auto set = kernelSetByName(wanted);
  return set && std::find(sets.begin(), sets.end(), *set) != sets.end();
}

std::string availableNames(const char* separator) {
  std::string names;
  for (const KernelSet set : availableKernelSets()) {
    if (!names.empty()) names += separator;
    names += name(set);
  }
  return names;
}

}  // namespace

std::string versionText() {
  return "velmora-sr " VELMORA_SR_VERSION_STRING "\nlibrary " + libraryVersion() + "\nkernels " +
         std::string(name(chosenKernelSet())) + " (this machine has: " + availableNames(", ") +
         ")\n";
}

void chooseKernelSet(const std::string& wanted) {
  if (wanted.empty()) {
    const char* variable = std::getenv(kVariable);
    if (variable != nullptr && *variable != '\0' && !isAvailable(variable)) {
      status().warn(std::string(kVariable) + ": \"" + variable +
                    "\" is no kernel set of this machine, which has " + availableNames(", ") +
                    "; " + std::string(name(chosenKernelSet())) + " is used");
    }
    return;
  }
  if (!isAvailable(wanted)) {
    throw UsageError("--cpu: \"" + wanted + "\" is no kernel set of this machine; give " +
                     availableNames(" or "));
  }
  // The library chooses by the same variable when it is first used.
  setenv(kVariable, wanted.c_str(), 1);
}

}  // namespace velmora::tool
