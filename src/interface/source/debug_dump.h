// Debug dumps: when a system property asks for it, the frames of a process call go to files.
#ifndef VELMORA_SRC_INTERFACE_SOURCE_DEBUG_DUMP_H
#define VELMORA_SRC_INTERFACE_SOURCE_DEBUG_DUMP_H

#include <cstdint>
#include <ctime>
#include <string>

namespace velmora {

/// A frame to be dumped: 8-bit 4:2:0, width * height * 3 / 2 bytes.
struct DumpFrame {
  const char* kind;  ///< what the file name calls it: "left", "right", "left1", ..., "result"
  const uint8_t* data;
  int32_t width;
  int32_t height;
  int32_t format;  ///< image format code, for the file name only
};

/// Reads the property "persist.camera.nb7uo.zelk.yuv", logs what it holds, and returns whether its
/// first character asks for dumps ('1').
bool dumpsWanted();

/// Name of a dump:
/// "/data/zelk/YEAR_MONTH_DAY_HOUR_MINUTE_SECOND_sr_KIND_wWIDTH_hHEIGHT_fFORMAT.yuv", numbers
/// unpadded. The n-th repetition of a name has "_n + 1" before ".yuv": "..._f4_2.yuv".
std::string dumpPath(const DumpFrame& frame, const std::tm& time, int repetition = 0);

/// The current local time; all frames that are dumped together share it.
std::tm dumpTime();

/// Writes one frame to a new file of that name, luma then chroma, for its owner alone. Where the
/// name is taken, be it by a link, the next repetition of it is used. Failures are logged.
void dump(const DumpFrame& frame, const std::tm& time);

}  // namespace velmora

#endif  // VELMORA_SRC_INTERFACE_SOURCE_DEBUG_DUMP_H
