#include "burst/alignment/level_aligner.h"

#include <cmath>

#include "burst/alignment/row_bands.h"

namespace velmora::burst {
namespace {

// Cost of a pixel in a step, where walking over a sample costs one.
constexpr int64_t kPixelCost = 8;

constexpr double kResidualLimit = 32;

}  // namespace

Homography atLevel(const Homography& homography, int32_t level) {
  const double scale = 1.0 / (1 << level);
  const double shift = 0.5 * scale - 0.5;
  const Homography down = {{scale, 0, shift, 0, scale, shift, 0, 0, 1}};
  return down * (homography * down.inverse());
}

WarpedRow warpedRow(const Homography& homography, Size size, int32_t y,
                    const Plane<const int16_t>& samples, const Plane<const uint8_t>& masked) {
  // With x = c + s X: numerators and denominator as polynomials of X, less x or y times the
  // denominator, so that small distances keep all their bits in a float.
  const auto& h = homography.h;
  const double c = (size.width - 1) / 2.0;
  const double s = size.width / 2.0;
  const double w0 = h[6] * c + h[7] * y + h[8];
  const double w1 = h[6] * s;
  const double x0 = h[0] * c + h[1] * y + h[2];
  const double x1 = h[0] * s;
  const double y0 = h[3] * c + h[4] * y + h[5];
  const double y1 = h[3] * s;
  WarpedRow row = {};
  row.samples = samples.data;
  row.masked = masked.data;
  row.pitch = samples.pitch;
  row.maskedPitch = masked.pitch;
  row.width = samples.size.width;
  row.height = samples.size.height;
  row.y = y;
  row.x0 = static_cast<float>(x0 - c * w0);
  row.x1 = static_cast<float>(x1 - c * w1 - s * w0);
  row.x2 = static_cast<float>(-s * w1);
  row.y0 = static_cast<float>(y0 - y * w0);
  row.y1 = static_cast<float>(y1 - y * w1);
  row.w0 = static_cast<float>(w0);
  row.w1 = static_cast<float>(w1);
  row.gain = 1;
  row.bias = 0;
  return row;
}

LevelAligner::LevelAligner(Memory& memory, Workers& workers, const Pyramid& reference,
                           const Pyramid& frame, int32_t level)
    : workers_(workers),
      level_(level),
      frame_(frame.levels[static_cast<std::size_t>(level)]),
      pixels_(memory, workers, reference.levels[static_cast<std::size_t>(level)], false),
      residuals_(memory, {pixels_.longestRow(), workers.count()}),
      warped_(memory, {pixels_.longestRow(), workers.count()}),
      rowSums_(memory, static_cast<std::size_t>(pixels_.size().height)),
      bins_(memory, workers.count()) {}

WarpedRow LevelAligner::warped(const Homography& atThisLevel, const Alignment& alignment,
                               int32_t y) const {
  WarpedRow row =
      warpedRow(atThisLevel, pixels_.size(), y, frame_.smooth.plane(), frame_.masked.plane());
  row.gain = static_cast<float>(alignment.gain);
  row.bias = static_cast<float>(alignment.bias);
  return row;
}

NormalEquations LevelAligner::equations(const Alignment& alignment, double limit, bool photometric,
                                        double weight) {
  const Homography homography = atLevel(alignment.homography, level_);
  const Size size = pixels_.size();
  const int64_t cost = kPixelCost * pixels_.count() / size.height;
  forRows(workers_, size.height, cost, weight, [&](int32_t y, int32_t worker) {
    const PixelRow row = pixels_.row(y);
    float* const residuals = residuals_.plane().row(worker);
    float* const samples = warped_.plane().row(worker);
    alignmentFunctions().residuals(row, warped(homography, alignment, y), residuals, samples);
    alignmentFunctions().addUp(row, residuals, samples, static_cast<float>(limit), photometric,
                               rowSums_[static_cast<std::size_t>(y)]);
  });
  NormalEquations equations;
  for (int32_t y = 0; y < size.height; ++y) {
    equations.add(rowSums_[static_cast<std::size_t>(y)],
                  (y - (size.height - 1) / 2.0) * 2 / size.width);
  }
  return equations;
}

// Statistics take every so many rows: some 30,000 pixels tell enough.
int32_t LevelAligner::rowStep() const {
  constexpr int64_t kEnough = 30000;
  return static_cast<int32_t>(std::max<int64_t>(1, pixels_.count() / kEnough));
}

template <typename Row>
void LevelAligner::forSampledRows(const Row& row) {
  const int32_t height = pixels_.size().height;
  const int32_t step = rowStep();
  forRows(workers_, (height + step - 1) / step, kPixelCost * pixels_.count() / height, 0,
          [&](int32_t index, int32_t worker) { row(index * step, worker); });
}

double LevelAligner::robustScale(const Alignment& alignment) {
  bins_.clear();
  const Homography homography = atLevel(alignment.homography, level_);
  forSampledRows([&](int32_t y, int32_t worker) {
    const PixelRow row = pixels_.row(y);
    float* const residuals = residuals_.plane().row(worker);
    alignmentFunctions().residuals(row, warped(homography, alignment, y), residuals,
                                   warped_.plane().row(worker));
    for (int32_t i = 0; i < row.count; ++i) {
      if (residuals[i] != kNoResidual) bins_.add(worker, residuals[i]);
    }
  });
  return std::max(0.5, 1.4826 * bins_.median());
}

// H <- H N^-1 D^-1 N, with N from the level's columns and rows to X and Y, and D the small
// homography that the step found. False when nothing has moved.
bool LevelAligner::apply(const std::array<double, kParameters>& p, Alignment& alignment) const {
  if (p == std::array<double, kParameters>{}) return false;  // the same frame stays where it is
  const Size size = pixels_.size();
  const double scale = 2.0 / size.width;
  const Homography small = {{1 + scale * p[0], scale * p[1], scale * p[2], scale * p[3],
                             1 + scale * p[4], scale * p[5], scale * p[6], scale * p[7], 1}};
  const Homography toUnit = {
      {scale, 0, -scale * (size.width - 1) / 2, 0, scale, -scale * (size.height - 1) / 2, 0, 0, 1}};
  const Homography before = atLevel(alignment.homography, level_);
  const Homography after = before * (toUnit.inverse() * (small.inverse() * toUnit));
  const double back = 1 << level_;
  const double shift = 0.5 * back - 0.5;
  const Homography up = {{back, 0, shift, 0, back, shift, 0, 0, 1}};
  alignment.homography = up * (after * up.inverse());
  alignment.gain *= 1 + p[8] / 128;
  alignment.bias += p[9];

  constexpr double kStill = 0.003;
  bool moved = false;
  for (int32_t i = 0; i < 9; ++i) {
    const int32_t column = i % 3;
    const int32_t row = i / 3;
    const Point at = {(size.width - 1) * 0.5 * column, (size.height - 1) * 0.5 * row};
    const Point was = before(at);
    const Point is = after(at);
    moved |= !(std::fabs(is.x - was.x) < kStill && std::fabs(is.y - was.y) < kStill);
  }
  return moved;
}

void LevelAligner::align(Alignment& alignment, Model model, int32_t steps, bool photometric,
                         double weight) {
  const double limit = 3 * robustScale(alignment);
  std::array<double, kParameters> parameters;
  for (int32_t step = 0; step < steps; ++step) {
    const NormalEquations sums = equations(alignment, limit, photometric, weight / steps);
    if (!sums.solve(model, photometric, parameters) || !apply(parameters, alignment)) return;
  }
}

Fit LevelAligner::fit(const Alignment& alignment) {
  const NormalEquations sums = equations(alignment, 3 * robustScale(alignment), false, 0);
  Fit fit;
  fit.score = sums.score();
  if (sums.slope() > 0) fit.misfit = std::sqrt(2 * sums.score() / sums.slope());
  if (pixels_.count() > 0) fit.pixels = sums.count() / static_cast<double>(pixels_.count());
  return fit;
}

double LevelAligner::residual(const Alignment& alignment) {
  const Homography homography = atLevel(alignment.homography, level_);
  constexpr auto kLimit = static_cast<float>(kResidualLimit);
  forSampledRows([&](int32_t y, int32_t worker) {
    const PixelRow row = pixels_.row(y);
    float* const residuals = residuals_.plane().row(worker);
    alignmentFunctions().residuals(row, warped(homography, alignment, y), residuals,
                                   warped_.plane().row(worker));
    RowSums& sums = rowSums_[static_cast<std::size_t>(y)];
    sums.score = 0;
    sums.count = 0;
    for (int32_t i = 0; i < row.count; ++i) {
      if (residuals[i] == kNoResidual) continue;
      const float r = std::min(std::fabs(residuals[i]), kLimit);
      sums.score += r * r;
      sums.count += 1;
    }
  });
  double sum = 0;
  double count = 0;
  for (int32_t y = 0; y < pixels_.size().height; y += rowStep()) {
    sum += static_cast<double>(rowSums_[static_cast<std::size_t>(y)].score);
    count += static_cast<double>(rowSums_[static_cast<std::size_t>(y)].count);
  }
  return count > 0 ? std::sqrt(sum / count) : 0;
}

}  // namespace velmora::burst
