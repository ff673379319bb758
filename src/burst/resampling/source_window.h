// Parts of the caller's frames as samples of the library's own.
#ifndef VELMORA_SRC_BURST_RESAMPLING_SOURCE_WINDOW_H
#define VELMORA_SRC_BURST_RESAMPLING_SOURCE_WINDOW_H

#include <cstdint>

#include "burst/plane.h"

namespace velmora::burst {

/// What makes a frame's samples as bright as the reference's: (gain * sample + bias) / 65536.
struct LevelMatch {
  int32_t gain = 65536;
  int32_t bias = 0;

  /// For luma (plane 0), or for chroma, which has the gain around 128 and no bias. The gain counts
  /// as 1/8 .. 8, the bias as -1024 .. 1024.
  static LevelMatch of(int32_t plane, double gain, double bias);
};

/// Reads columns and rows `part` of a plane, which may reach beyond it: the plane is mirrored there
/// around its border samples. `out` takes sample (part.left, part.top) first, `pitch` samples a
/// row.
void loadWindow(const SourcePlane& plane, const Rect& part, const LevelMatch& match, int16_t* out,
                std::ptrdiff_t pitch);

}  // namespace velmora::burst

#endif  // VELMORA_SRC_BURST_RESAMPLING_SOURCE_WINDOW_H
