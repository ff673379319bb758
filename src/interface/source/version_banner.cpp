#include "interface/source/version_banner.h"

#include "logging/log.h"
#include "velmora_sr/version.h"

namespace velmora {
namespace {

// The date and time of the release and the name of its compiler belong to the version. They are
// constants, so that the same sources give the same library and the same log.
constexpr const char* kReleaseDate = "Mar  2 2015";
constexpr const char* kReleaseTime = "11:57:04";
constexpr const char* kCompiler = "gcc";

}  // namespace

void logVersionBanner() {
  logTagged(Priority::info, "Version : %s\n", VELMORA_SR_VERSION_BANNER);
  logTagged(Priority::info, "Release time : %s, %s\n", kReleaseDate, kReleaseTime);
  logTagged(Priority::info, "Compiler: %s\n", kCompiler);
}

}  // namespace velmora
