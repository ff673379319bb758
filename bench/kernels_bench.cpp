// Time of every kernel in every set that this machine runs, per sample.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "cpu/cpu_functions.h"
#include "interpolation/functions.h"
#include "registration/functions.h"
#include "support/random.h"
#include "velmora_sr/kernel_tables.h"

namespace velmora {
namespace {

using test::Random;

constexpr int32_t kSourceWidth = 4000;
constexpr int32_t kOutWidth = 6000;
constexpr int32_t kPitch = kSourceWidth + 4;
constexpr int32_t kRows = 8;
constexpr int32_t kPhases = 50;
/// Work of one round of the smaller kernels.
constexpr int32_t kPatches = 16;
constexpr int32_t kDescriptors = 256;
constexpr int32_t kValues = 64;

template <typename T>
std::vector<T> randomValues(std::size_t count, int64_t low, int64_t high) {
  Random random(count);
  std::vector<T> values(count);
  for (T& value : values)
    value = static_cast<T>(random.range(low, high));
  return values;
}

/// Everything that the kernels read and write, of the sizes of a 12-megapixel frame's rows.
struct Data {
  std::vector<uint8_t> bytes = randomValues<uint8_t>(std::size_t{kPitch} * 64, 0, 255);
  std::vector<uint8_t> outBytes = std::vector<uint8_t>(std::size_t{kOutWidth} * 16);
  std::vector<int16_t> filtered = randomValues<int16_t>(std::size_t{kOutWidth} * kRows, -50, 300);
  std::vector<int32_t> integral = randomValues<int32_t>(std::size_t{kPitch} * 32, 0, 1 << 20);
  std::vector<int32_t> outValues = std::vector<int32_t>(std::size_t{2} * kPitch);
  std::vector<int32_t> mapX, mapY, first, mapColumn, fraction, phase;
  std::vector<int16_t> taps = randomValues<int16_t>(std::size_t{4} * kOutWidth, -800, 4800);
  std::vector<int16_t> table2D =
      randomValues<int16_t>(std::size_t{17} * kPhases * kPhases, -400, 4800);
  std::vector<const int16_t*> rows2D;
  std::vector<int16_t> weights = randomValues<int16_t>(256, 0, 4096);
  std::vector<int32_t> descriptors =
      randomValues<int32_t>(std::size_t{kValues} * kDescriptors, -(1 << 20), 1 << 20);
  std::vector<const int32_t*> descriptorRows;
  std::vector<int32_t> indices;
  std::array<float, 9> homography = {1.001F, 0.004F, 7.3F, -0.004F, 1.001F, -4.6F, 1e-7F, 1e-7F, 1};

