// The homography that fits all inliers best: linear fit, then minimised reprojection errors.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <optional>

#include "logging/log.h"
#include "registration/homography/homography_fit.h"
#include "velmora_sr/homography.h"

namespace {

constexpr int32_t kEigenSweeps = 30;
constexpr int32_t kParameters = 9;

/// Mean distance of the projected reference points from the registered ones. The denominator takes
/// the registered point's x where the reference point's belongs. The number is only printed, and
/// stays like this so that it compares with earlier ones.
float meanProjectionError(const tagST_MATCH_PAIRS& pairs, const float* h) {
  if (pairs.count < 1) return 0.0f;
  float sum = 0.0f;
  for (ptrdiff_t i = 0; i < pairs.count; ++i) {
    const float x = pairs.refPoints[2 * i];
    const float y = pairs.refPoints[2 * i + 1];
    const float matchX = pairs.matchPoints[2 * i];
    const float matchY = pairs.matchPoints[2 * i + 1];
    const float w = (h[6] * matchX + h[7] * y) + 1.0f;
    const float du = ((h[0] * x + h[1] * y) + h[2]) / w - matchX;
    const float dv = ((h[3] * x + h[4] * y) + h[5]) / w - matchY;
    sum += std::sqrt(du * du + dv * dv);
  }
  return sum / static_cast<float>(pairs.count);
}

}  // namespace

void LM_Evaluate(float* par, int32_t /*m*/, float* fvec, void* data, int32_t* /*info*/) {
  const auto& pairs = *static_cast<const tagST_MATCH_PAIRS*>(data);
  for (ptrdiff_t i = 0; i < pairs.count; ++i) {
    const float x = pairs.refPoints[2 * i];
    const float y = pairs.refPoints[2 * i + 1];
    const float w = 1.0f / (std::fma(par[7], y, par[6] * x) + par[8]);
    const float u = std::fma(par[1], y, par[0] * x) + par[2];
    const float v = std::fma(par[4], y, par[3] * x) + par[5];
    fvec[2 * i] = std::fma(w, u, -pairs.matchPoints[2 * i]);
    fvec[2 * i + 1] = std::fma(w, v, -pairs.matchPoints[2 * i + 1]);
  }
}

void RefineHomography(tagST_MATCH_PAIRS* pairs, float* homography, unsigned char* scratch) {
  const std::optional<velmora::Matrix3> linear =
      velmora::fitHomography(pairs->refPoints, pairs->matchPoints, pairs->count, kEigenSweeps);
  if (!linear) return;
  velmora::Matrix3 h = *linear;

  // Tolerances below what floats resolve: the run ends when precision or its calls are used up.
  constexpr float kTolerance = 1e-10f;
  lm_control_type control = {kTolerance, kTolerance, kTolerance, kTolerance, 10.0f, 0.0f, 20, 0, 0};
  LM_Minimize(2 * pairs->count, kParameters, h.data(), LM_Evaluate, nullptr, pairs, &control,
              scratch);
  const float scale = 1.0f / h.back();
  std::transform(h.begin(), h.end(), homography, [=](float entry) { return entry * scale; });
}

int32_t HomographyEstimation(tagST_MATCH_PAIRS* pairs, float* homography, tagRANSAC_PARAMS* params,
                             unsigned char* scratch) {
  RansacEstimation(pairs, homography, params, scratch);
  RefineHomography(pairs, homography, scratch);
  velmora::printProgress("project error after lmmin:%lf\n",
                         static_cast<double>(meanProjectionError(*pairs, homography)));
  return 0;
}
