// One part's homography: refined over its inliers, accepted by the area that the frames share.
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

#include "logging/log.h"
#include "memory/heap_buffer.h"
#include "registration/observed_stages.h"
#include "velmora_sr/homography.h"
#include "velmora_sr/logging.h"
#include "velmora_sr/registration.h"

namespace {

constexpr const char* kLogSource = "src/registration/source/imgregistration";
constexpr int32_t kMinPairs = 5;
constexpr int32_t kRejected = 2;

/// Bytes for the refinement; never less than a hundred per column of the frame.
std::size_t scratchSize(int32_t pairs, int32_t width) {
  const std::size_t refinement = (44 * static_cast<std::size_t>(pairs) + 56) * sizeof(float);
  return std::max(refinement, 100 * static_cast<std::size_t>(std::max(width, 0)));
}

}  // namespace

int32_t ImgRegistration_Query(int32_t* size, int32_t* other, int32_t width, int32_t height) {
  const int64_t pixels = static_cast<int64_t>(std::max(width, 0)) * std::max(height, 0);
  const int64_t bytes = std::min<int64_t>(pixels * 3 / 2 + 15, INT32_MAX);
  *size = static_cast<int32_t>(bytes / 16 * 16);
  *other = 0;
  return 0;
}

int32_t velmora::estimateHomography(tagST_IMGREGISTRATION_PARAMS_IN* in, float* homography,
                                    int32_t& left, int32_t& top, int32_t& right, int32_t& bottom,
                                    const Observer& observer) {
  tagST_MATCH_PAIRS& pairs = in->pairs;
  printProgress("find candidate number %d\n", pairs.count);
  if (pairs.count < kMinPairs) {
    LogMsg(kLogSource, __LINE__, 0, "IMG_REGISTRATION: not enough keypoints!");
    printProgress("candidate number is small");
    observer.fail(VELMORA_SR_STAGE_RANSAC, VELMORA_SR_CAUSE_FRAMES,
                  "no homography explains more than four of the matches");
    return kRejected;
  }
  const velmora::HeapBuffer<unsigned char> scratch(scratchSize(pairs.count, in->width));
  if (!scratch) {
    LogMsg(kLogSource, __LINE__, 0, "IMG_REGISTRATION: malloc failed!");
    printProgress("malloc memory failed");
    return observer.checked(VELMORA_SR_STAGE_REFINEMENT, VELMORA_SR_RESULT_ALLOC_FAILED);
  }
  // Stays zero when the pairs allow no fit, and is rejected then.
  std::array<float, 9> refined{};
  {
    const StageTime time = observer.time(VELMORA_SR_STAGE_REFINEMENT);
    RefineHomography(&pairs, refined.data(), scratch.data());
  }
  observer.homography(refined.data());
  const StageTime time = observer.time(VELMORA_SR_STAGE_AREA);
  const char* reason = nullptr;
  if (findArea(refined.data(), in->width, in->height, left, top, right, bottom, reason) != 0) {
    observer.fail(VELMORA_SR_STAGE_AREA, VELMORA_SR_CAUSE_FRAMES, reason);
    LogMsg(kLogSource, __LINE__, 0, "IMG_REGISTRATION: matrix is not OK!");
    printProgress("IMG_REGISTRATION: matrix is not OK!!");
    return kRejected;
  }
  std::copy(refined.begin(), refined.end(), homography);
  return 0;
}

int32_t ImgRegistration(tagST_IMGREGISTRATION_PARAMS_IN* in, tagST_IMGREGISTRATION_PARAMS_OUT*,
                        float* homography, int32_t& left, int32_t& top, int32_t& right,
                        int32_t& bottom) {
  return velmora::estimateHomography(in, homography, left, top, right, bottom, {});
}