  Data() {
    for (int32_t j = 0; j < kOutWidth; ++j) {
      const int32_t position = j * 43690;  // 16.16, two thirds of a sample
      first.push_back(1 + (position >> 16));
      mapColumn.push_back(position >> 16);
      fraction.push_back(position & 0xFFFF);
      phase.push_back(kPhases * (position & 0xFFFF) >> 16);
    }
    for (int32_t x = 0; x < kSourceWidth; ++x) {
      mapX.push_back((x << 16) + 12345);
      mapY.push_back((7 << 16) + 54321 + 260 * x);
    }
    for (int32_t i = 0; i < kPhases * kPhases; ++i) {
      int16_t* row = table2D.data() + std::ptrdiff_t{17} * i;
      row[16] = static_cast<int16_t>(3588 + i % 100);  // sums as the default table has them
      rows2D.push_back(row);
    }
    for (int32_t i = 0; i < kDescriptors; ++i) {
      descriptorRows.push_back(descriptors.data() + std::ptrdiff_t{kValues} * i);
      indices.push_back((i * 37) % kDescriptors);
    }
  }
};

Data& data() {
  static Data instance;
  return instance;
}

/// Registers `round`, one call of which does `samples` samples, for every set that has an entry of
/// its own.
template <typename Family, typename Kernel, typename Round>
void add(const std::string& name, const Family& (*family)(CpuSet), Kernel Family::*entry,
         int64_t samples, Round round) {
  const Kernel scalar = family(CpuSet::scalar).*entry;
  Kernel last = nullptr;
  for (const CpuSet set : availableCpuSets()) {
    const Kernel kernel = family(set).*entry;
    if (kernel == last || (kernel == scalar && set != CpuSet::scalar)) continue;
    last = kernel;
    benchmark::RegisterBenchmark(
        (name + "/" + std::string(velmora::name(set))).c_str(),
        [kernel, samples, round](benchmark::State& state) {
          for ([[maybe_unused]] auto _ : state) {
            round(kernel, data());
            benchmark::ClobberMemory();
          }
          state.counters["time/sample"] = benchmark::Counter(
              static_cast<double>(samples),
              benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
        })
        ->MinTime(0.1);
  }
}

void addInterpolationKernels() {
  const InterpolationFunctions& (*family)(CpuSet) = interpolationFunctions;
  using Kernels = InterpolationFunctions;
  add("splitPairs", family, &Kernels::splitPairs, 2 * kSourceWidth, [](auto kernel, Data& d) {
    kernel(d.bytes.data(), d.outBytes.data(), d.outBytes.data() + kOutWidth, kSourceWidth);
  });
  add("mergePairs", family, &Kernels::mergePairs, 2 * kSourceWidth, [](auto kernel, Data& d) {
    kernel(d.bytes.data(), d.bytes.data() + kPitch, d.outBytes.data(), kSourceWidth);
  });
  add("filterColumns", family, &Kernels::filterColumns, kRows * kOutWidth,
      [](auto kernel, Data& d) {
        const ColumnPlan plan = {kOutWidth, kPitch, 0, kOutWidth, d.first.data(), d.taps.data()};
        kernel({d.bytes.data(), kPitch, d.filtered.data(), kOutWidth, kRows}, plan, 0, kOutWidth);
      });
  add("filterRows", family, &Kernels::filterRows, kOutWidth, [](auto kernel, Data& d) {
    const int16_t* const rows[4] = {d.filtered.data(), d.filtered.data() + kOutWidth,
                                    d.filtered.data() + 2 * kOutWidth,
                                    d.filtered.data() + 3 * kOutWidth};
    kernel(rows, d.taps.data(), d.outBytes.data(), kOutWidth);
  });
  add("fuseRow", family, &Kernels::fuseRow, kOutWidth, [](auto kernel, Data& d) {
    const FusionColumns columns = {
        kOutWidth,     0, kOutWidth, d.first.data(), d.mapColumn.data(), d.fraction.data(),
        d.phase.data()};
    const uint8_t* rows = d.bytes.data();
    const FusionRow row = {{rows, rows + kPitch, rows + 2 * kPitch, rows + 3 * kPitch},
                           d.rows2D.data() + 16 * kPhases,
                           d.mapX.data(),
                           d.mapY.data(),
                           21845,
                           rows,
                           kPitch,
                           kSourceWidth,
                           60,
                           d.rows2D.data(),
                           kPhases};
    kernel(row, columns, 0, kOutWidth, d.outBytes.data());
  });
  add("deghostBlocks", family, &Kernels::deghostBlocks, 4 * kSourceWidth, [](auto kernel, Data& d) {
    // 32 rows of luma and 16 of chroma for each frame.
    static std::vector<uint8_t> own(d.bytes.begin(), d.bytes.begin() + 48 * kSourceWidth);
    const std::ptrdiff_t chroma = std::ptrdiff_t{32} * kSourceWidth;
    const DeghostRow row = {.guideLuma = d.bytes.data(),
                            .guideChroma = d.bytes.data() + chroma,
                            .luma = own.data(),
                            .chroma = own.data() + chroma,
                            .newChroma = d.outBytes.data(),
                            .width = kSourceWidth,
                            .height = 32,
                            .firstRow = 0,
                            .rows = 4,
                            .mapX = d.mapX.data(),
                            .mapY = d.mapY.data(),
                            .weights = d.weights.data()};
    kernel(row, 0, kSourceWidth);
  });
}

void addRegistrationKernels() {
  const RegistrationFunctions& (*family)(CpuSet) = registrationFunctions;
  using Kernels = RegistrationFunctions;
  add("reduceBox4", family, &Kernels::reduceBox4, kSourceWidth, [](auto kernel, Data& d) {
    kernel(d.bytes.data(), kPitch, d.outBytes.data(), kSourceWidth / 4);
  });
  add("integrateRow", family, &Kernels::integrateRow, kSourceWidth,
      [](auto kernel, Data& d) { kernel(d.bytes.data(), d.outValues.data(), kSourceWidth); });
  add("addRow", family, &Kernels::addRow, kSourceWidth,
      [](auto kernel, Data& d) { kernel(d.integral.data(), d.outValues.data(), kSourceWidth); });
  add("hessianRow", family, &Kernels::hessianRow, 1000, [](auto kernel, Data& d) {
    const HessianFilter filter = {15, 1, 5, 3, 9, 2, 5, 40000, 33000};
    kernel(d.integral.data(), 1001, filter, d.outValues.data(), 980);
  });
  add("maximaInRow", family, &Kernels::maximaInRow, 980, [](auto kernel, Data& d) {
    const int32_t* const planes[3] = {d.integral.data() + 2001, d.integral.data() + 12001,
                                      d.integral.data() + 22001};
    benchmark::DoNotOptimize(kernel(planes, 1000, 1 << 19, 980, d.outValues.data()));
  });
  add("reducePatch", family, &Kernels::reducePatch, kPatches * kPatchSide * kPatchSide,
      [](auto kernel, Data& d) {
        uint8_t patch[kPatchBufferSize];
        for (int32_t i = 0; i < kPatches; ++i) {
          kernel(d.bytes.data() + 100 * i, 1000, 1 + i % 3, patch);
          benchmark::DoNotOptimize(patch);
        }
      });
  add("haarSums", family, &Kernels::haarSums, kPatches * 400, [](auto kernel, Data& d) {
    int32_t sums[kValues];
    for (int32_t i = 0; i < kPatches; ++i) {
      kernel(d.bytes.data() + kPatchBufferSize * i, sums);
      benchmark::DoNotOptimize(sums);
    }
  });
  add("descriptorDistance", family, &Kernels::descriptorDistance, kDescriptors * kValues,
      [](auto kernel, Data& d) {
        for (const int32_t* descriptor : d.descriptorRows)
          benchmark::DoNotOptimize(kernel(d.descriptors.data(), descriptor));
      });
  add("descriptorSums", family, &Kernels::descriptorSums, kDescriptors * kValues,
      [](auto kernel, Data& d) {
        kernel(d.descriptorRows.data(), d.indices.data(), kDescriptors, d.outValues.data());
      });
  add("descriptorSpreads", family, &Kernels::descriptorSpreads, kDescriptors * kValues,
      [](auto kernel, Data& d) {
        kernel(d.descriptorRows.data(), d.indices.data(), kDescriptors, d.descriptors.data(),
               d.outValues.data());
      });
  add("firstSmallest", family, &Kernels::firstSmallest, kSourceWidth, [](auto kernel, Data& d) {
    benchmark::DoNotOptimize(kernel(d.integral.data(), kSourceWidth));
  });
  add("positionRow", family, &Kernels::positionRow, kSourceWidth, [](auto kernel, Data& d) {
    kernel(d.homography.data(), 1500, d.outValues.data(), d.outValues.data() + kPitch,
           kSourceWidth);
  });
}

}  // namespace
}  // namespace velmora

int main(int argc, char** argv) {
  velmora::addInterpolationKernels();
  velmora::addRegistrationKernels();
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
