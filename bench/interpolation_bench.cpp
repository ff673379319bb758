// Time of each stage of reconstruction, 12 megapixels to 27, in all and per sample of its output.
#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "quiet_library.h"
#include "support/random.h"
#include "velmora_sr/deghosting.h"
#include "velmora_sr/interpolation.h"
#include "velmora_sr/plane_conversion.h"
#include "velmora_sr/velmora_sr.h"

namespace {

const velmora::bench::QuietLibrary quiet;

constexpr int32_t kWidth = 4000;
constexpr int32_t kHeight = 3000;
constexpr int32_t kOutWidth = 6000;
constexpr int32_t kOutHeight = 4500;
constexpr std::size_t kSamples = std::size_t{kWidth} * kHeight;
constexpr std::size_t kOutSamples = std::size_t{kOutWidth} * kOutHeight;

/// The one large block of a stage is kept for the next call: the first touch of fresh pages would
/// cost as much as the stage.
void* spare = nullptr;
uint32_t spareSize = 0;

void* takeBlock(uint32_t size, const char*, int32_t) {
  if (spare != nullptr && spareSize == size) {
    void* block = spare;
    spare = nullptr;
    return block;
  }
  spareSize = size;
  return std::malloc(size);
}

void releaseBlock(void* block, const char*, int32_t) {
  std::free(spare);
  spare = block;
}

/// Frames, planes and maps for every stage; the handle installs the kernel tables and starts the
/// threads.
struct Bench {
  SR_ParamsPublic* handle = nullptr;
  std::vector<uint8_t> frame1, frame2;
  std::vector<uint8_t> padded1, padded2, paddedU, paddedV;
  std::vector<uint8_t> out, outU, outV;
  std::vector<int32_t> mapX, mapY;

