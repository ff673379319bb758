#include "burst/restoration/restoration.h"

#include <algorithm>
#include <tuple>

#include "burst/restoration/basis.h"

namespace velmora::burst {
namespace {

constexpr float kThreshold = 2.6F;  // in standard deviations of the noise

PassGeometry geometryOf8(const RestorationPlan& plan) {
  const int32_t stride = plan.fast ? 3 : 2;
  return {8, plan.fine ? (stride + 1) / 2 : stride};
}
PassGeometry geometryOf16(const RestorationPlan& plan) {
  return {16, plan.fine ? 2 : 4};
}
bool uses16(const RestorationPlan& plan) {
  return !plan.fast;
}

// Thresholds in steps of a coefficient, which is a whole number: rounded down they mean the same.
// The first coefficient, the block's mean, is always kept.
template <int32_t N, typename Noise>
PassTables makeTables(Memory& memory, const RestorationPlan& plan, Noise noise) {
  constexpr std::size_t kEntries = std::size_t{N} * N;
  static_assert(kTables == std::tuple_size_v<decltype(plan.noise)>);
  PassTables tables = {{memory, kEntries * kTables}, {memory, kEntries * kTables}};
  for (std::size_t i = 0; i < kEntries; ++i) {
    for (std::size_t n = 0; n < kTables; ++n) {
      const float levels = std::clamp((plan.noise[n].*noise)[i], 0.0F, 255.0F);
      const float sigma = levels * float{kCoefficientScale<N>};
      const float threshold = std::min(kThreshold * sigma, 32766.0F);
      tables.thresholds[i * kTables + n] = i == 0 ? int16_t{-1} : static_cast<int16_t>(threshold);
      tables.squares[i * kTables + n] = i == 0 ? 0.0F : sigma * sigma;
    }
  }
  return tables;
}

Rect grown(const Rect& rect, int32_t by, Size plane) {
  return {std::max(rect.left - by, 0), std::max(rect.top - by, 0),
          std::min(rect.right + by, plane.width), std::min(rect.bottom + by, plane.height)};
}

}  // namespace

int32_t restorationHalo(const RestorationPlan& plan) {
  // A block that covers a wanted sample, and one that covers a sample of it in the pilot.
  const int32_t pilot = uses16(plan) ? 15 : 7;
  const int32_t second = uses16(plan) && plan.wiener16 ? 15 : 7;
  return pilot + second;
}

Restorer::Restorer(Memory& memory, const RestorationPlan& plan, Size largest)
    : plan_(&plan),
      of8_(makeTables<8>(memory, plan, &CoefficientNoise::of8)),
      of16_(makeTables<16>(memory, plan, &CoefficientNoise::of16)),
      pilot_(memory, largest) {
  const PassGeometry geometries[] = {geometryOf8(plan), geometryOf16(plan)};
  passes_ = PassRunner(memory, geometries, uses16(plan) ? 2 : 1, largest.width);
}

void Restorer::run(const RestorationWindow& window, Plane<int16_t> out) {
  const Rect& wanted = window.wanted;
  const int32_t shorter = std::min(window.plane.width, window.plane.height);
  const PlanePart<const int16_t> noisy = {window.samples, window.left, window.top};
  const PlanePart<int16_t> target = {out, wanted.left, wanted.top};
  if (shorter < 8) {  // no block fits
    for (int32_t y = wanted.top; y < wanted.bottom; ++y)
      std::copy_n(noisy.at(wanted.left, y), wanted.width(), target.at(wanted.left, y));
    return;
  }
  const bool with16 = uses16(*plan_) && shorter >= 16;
  const bool second16 = with16 && plan_->wiener16;
  const Rect needed = grown(wanted, second16 ? 15 : 7, window.plane);
  const PlanePart<int16_t> pilot = {pilot_.plane(), needed.left, needed.top};

  PassJob job = {geometryOf8(*plan_),
                 &of8_,
                 plan_->frames,
                 noisy,
                 {},
                 {window.frames, window.left, window.top},
                 window.plane,
                 needed,
                 pilot,
                 false};
  passes_.run(job);
  if (with16) {
    job.geometry = geometryOf16(*plan_);
    job.tables = &of16_;
    job.average = true;
    passes_.run(job);
  }
  job.geometry = second16 ? geometryOf16(*plan_) : geometryOf8(*plan_);
  job.tables = second16 ? &of16_ : &of8_;
  job.pilot = {pilot.samples, pilot.left, pilot.top};
  job.target = wanted;
  job.out = target;
  job.average = false;
  passes_.run(job);
}

}  // namespace velmora::burst
