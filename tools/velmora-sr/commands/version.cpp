// velmora-sr --version and --cpu: which library, and which of its kernels.
#include <algorithm>
#include <cstdlib>
#include <string_view>

#include "commands/commands.h"
#include "engine/session.h"
#include "errors.h"
#include "kernels/cpu.h"
#include "velmora_sr/version.h"

namespace velmora::tool {
namespace {

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
  const auto sets = availableKernelSets();
  const auto set = kernelSetByName(wanted);
  if (!set || std::find(sets.begin(), sets.end(), *set) == sets.end()) {
    throw UsageError("--cpu: \"" + wanted + "\" is no kernel set of this machine; give " +
                     availableNames(" or "));
  }
  // The library chooses by the same variable when it is first used.
  setenv("VELMORA_SR_CPU", wanted.c_str(), 1);
}

}  // namespace velmora::tool
