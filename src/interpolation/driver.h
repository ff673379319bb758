// What the two drivers share: the job that a process call describes, and the one-frame path.
#ifndef VELMORA_SRC_INTERPOLATION_DRIVER_H
#define VELMORA_SRC_INTERPOLATION_DRIVER_H

#include "geometry/valid_region.h"
#include "interpolation/frame_planes.h"
#include "interpolation/sampling.h"
#include "velmora_sr/records.h"

namespace velmora {

/// Result of the one-frame path for a format that it does not know.
inline constexpr int32_t kUnsupportedFormat = 7;

/// One process call as the drivers see it.
struct ReconstructionJob {
  const uint8_t* firstFrame;
  FrameShape in;
  uint8_t* output;
  FrameShape out;
  ValidRegion region;
  int32_t pad;  ///< kernel size
  Allocator allocator;

  [[nodiscard]] int32_t border() const { return pad / 2; }
  [[nodiscard]] PlaneGeometry geometry() const {
    return {pad,           in.width,      in.height,   out.width,  out.height,
            region.startW, region.startH, region.endW, region.endH};
  }
};

/// Reads the job out of the records, with the region of the handle as it stands; false when a
/// pointer or a size is missing.
bool readJob(const Velmora_SR_CInputImage* input, const Velmora_SR_COutPutImage* output,
             const SR_ParamsPrivate* priv, ReconstructionJob& job);

/// Enlarges the first frame alone. 0, kUnsupportedFormat, or a Velmora_SR_ESR_RET code; a failure
/// leaves the output untouched.
int32_t enlargeFirstFrame(const ReconstructionJob& job);

}  // namespace velmora

#endif  // VELMORA_SRC_INTERPOLATION_DRIVER_H
