#include "burst/reconstruction/noise_tables.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "burst/reconstruction/block_spectrum.h"
#include "burst/restoration/low_band.h"

namespace velmora::burst {
namespace {

// Wide enough that no window of a task meets its own repetition.
constexpr int32_t kPeriod = 512;
// Samples that are measured for each table, and the side of the window they are in.
constexpr int32_t kMeasured = 256 * 256;
constexpr int32_t kWindow = 256;
constexpr int32_t kSmallWindow = 128;

// A number without pattern for each sample (a finalizer of 32-bit hashing).
uint32_t scrambled(uint32_t n) {
  n = (n ^ (n >> 16)) * 0x7FEB352Du;
  n = (n ^ (n >> 15)) * 0x846CA68Bu;
  return n ^ (n >> 16);
}

// One in the middle of the grid, as many whole blocks of 16 as it has, or of 8 where there is no
// more. Of large grids five smaller ones, since frames lie apart by another fraction of a sample
// elsewhere: in the middle and half way to each corner.
std::vector<Rect> windowsOf(Size grid) {
  const auto around = [&](int32_t x, int32_t y, int32_t most) {
    const auto axis = [most](int32_t size) {
      return std::min(most, size < 16 ? 8 : size / 16 * 16);
    };
    const int32_t left = x - axis(grid.width) / 2;
    const int32_t top = y - axis(grid.height) / 2;
    return Rect{left, top, left + axis(grid.width), top + axis(grid.height)};
  };
  const int32_t x = grid.width / 2;
  const int32_t y = grid.height / 2;
  if (std::min(grid.width, grid.height) < 4 * kSmallWindow) return {around(x, y, kWindow)};
  std::vector<Rect> windows = {around(x, y, kSmallWindow)};
  for (const int32_t h : {x / 2, grid.width - x / 2})
    for (const int32_t v : {y / 2, grid.height - y / 2})
      windows.push_back(around(h, v, kSmallWindow));
  return windows;
}

// The job with noise for frames.
PlaneJob noiseJob(const PlaneJob& job, int32_t frames, Plane<const int16_t> noise, int32_t round) {
  PlaneJob result = job;
  result.frames = frames;
  for (int32_t k = 0; k < frames; ++k) {
    JobFrame& frame = result.frame[static_cast<std::size_t>(k)];
    frame.weights = {};
    // Shifted copies far enough apart count as independent.
    frame.source = {{}, nullptr, noise, true, 61 * (kMostFrames * round + k)};
  }
  return result;
}

// The spectrum of a window, and those of its parts: turned frames lie apart by another fraction of
// a sample in each.
class WindowSpectrum {
 public:
  // The samples of a window whose parts are counted from `i` on; returns the number behind them.
  std::size_t add(Plane<const int16_t> samples, std::size_t i) {
    for (int32_t top = 0; top < samples.size.height; top += kPart) {
      for (int32_t left = 0; left < samples.size.width; left += kPart) {
        if (i == parts_.size()) parts_.emplace_back();
        parts_[i++].add({samples.row(top) + left,
                         samples.pitch,
                         {std::min(kPart, samples.size.width - left),
                          std::min(kPart, samples.size.height - top)}});
      }
    }
    of16_.add(samples);
    cells_.resize(static_cast<std::size_t>(samples.size.width) *
                  static_cast<std::size_t>(samples.size.height));
    const Size count = cellsOf(samples.size);
    const Plane<int16_t> cells = {cells_.data(), count.width, count};
    meansOfCells({samples}, {0, 0, count.width, count.height}, {cells});
    low_.add(cells);
    return i;
  }

  // In units of `unit`. Where no block of 16 fits, coefficients of 8 stand in for those of 16.
  [[nodiscard]] CoefficientNoise noise(double unit) const {
    BlockSpectrum<8> of8;
    for (const BlockSpectrum<8>& part : parts_)
      of8.add(part);
    CoefficientNoise noise;
    for (std::size_t i = 0; i < noise.low.size() && low_.blocks() > 0; ++i)
      noise.low[i] = static_cast<float>(low_.rootMeanSquare(i % 8, i / 8) / unit);
    for (std::size_t v = 0; v < 8; ++v) {
      for (std::size_t u = 0; u < 8; ++u) {
        const double factor = unevenness(of8, u, v) / unit;
        noise.of8[8 * v + u] = static_cast<float>(of8.rootMeanSquare(u, v) * factor);
        for (const std::size_t i : {16 * 2 * v + 2 * u, 16 * 2 * v + 2 * u + 1,
                                    16 * (2 * v + 1) + 2 * u, 16 * (2 * v + 1) + 2 * u + 1}) {
          const double value =
              of16_.blocks() > 0 ? of16_.rootMeanSquare(i % 16, i / 16) : of8.rootMeanSquare(u, v);
          noise.of16[i] = static_cast<float>(value * factor);
        }
      }
    }
    return noise;
  }

 private:
  static constexpr int32_t kPart = 64;

