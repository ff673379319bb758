#include "interface/source/parameter_lines.h"

#include <array>
#include <cstdarg>
#include <cstdio>

#include "logging/log.h"

namespace velmora {
namespace {

const char* orNull(const char* text) {
  return text == nullptr ? "(null)" : text;
}

/// Logs an info line, cut to the size of its buffer. Paths may hold per cent signs, so the finished
/// line is data, never a format.
__attribute__((format(printf, 1, 2))) void logCutLine(const char* format, ...) {
  std::array<char, 2048> line{};
  std::va_list args;
  va_start(args, format);
  std::vsnprintf(line.data(), line.size(), format, args);
  va_end(args);
  logLine(Priority::info, "%s", line.data());
}

}  // namespace

void logCreationParameters(const SR_ParamsPublic& handle) {
  logCutLine(
      "%s: Dual Camera Super Resolution Params:\n"
      "inImageWidth = %d, inImageHeight = %d\n"
      "\t\tsrImageWidth = %d, srImageHeight = %d\n"
      "\t\tsrScene = %d\n"
      "\t\tzelkConfigFileName = %s\n"
      "\t\tzelkKernelFileName = %s\n"
      "\t\t",
      kLogTag, handle.inImageWidth, handle.inImageHeight, handle.srImageWidth, handle.srImageHeight,
      handle.srScene, orNull(handle.configFileNamePtr), orNull(handle.kernelFileNamePtr));
}

void logProcessParameters(const SR_ParamsPublic& handle) {
  logCutLine(
      "%s: Dual Camera Super Resolution Params:\n"
      "inImageWidth = %d, inImageHeight = %d\n"
      "\t\t\t\t\t   srImageWidth = %d, srImageHeight = %d\n"
      "\t\t\t\t\t   vrDepthStartW = %d, vrDepthStartH = %d, vrDepthEndW = %d, "
      "vrDepthEndH = %d\n"
      "\t\t\t\t\t   srScene = %d\n"
      "\t\t\t\t\t   zelkConfigFileName = %s\n"
      "\t\t\t\t\t   zelkKernelFileName = %s\n"
      "\t\t\t\t\t   ",
      kLogTag, handle.inImageWidth, handle.inImageHeight, handle.srImageWidth, handle.srImageHeight,
      handle.vrStartW, handle.vrStartH, handle.vrEndW, handle.vrEndH, handle.srScene,
      handle.configFileName, handle.kernelFileName);
}

}  // namespace velmora
