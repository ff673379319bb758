// Descriptor: the neighbourhood of a key point as 64 normalised sums of Haar responses.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <limits>
#include <span>

#include "common/float_to_int.h"
#include "memory/heap_buffer.h"
#include "registration/features/descriptor_weights.h"
#include "registration/features/feature_slots.h"
#include "registration/functions.h"
#include "velmora_sr/features.h"
#include "velmora_sr/logging.h"
#include "velmora_sr/velmora_sr.h"

namespace velmora {
namespace {

constexpr const char* kSource = "src/registration/source/surf";

/// From here on floor(65536 / spacing^2) is 0, and with it every sample of the patch.
constexpr int32_t kFirstFlatSpacing = 257;

/// Pixels between the samples of a point's patch: 1.2 / 9 of its filter size, rounded.
int32_t sampleSpacing(int32_t size) {
  return truncateToInt(static_cast<double>(static_cast<float>(size) * 0.13333334f) + 0.5);
}

/// A square of the picture; it may lie outside in part or altogether.
struct Window {
  int64_t left;
  int64_t top;
  int64_t side;
};

/// Copies `side` samples from column `left` on; beyond its ends the row's last sample repeats.
void copyClamped(const uint8_t* row, int64_t width, int64_t left, int64_t side, uint8_t* to) {
  const int64_t before = std::clamp<int64_t>(-left, 0, side);
  const int64_t first = std::clamp<int64_t>(left, 0, width);
  const int64_t inside = std::clamp<int64_t>(left + side, 0, width) - first;
  std::memset(to, row[0], static_cast<std::size_t>(before));
  std::memcpy(to + before, row + first, static_cast<std::size_t>(inside));
  std::memset(to + before + inside, row[width - 1],
              static_cast<std::size_t>(side - before - inside));
}

/// Scales 64 sums to length 2^23.
void normalise(const int32_t* sums, int32_t* descriptor) {
  // The factor 2^-16 keeps the squares small; its root, 2^-8, and the 32768 below make 2^23.
  float total = 0;
  for (int32_t i = 0; i < VELMORA_SR_DESCRIPTOR_LENGTH; i += 4) {
    std::array<float, 4> region;
    std::transform(sums + i, sums + i + 4, region.begin(),
                   [](int32_t sum) { return static_cast<float>(sum); });
    const auto [dx, dy, absDx, absDy] = region;
    float squares = dy * dy;
    squares = std::fma(dx, dx, squares);
    squares = std::fma(absDx, absDx, squares);
    squares = std::fma(absDy, absDy, squares);
    total = std::fma(squares, 0x1p-16f, total);
  }
  // 2^-23 keeps the reciprocal of a flat neighbourhood finite; its sums are all 0.
  const double length = std::sqrt(static_cast<double>(total)) + 0x1p-23;
  const float factor = static_cast<float>(1.0 / length) * 32768.0f;
  for (int32_t i = 0; i < VELMORA_SR_DESCRIPTOR_LENGTH; ++i)
    descriptor[i] = truncateToInt(static_cast<float>(sums[i]) * factor);
}

/// Describes points of one picture, one after the other, with the same scratch.
class Describer {
 public:
  /// @param spacing  of the largest point
  Describer(const tagST_PIC& pic, int32_t spacing) : pic_(pic), window_(windowBytes(spacing)) {}

  explicit operator bool() const { return static_cast<bool>(window_); }

  void describe(const ST_KEYPOINT& point, int32_t* descriptor) {
    const int32_t spacing = sampleSpacing(point.size);
    if (spacing < 1) return;
    if (spacing >= kFirstFlatSpacing) {
      std::fill_n(descriptor, VELMORA_SR_DESCRIPTOR_LENGTH, 0);
      return;
    }
    const int64_t side = int64_t{spacing} * kPatchSide;
    const auto origin = [side](int32_t centre) { return (centre - (side - 1) * 32 + 32) >> 6; };
    samplePatch({origin(point.x), origin(point.y), side}, spacing);
    std::array<int32_t, VELMORA_SR_DESCRIPTOR_LENGTH> sums;
    registrationFunctions().haarSums(patch_.data(), sums.data());
    normalise(sums.data(), descriptor);
  }

 private:
  static std::size_t windowBytes(int32_t largestSpacing) {
    const int64_t side = int64_t{std::clamp(largestSpacing, 0, kFirstFlatSpacing - 1)} * kPatchSide;
    return static_cast<std::size_t>(side * side);
  }