  // By how much a coefficient is stronger in the strongest quarter of the parts than in all: where
  // frames happen to lie on the same samples, nothing damps stripes of two samples' width, and what
  // the mean lets through there can be seen.
  [[nodiscard]] double unevenness(const BlockSpectrum<8>& all, std::size_t u, std::size_t v) const {
    constexpr std::size_t kFewest = 8;
    if (parts_.size() < kFewest) return 1;
    std::vector<double> powers;
    double blocks = 0;
    for (const BlockSpectrum<8>& part : parts_) {
      if (part.blocks() == 0) continue;
      const double value = part.rootMeanSquare(u, v);
      powers.push_back(value * value);
      blocks = static_cast<double>(part.blocks());
    }
    std::sort(powers.begin(), powers.end());
    const std::size_t quarter = (powers.size() + 3) / 4;
    double strongest = 0;
    for (std::size_t i = powers.size() - quarter; i < powers.size(); ++i)
      strongest += powers[i] / static_cast<double>(quarter);
    // The strongest quarter of equally strong parts, of which each is the mean of so many squares,
    // lies above their mean by 1.27 standard deviations.
    const double byChance = 1 + 1.27 * std::sqrt(2 / blocks);
    const double mean = all.rootMeanSquare(u, v);
    return mean == 0 ? 1 : std::max(1.0, std::sqrt(strongest / byChance) / mean);
  }

  std::vector<BlockSpectrum<8>> parts_;
  BlockSpectrum<16> of16_;
  BlockSpectrum<8> low_;
  std::vector<int16_t> cells_;
};

// What sharpening does to the standard deviation of white noise. What is measured on frames has
// been through it.
double gainOfSharpening(int32_t sharpened) {
  const double a = sharpened / 1024.0;
  const double middle = 1 + a * 12 / 16;
  const double beside = a * 2 / 16;
  const double corner = a / 16;
  return std::sqrt(middle * middle + 4 * beside * beside + 4 * corner * corner);
}

}  // namespace

PlaneBuffer<int16_t> pseudoNoise(Memory& memory, int32_t sharpened) {
  // Uniform: 2^16 levels have a standard deviation of 2^16 / sqrt(12), about 18918.6.
  constexpr int32_t kToScale = 3547;  // 2^16 * kNoiseScale / 18918.6
  PlaneBuffer<int16_t> noise(memory, {kPeriod, kPeriod});
  uint32_t index = 0;
  for (int32_t y = 0; y < kPeriod; ++y) {
    for (int32_t x = 0; x < kPeriod; ++x) {
      const auto level = static_cast<int32_t>(scrambled(index++) >> 16) - (1 << 15);
      noise.plane().row(y)[x] = static_cast<int16_t>((level * kToScale + (1 << 15)) >> 16);
    }
  }
  if (sharpened == 0) return noise;
  PlaneBuffer<int16_t> result(memory, {kPeriod, kPeriod});
  for (int32_t y = 0; y < kPeriod; ++y) {
    const auto row = [&](int32_t v) { return noise.plane().row((y + v) & (kPeriod - 1)); };
    for (int32_t x = 0; x < kPeriod; ++x) {
      const auto column = [&](int32_t h) {
        const int32_t i = (x + h) & (kPeriod - 1);
        return row(-1)[i] + 2 * row(0)[i] + row(1)[i];
      };
      const int32_t level = row(0)[x];
      const int32_t blurred = column(-1) + 2 * column(0) + column(1);
      const int32_t added = (sharpened * (16 * level - blurred) + (1 << 13)) >> 14;
      result.plane().row(y)[x] = static_cast<int16_t>(level + added);
    }
  }
  return result;
}

void measureNoise(Memory& memory, Workers& workers, std::span<const NoiseTask> tasks,
                  double progressWeight) {
  struct Part {
    const NoiseTask* task;
    int32_t frames;
    PlaneBuffer<int16_t>* noise;
  };
  std::vector<PlaneBuffer<int16_t>> noise;
  noise.reserve(tasks.size());
  std::vector<Part> parts;
  TileSizes largest;
  for (const NoiseTask& task : tasks) {
    const PlaneJob& job = *task.job;
    noise.push_back(pseudoNoise(memory, job.sharpened));
    for (const Rect& window : windowsOf(job.geometry.size()))
      largest.include(tileSizes(job, planTile(job, window)));
    // Parts with the most frames first: they take the longest.
    for (int32_t n = job.frames; n > 0; --n)
      parts.push_back({&task, n, &noise.back()});
  }
  std::vector<TileSums> scratch;
  scratch.reserve(static_cast<std::size_t>(workers.count()));
  for (int32_t i = 0; i < workers.count(); ++i)
    scratch.emplace_back(memory, largest);
  workers.run(static_cast<int32_t>(parts.size()), progressWeight, [&](int32_t i, int32_t worker) {
    const Part& part = parts[static_cast<std::size_t>(i)];
    const std::vector<Rect> windows = windowsOf(part.task->job->geometry.size());
    const auto count = static_cast<int32_t>(windows.size());
    const int32_t rounds = kMeasured / (windows[0].width() * windows[0].height() * count);
    WindowSpectrum spectrum;
    for (int32_t round = 0; round < std::max(1, rounds); ++round) {
      const PlaneJob job = noiseJob(*part.task->job, part.frames, part.noise->plane(), round);
      std::size_t first = 0;
      for (const Rect& window : windows) {
        const TileSums::Result result =
            scratch[static_cast<std::size_t>(worker)].run(job, planTile(job, window));
        first = spectrum.add(result.samples, first);
      }
    }
    (*part.task->tables)[static_cast<std::size_t>(part.frames - 1)] =
        spectrum.noise(kNoiseScale * gainOfSharpening(part.task->job->sharpened));
  });
}

CoefficientNoise scaled(const CoefficientNoise& unit, double sigma) {
  CoefficientNoise result = unit;
  for (float& value : result.of8)
    value = static_cast<float>(value * sigma);
  for (float& value : result.of16)
    value = static_cast<float>(value * sigma);
  for (float& value : result.low)
    value = static_cast<float>(value * sigma);
  return result;
}

}  // namespace velmora::burst
