// Time of whole calls of the library, one frame and two, over sizes of three orders of magnitude,
// and per output sample of luma. Blocks and output are reused from call to call.
#include <benchmark/benchmark.h>

#include <utility>

#include "peers/scene.h"
#include "peers/timing.h"
#include "peers/velmora_job.h"
#include "quiet_library.h"

namespace {

using velmora::bench::Nv12Frame;
using velmora::bench::renderScene;
using velmora::bench::VelmoraJob;

const velmora::bench::QuietLibrary quiet;

/// Enlarges frames of the width and height that the benchmark gives by one and a half.
struct Size {
  explicit Size(const benchmark::State& state)
      : width(static_cast<int>(state.range(0))), height(static_cast<int>(state.range(1))) {}
  [[nodiscard]] int outWidth() const { return width * 3 / 2; }
  [[nodiscard]] int outHeight() const { return height * 3 / 2; }
  int width;
  int height;
};

void run(benchmark::State& state, const Size& size, VelmoraJob& job) {
  job.run();  // the first touch of all blocks
  for ([[maybe_unused]] auto _ : state)
    job.run();
  const double samples = static_cast<double>(size.outWidth()) * size.outHeight();
  state.counters["megapixels"] = samples / 1e6;
  state.counters["time/sample"] = benchmark::Counter(
      samples, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void OneFrame(benchmark::State& state) {
  const Size size(state);
  velmora::bench::useProcessors(static_cast<int>(state.range(2)));
  const Nv12Frame frame = renderScene(size.width, size.height, {}, 2, 1);
  VelmoraJob job(frame, nullptr, size.outWidth(), size.outHeight());
  run(state, size, job);
}

void TwoFrames(benchmark::State& state) {
  const Size size(state);
  velmora::bench::useProcessors(static_cast<int>(state.range(2)));
  const Nv12Frame first = renderScene(size.width, size.height, {}, 2, 1);
  const Nv12Frame second = renderScene(size.width, size.height, {7.3, -4.6, 0.004, 1.003}, 2, 2);
  VelmoraJob job(first, &second, size.outWidth(), size.outHeight());
  run(state, size, job);
  if (!job.registered()) state.SkipWithError("the frames did not register");
}

void sizes(benchmark::internal::Benchmark* benchmark) {
  benchmark->ArgNames({"width", "height", "processors"});
  for (const int processors : {1, 2}) {
    for (const auto& [width, height] :
         {std::pair{426, 320}, {1280, 960}, {2000, 1500}, {4000, 3000}, {7680, 5760}})
      benchmark->Args({width, height, processors});
  }
}

// Wall time, beside the processor time of all threads that share the work.
BENCHMARK(OneFrame)->Apply(sizes)->MeasureProcessCPUTime()->UseRealTime()->Unit(
    benchmark::kMillisecond);
BENCHMARK(TwoFrames)->Apply(sizes)->MeasureProcessCPUTime()->UseRealTime()->Unit(
    benchmark::kMillisecond);

}  // namespace
