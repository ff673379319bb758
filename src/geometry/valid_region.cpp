#include "geometry/valid_region.h"

#include <algorithm>

#include "logging/log.h"

namespace velmora {
namespace {

constexpr int32_t kMargin = 150;
constexpr int64_t kLeastSpan = 99;  // end - start of 100 pixels

/// a + b, wrapping: only a start of INT32_MAX does, and is refused either way.
int32_t wrappingSum(int32_t a, int32_t b) {
  return static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b));
}

int32_t defaultEnd(int32_t size) {
  const int32_t end = size - kMargin - 1;
  return end % 2 == 0 ? end : end - 1;
}

}  // namespace

ValidRegion regionOf(const SR_ParamsPublic& handle) {
  return {handle.vrStartW, handle.vrStartH, handle.vrEndW, handle.vrEndH};
}

void setRegion(SR_ParamsPublic& handle, const ValidRegion& region) {
  handle.vrStartW = region.startW;
  handle.vrStartH = region.startH;
  handle.vrEndW = region.endW;
  handle.vrEndH = region.endH;
}

ValidRegion intersection(const ValidRegion& a, const ValidRegion& b) {
  return {std::max(a.startW, b.startW), std::max(a.startH, b.startH), std::min(a.endW, b.endW),
          std::min(a.endH, b.endH)};
}

ValidRegion madeEven(const ValidRegion& region) {
  return {wrappingSum(region.startW, region.startW % 2),
          wrappingSum(region.startH, region.startH % 2), region.endW - region.endW % 2,
          region.endH - region.endH % 2};
}

bool isUsable(const ValidRegion& region, int32_t width, int32_t height) {
  return region.startW >= 0 && region.startH >= 0 && region.endW < width && region.endH < height &&
         int64_t{region.endW} - region.startW >= kLeastSpan &&
         int64_t{region.endH} - region.startH >= kLeastSpan;
}

ValidRegion defaultRegion(int32_t width, int32_t height) {
  return {kMargin, kMargin, defaultEnd(width), defaultEnd(height)};
}

ValidRegion usableOrDefault(const ValidRegion& region, int32_t width, int32_t height) {
  if (isUsable(region, width, height)) return region;
  logTagged(Priority::error,
            "invalid valid region params: [vrStartW = %d, vrStartH = %d, vrEndW = "
            "%d, vrEndH = %d].\n",
            region.startW, region.startH, region.endW, region.endH);
  const ValidRegion replacement = defaultRegion(width, height);
  logTagged(Priority::error,
            "use default valid region params: [vrStartW = %d, vrStartH = %d, vrEndW = "
            "%d, vrEndH = %d].\n",
            replacement.startW, replacement.startH, replacement.endW, replacement.endH);
  return replacement;
}

}  // namespace velmora
