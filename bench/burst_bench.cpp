// The burst stage on drawn frames, enlarged by 2, one thread: taking frames and making the picture,
// as time per sample, and its stages as the library reports them.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <string>

#include "peers/burst_job.h"

namespace {

using velmora::bench::burstFrames;
using velmora::bench::BurstJob;
using Clock = std::chrono::steady_clock;

constexpr int kWidth = 1000;
constexpr int kHeight = 750;

double secondsSince(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

void BurstAdd(benchmark::State& state) {
  const auto frames = burstFrames(kWidth, kHeight, static_cast<int>(state.range(0)));
  BurstJob job(frames, VELMORA_SR_BURST_NORMAL, 1);
  for ([[maybe_unused]] auto _ : state) {
    job.create();
    const auto start = Clock::now();
    job.add();
    state.SetIterationTime(secondsSince(start));
  }
  const double samples = 1.0 * kWidth * kHeight * static_cast<double>(state.range(0));
  state.counters["time/pixel"] = benchmark::Counter(
      samples, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
  if (!job.problem().empty()) state.SkipWithError(job.problem().c_str());
}

void BurstRender(benchmark::State& state) {
  const int count = static_cast<int>(state.range(0));
  const auto frames = burstFrames(kWidth, kHeight, count);
  BurstJob job(frames, static_cast<int>(state.range(1)), static_cast<int>(state.range(2)));
  double stages[VELMORA_SR_BURST_STAGE_COUNT] = {};
  double rounds = 0;
  for ([[maybe_unused]] auto _ : state) {
    // A new handle: what one has found about pairs of frames it does not find again.
    job.create();
    job.add();
    const auto start = Clock::now();
    job.render();
    state.SetIterationTime(secondsSince(start));
    const Velmora_SR_BurstReport report = job.report();
    for (int i = 0; i < VELMORA_SR_BURST_STAGE_COUNT; ++i)
      stages[i] += report.milliseconds[i];
    ++rounds;
  }
  const double samples = 1.0 * job.outWidth() * job.outHeight();
  const double pixels = 1.0 * kWidth * kHeight;
  state.counters["time/sample"] = benchmark::Counter(
      samples, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
  const auto perMegapixel = [&](int stage) {
    // One frame alone has its noise measured, which counts as weighing.
    return stages[stage] / rounds / (pixels / 1e6) / std::max(count - 1, 1);
  };
  state.counters["register ms/MP"] = perMegapixel(VELMORA_SR_BURST_STAGE_REGISTRATION);
  state.counters["translate ms/MP"] = perMegapixel(VELMORA_SR_BURST_STAGE_TRANSLATIONS);
  state.counters["weigh ms/MP"] = perMegapixel(VELMORA_SR_BURST_STAGE_WEIGHTS);
  state.counters["noise ms"] = stages[VELMORA_SR_BURST_STAGE_NOISE] / rounds;
  state.counters["reconstruct ns"] =
      stages[VELMORA_SR_BURST_STAGE_RECONSTRUCTION] / rounds * 1e6 / samples;
  state.counters["peak MB"] = static_cast<double>(job.report().peakMemory) / 1e6;
  if (!job.problem().empty()) state.SkipWithError(job.problem().c_str());
}

BENCHMARK(BurstAdd)->Arg(1)->Arg(8)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BurstRender)
    ->ArgNames({"frames", "fast", "threads"})
    ->ArgsProduct({{1, 2, 4, 8}, {0, 1}, {1, 2}})
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace
