#include "burst/restoration/restoration.h"

#include <algorithm>

namespace velmora::burst {
namespace {

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
// Before enlargement a block shows as much of the scene as one of cells does behind it, and larger
// ones lose as much texture as they take noise.
bool hasLowBand(const RestorationPlan& plan) {
  return !plan.fine;
}

}  // namespace

int32_t restorationHalo(const RestorationPlan& plan) {
  // A block that covers a wanted sample, and one that covers a sample of it in the pilot.
  const int32_t pilot = uses16(plan) ? 15 : 7;
  const int32_t second = uses16(plan) && plan.wiener16 ? 15 : 7;
  if (!hasLowBand(plan)) return pilot + second;
  const LowBand::Halo low = LowBand::halo(plan);
  return std::max(low.window, low.fine + pilot + second);
}

Restorer::Restorer(Memory& memory, const RestorationPlan& plan, Size largest)
    : plan_(&plan),
      of8_(passTables<8>(memory, plan, &CoefficientNoise::of8)),
      of16_(passTables<16>(memory, plan, &CoefficientNoise::of16)),
      samples_(memory, largest) {
  if (hasLowBand(plan)) low_.emplace(memory, plan, largest);
  const PassGeometry geometries[] = {geometryOf8(plan), geometryOf16(plan)};
  passes_ = PassRunner(memory, geometries, uses16(plan) ? 2 : 1, largest.width);
}

void Restorer::run(const RestorationWindow& window, Plane<int16_t> out) {
  const Rect& wanted = window.wanted;
  if (low_ && LowBand::fits(window.plane)) {
    low_->run(window, restoreBlocks(window, low_->covers(wanted, window.plane)), out);
    return;
  }
  const PlanePart<const int16_t> fine = restoreBlocks(window, wanted);
  for (int32_t y = wanted.top; y < wanted.bottom; ++y)
    std::copy_n(fine.at(wanted.left, y), wanted.width(), out.row(y - wanted.top));
}

PlanePart<const int16_t> Restorer::restoreBlocks(const RestorationWindow& window,
                                                 const Rect& wanted) {
  const int32_t shorter = std::min(window.plane.width, window.plane.height);
  const PlanePart<const int16_t> noisy = {window.samples, window.left, window.top};
  if (shorter < 8) return noisy;  // no block fits
  const bool with16 = uses16(*plan_) && shorter >= 16;
  const bool second16 = with16 && plan_->wiener16;
  const Rect needed = grown(wanted, second16 ? 15 : 7, window.plane);
  const PlanePart<int16_t> samples = {samples_.plane(), needed.left, needed.top};
  const PlanePart<const int16_t> pilot = {samples.samples, samples.left, samples.top};

  PassJob job = {geometryOf8(*plan_),
                 &of8_,
                 plan_->frames,
                 noisy,
                 {},
                 {window.frames, window.left, window.top},
                 window.plane,
                 needed,
                 samples,
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
  job.pilot = pilot;  // a row of it is read before the same row of the result is written
  job.target = wanted;
  job.average = false;
  passes_.run(job);
  return pilot;
}

}  // namespace velmora::burst
