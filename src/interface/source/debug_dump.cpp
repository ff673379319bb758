#include "interface/source/debug_dump.h"

#include <time.h>

#include <array>
#include <cstdio>

#include "logging/log.h"
#include "logging/new_file.h"
#include "velmora_sr/platform.h"

namespace velmora {
namespace {

constexpr std::size_t kPropertySize = 92;  // what __system_property_get may write
constexpr int kMostNames = 1000;           // that are tried for one frame

}  // namespace

bool dumpsWanted() {
  std::array<char, kPropertySize> value{};
  const int length = __system_property_get("persist.camera.nb7uo.zelk.yuv", value.data());
  // Without the property this prints a NUL, at which the system log ends the line.
  logLine(Priority::info, "save org image: length = %d, persist.camera.nb7uo.zelk.yuv = %c.\n",
          length, value[0]);
  return length >= 1 && value[0] == '1';
}

std::string dumpPath(const DumpFrame& frame, const std::tm& time, int repetition) {
  std::array<char, 16> counter{};
  if (repetition > 0) std::snprintf(counter.data(), counter.size(), "_%d", repetition + 1);
  std::array<char, 2048> path{};
  std::snprintf(path.data(), path.size(), "/data/zelk/%d_%d_%d_%d_%d_%d_sr_%s_w%d_h%d_f%d%s.yuv",
                time.tm_year + 1900, time.tm_mon + 1, time.tm_mday, time.tm_hour, time.tm_min,
                time.tm_sec, frame.kind, frame.width, frame.height, frame.format, counter.data());
  return path.data();
}

std::tm dumpTime() {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  localtime_r(&now, &local);
  return local;
}

void dump(const DumpFrame& frame, const std::tm& time) {
  const int32_t lumaSize = frame.width * frame.height;
  for (int repetition = 0; repetition < kMostNames; ++repetition) {
    if (dumpToNewFile(dumpPath(frame, time, repetition).c_str(), frame.data, lumaSize,
                      frame.data + lumaSize, lumaSize / 2)) {
      return;
    }
  }
  logTagged(Priority::error, "failed to create file [%s]", dumpPath(frame, time, 0).c_str());
}

}  // namespace velmora
