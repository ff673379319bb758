#include "interface/source/version_banner.h"

#include "common/failure_line.h"
#include "velmora_sr/platform.h"
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
  __android_log_print(kLogInfo, kLogTag, "%s: Version : %s\n", kLogTag, VELMORA_SR_VERSION_BANNER);
  __android_log_print(kLogInfo, kLogTag, "%s: Release time : %s, %s\n", kLogTag, kReleaseDate,
                      kReleaseTime);
  __android_log_print(kLogInfo, kLogTag, "%s: Compiler: %s\n", kLogTag, kCompiler);
}

}  // namespace velmora
