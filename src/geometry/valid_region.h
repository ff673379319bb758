// The valid region: the part of the first frame that is stretched onto the whole output.
#ifndef VELMORA_SRC_GEOMETRY_VALID_REGION_H
#define VELMORA_SRC_GEOMETRY_VALID_REGION_H

#include <cstdint>

#include "velmora_sr/velmora_sr.h"

namespace velmora {

/// A rectangle in pixels of the first frame, ends inclusive. Any values; see isUsable.
struct ValidRegion {
  int32_t startW;
  int32_t startH;
  int32_t endW;
  int32_t endH;
  bool operator==(const ValidRegion&) const = default;
};

/// The region of a handle, and back.
ValidRegion regionOf(const SR_ParamsPublic& handle);
void setRegion(SR_ParamsPublic& handle, const ValidRegion& region);

/// The common part of two regions; its ends lie before its starts when there is none.
ValidRegion intersection(const ValidRegion& a, const ValidRegion& b);

/// Makes all four values even: starts go up and ends go down. Negative odd values go the other way
/// (the rounding follows the sign of the remainder); no such region is usable.
ValidRegion madeEven(const ValidRegion& region);

/// True for a region inside a width x height frame of at least 100 columns and rows.
bool isUsable(const ValidRegion& region, int32_t width, int32_t height);

/// The region that takes the place of an unusable one: a margin of 150 pixels, even ends. On frames
/// too small for the margin its ends lie before its starts; the interpolation clamps its reads.
ValidRegion defaultRegion(int32_t width, int32_t height);

/// The region itself if it is usable; otherwise the default region, with two error lines in the
/// log: the rejected values and the new ones. Width and height are at least 1.
ValidRegion usableOrDefault(const ValidRegion& region, int32_t width, int32_t height);

}  // namespace velmora

#endif  // VELMORA_SRC_GEOMETRY_VALID_REGION_H