  Bench() {
    const Velmora_SR_CreateParams params = {kWidth,       kHeight, 2,      takeBlock,
                                            releaseBlock, nullptr, nullptr};
    VELMORA_SR_Create(&params, &handle);
    zelkParamPrivate.pub = handle;
    velmora::test::Random random(1);
    frame1.resize(kSamples * 3 / 2);
    for (std::size_t i = 0; i < frame1.size(); ++i)
      frame1[i] = static_cast<uint8_t>(128 + (i % 61) + random.range(-3, 3));
    frame2 = frame1;
    for (std::size_t i = 0; i < frame2.size(); i += 3)
      frame2[i] = static_cast<uint8_t>(frame2[i] + 2);
    const std::size_t paddedSize = std::size_t{kWidth + 4} * (kHeight + 4);
    padded1.resize(paddedSize);
    padded2.resize(paddedSize);
    EdgeMirror(frame1.data(), padded1.data(), 2, kWidth, kHeight);
    EdgeMirror(frame2.data(), padded2.data(), 2, kWidth, kHeight);
    const std::size_t chromaSize = std::size_t{kWidth / 2 + 4} * (kHeight / 2 + 4);
    paddedU.resize(chromaSize);
    paddedV.resize(chromaSize);
    EdgeMirror(frame1.data() + kSamples, paddedU.data(), 2, kWidth / 2, kHeight / 2);
    EdgeMirror(frame2.data() + kSamples, paddedV.data(), 2, kWidth / 2, kHeight / 2);
    out.resize(kOutSamples);
    outU.resize(kOutSamples / 4);
    outV.resize(kOutSamples / 4);
    // A second frame that has turned by a quarter of a degree and moved.
    mapX.resize(kSamples);
    mapY.resize(kSamples);
    for (int32_t y = 0; y < kHeight; ++y) {
      for (int32_t x = 0; x < kWidth; ++x) {
        const std::size_t i = static_cast<std::size_t>(y) * kWidth + x;
        mapX[i] = (x << 16) - 262 * y + 478412;
        mapY[i] = (y << 16) + 262 * x - 301465;
      }
    }
  }
};

Bench& bench() {
  static Bench instance;
  return instance;
}

template <typename Stage>
void run(benchmark::State& state, std::size_t samples, Stage stage) {
  stage();
  for ([[maybe_unused]] auto _ : state)
    stage();
  state.counters["time/sample"] = benchmark::Counter(
      static_cast<double>(samples),
      benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

/// The yardstick of the stages that only move bytes.
void Copy(benchmark::State& state) {
  Bench& b = bench();
  run(state, kOutSamples, [&] {
    std::memcpy(b.out.data(), b.mapX.data(), kOutSamples);
    benchmark::ClobberMemory();
  });
}

void MirroredCopy(benchmark::State& state) {
  Bench& b = bench();
  run(state, kSamples, [&] { EdgeMirror(b.frame1.data(), b.padded1.data(), 2, kWidth, kHeight); });
}

void ChromaSplit(benchmark::State& state) {
  Bench& b = bench();
  run(state, kSamples / 2, [&] {
    SR_ChromaSplitBand band = {};
    band.u1 = b.paddedU.data();
    band.v1 = b.paddedV.data();
    band.source1 = b.frame1.data() + kSamples;
    band.width = kWidth / 2;
    band.destinationPitch = kWidth / 2;
    band.endRow = kHeight / 2;
    UVNV12TO420EdgeMirror_ThreadFunc(&band, 0);
  });
}

void ChromaMerge(benchmark::State& state) {
  Bench& b = bench();
  run(state, kOutSamples / 2, [&] {
    SR_ChromaMergeBand band = {b.outU.data(), b.outV.data(), b.out.data(), kOutWidth / 2, 0,
                               kOutHeight / 2};
    UVNV12TO420_ThreadFunc(&band, 0);
  });
}

void LumaOfOneFrame(benchmark::State& state) {
  Bench& b = bench();
  run(state, kOutSamples, [&] {
    ShiftInvariantIntepolationSeparateY1FrameLUTFix(b.padded1.data(), b.out.data(), 4, 0, kWidth,
                                                    kHeight, kOutWidth, kOutHeight, 0, 0,
                                                    kWidth - 1, kHeight - 1);
  });
}

void ChromaOfOneFrame(benchmark::State& state) {
  Bench& b = bench();
  run(state, kOutSamples / 2, [&] {
    ShiftInvariantIntepolationSeparateUV1FrameLUTFix(
        b.paddedU.data(), b.paddedV.data(), b.outU.data(), b.outV.data(), 4, 0, kWidth / 2,
        kHeight / 2, kOutWidth / 2, kOutHeight / 2, 0, 0, kWidth / 2 - 1, kHeight / 2 - 1);
  });
}

void LumaOfTwoFrames(benchmark::State& state) {
  Bench& b = bench();
  run(state, kOutSamples, [&] {
    ShiftInvariantIntepolationHighPerformanceFastY2FrameLUTFix(
        b.padded1.data(), b.padded2.data(), b.out.data(), 4, 0, kWidth, kHeight, kOutWidth,
        kOutHeight, 1.0F, b.mapX.data(), b.mapY.data(), 0, 0, kWidth - 1, kHeight - 1);
  });
}

void Deghosting(benchmark::State& state) {
  Bench& b = bench();
  std::vector<uint8_t> first = b.frame1;
  run(state, kSamples, [&] {
    DeGhost(b.frame2.data(), first.data(), &zelkParamPrivate, kWidth, kHeight, b.mapX.data(),
            b.mapY.data());
  });
}

// Wall time, beside the processor time of all threads that share the work.
BENCHMARK(Copy)->MeasureProcessCPUTime()->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(MirroredCopy)->MeasureProcessCPUTime()->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(ChromaSplit)->MeasureProcessCPUTime()->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(ChromaMerge)->MeasureProcessCPUTime()->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(LumaOfOneFrame)->MeasureProcessCPUTime()->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(ChromaOfOneFrame)->MeasureProcessCPUTime()->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(LumaOfTwoFrames)->MeasureProcessCPUTime()->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(Deghosting)->MeasureProcessCPUTime()->UseRealTime()->Unit(benchmark::kMillisecond);

}  // namespace