  void samplePatch(const Window& window, int32_t spacing) {
    const auto reducePatch = registrationFunctions().reducePatch;
    const bool inside = window.left >= 0 && window.top >= 0 &&
                        window.left + window.side <= pic_.width &&
                        window.top + window.side <= pic_.height;
    if (inside) {
      const auto offset = static_cast<std::ptrdiff_t>(window.top * pic_.width + window.left);
      reducePatch(pic_.data + offset, pic_.width, spacing, patch_.data());
      return;
    }
    uint8_t* to = window_.data();
    for (int64_t y = 0; y < window.side; ++y, to += window.side) {
      const int64_t row = std::clamp<int64_t>(window.top + y, 0, pic_.height - 1);
      copyClamped(pic_.data + static_cast<std::ptrdiff_t>(row * pic_.width), pic_.width,
                  window.left, window.side, to);
    }
    reducePatch(window_.data(), static_cast<std::ptrdiff_t>(window.side), spacing, patch_.data());
  }

  const tagST_PIC& pic_;
  HeapBuffer<uint8_t> window_;
  std::array<uint8_t, kPatchBufferSize> patch_ = {};
};

int32_t describePoints(const tagST_PIC& pic, std::span<const ST_KEYPOINT> points,
                       int32_t* descriptors, const tagDISCRIPTOR_PARAMS& params) {
  if (params.patchSize != kHaarSide || pic.data == nullptr || pic.width < 1 || pic.height < 1) {
    return SR_RET_PARAMS_OUT_OF_RANGE;
  }
  if (points.empty()) return 0;
  const int32_t largest = sampleSpacing(
      std::max_element(points.begin(), points.end(), [](const auto& a, const auto& b) {
        return a.size < b.size;
      })->size);
  // A side beyond 32 bits belongs to no picture.
  if (largest > std::numeric_limits<int32_t>::max() / kPatchSide)
    return VELMORA_SR_RESULT_ALLOC_FAILED;
  Describer describer(pic, largest);
  if (!describer) return VELMORA_SR_RESULT_ALLOC_FAILED;
  for (const ST_KEYPOINT& point : points) {
    describer.describe(point, descriptors);
    descriptors += VELMORA_SR_DESCRIPTOR_LENGTH;
  }
  return 0;
}

std::span<const ST_KEYPOINT> sharePoints(const DescriptorsJob& job, RowBand share) {
  return {job.keypoints + share.first, static_cast<std::size_t>(share.end - share.first)};
}

}  // namespace
}  // namespace velmora

int32_t GenerateDiscriptor_Simple(const tagST_PIC* pic, ST_KEYPOINT* kps, int32_t* desc,
                                  const tagDISCRIPTOR_PARAMS* dp, const tagIntegralMat* /*im*/,
                                  int32_t n) {
  const auto count = static_cast<std::size_t>(std::max(n, 0));
  const int32_t result = velmora::describePoints(*pic, {kps, count}, desc, *dp);
  if (result == VELMORA_SR_RESULT_ALLOC_FAILED) {
    LogMsg(velmora::kSource, __LINE__, 0, "GETFEATURE_SURF: malloc failed!");
  }
  return result;
}

int32_t GenerateDiscriptor_Simple_neon(const tagST_PIC* pic, ST_KEYPOINT* kps, int32_t* desc,
                                       const tagDISCRIPTOR_PARAMS* dp, const tagIntegralMat* im,
                                       int32_t n) {
  return GenerateDiscriptor_Simple(pic, kps, desc, dp, im, n);
}

void GenerateDiscriptor_Simple_neon_multi_inside(void* job, int32_t slot) {
  using namespace velmora;
  auto& work = *static_cast<DescriptorsJob*>(job);
  const RowBand share = shareOfSlot(slot, work.count);
  work.result = describePoints(
      *work.pic, sharePoints(work, share),
      work.descriptors + std::ptrdiff_t{share.first} * VELMORA_SR_DESCRIPTOR_LENGTH, *work.params);
  if (work.result == VELMORA_SR_RESULT_ALLOC_FAILED) {
    LogMsg(kSource, __LINE__, 0, "GenerateDiscriptor_Simple_neon_multi_inside: malloc failed!");
  }
}

int32_t GenerateDiscriptor_Simple_neon_multi(const tagST_PIC* pic, ST_KEYPOINT* kps, int32_t* desc,
                                             const tagDISCRIPTOR_PARAMS* dp,
                                             const tagIntegralMat* im, int32_t n) {
  std::array<DescriptorsJob, velmora::kFeatureSlots.size()> jobs;
  jobs.fill({pic, kps, desc, dp, im, n, 0});
  velmora::runOnFeatureSlots(std::span(jobs), GenerateDiscriptor_Simple_neon_multi_inside);
  for (const DescriptorsJob& job : jobs) {
    if (job.result != 0) return job.result;
  }
  return 0;
}
