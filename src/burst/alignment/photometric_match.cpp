#include "burst/alignment/photometric_match.h"

#include <cmath>

namespace velmora::burst {
namespace {

// Rows are left out so that some so many pixels remain.
constexpr int64_t kEnough = 20000;

// What two pictures' samples have in common.
struct Statistics {
  double count = 0;
  double a = 0;  // sums of the reference's samples, the frame's, and of their squares
  double b = 0;
  double aa = 0;
  double bb = 0;
  void add(double sampleA, double sampleB) {
    count += 1;
    a += sampleA;
    b += sampleB;
    aa += sampleA * sampleA;
    bb += sampleB * sampleB;
  }
};

// The pixels of a row that are not masked, without gradients.
class RowPixels {
 public:
  RowPixels(Memory& memory, Size size)
      : size_(size),
        room_(static_cast<std::size_t>(size.width + kPixelGroup)),
        columns_(memory, room_),
        values_(memory, room_),
        zeros_(memory, room_) {
    std::fill(zeros_.data(), zeros_.data() + room_, int16_t{0});
  }
  PixelRow row(const PyramidLevel& level, int32_t y) {
    const int16_t* const samples = level.smooth.plane().row(y);
    const uint8_t* const masked = level.masked.plane().row(y);
    std::size_t count = 0;
    for (int32_t x = 0; x < size_.width; ++x) {
      if ((masked[x] & 1) != 0) continue;
      columns_[count] = static_cast<uint16_t>(x);
      values_[count] = samples[x];
      ++count;
    }
    for (; count % kPixelGroup != 0; ++count) {
      columns_[count] = kNoColumn;
      values_[count] = 0;
    }
    return {columns_.data(),
            values_.data(),
            zeros_.data(),
            zeros_.data(),
            static_cast<int32_t>(count),
            static_cast<float>((size_.width - 1) / 2.0),
            static_cast<float>(2.0 / size_.width)};
  }

 private:
  Size size_;
  std::size_t room_;
  Buffer<uint16_t> columns_;
  Buffer<int16_t> values_;
  Buffer<int16_t> zeros_;
};

}  // namespace

void matchBrightness(Memory& memory, const PyramidLevel& reference, const PyramidLevel& frame,
                     int32_t level, Alignment& alignment) {
  const Size size = reference.smooth.size();
  const auto step =
      static_cast<int32_t>(std::max<int64_t>(1, int64_t{size.width} * size.height / kEnough));
  const auto rows = static_cast<std::size_t>((size.height + step - 1) / step);
  const std::size_t room = rows * static_cast<std::size_t>(size.width + kPixelGroup);
  const Buffer<float> residuals(memory, room);
  const Buffer<float> samples(memory, room);
  const Buffer<float> warped(memory, static_cast<std::size_t>(size.width + kPixelGroup));
  RowPixels pixels(memory, size);
  const Homography homography = atLevel(alignment.homography, level);

  // With gain 1 and bias 0: the residual is the frame's sample less the reference's.
  std::size_t count = 0;
  for (int32_t y = 0; y < size.height; y += step) {
    const PixelRow row = pixels.row(reference, y);
    float* const to = residuals.data() + count;
    alignmentFunctions().residuals(
        row, warpedRow(homography, size, y, frame.smooth.plane(), frame.masked.plane()), to,
        warped.data());
    for (int32_t i = 0; i < row.count; ++i) {
      if (to[i] == kNoResidual) continue;
      residuals[count] = to[i];
      samples[count] = warped[static_cast<std::size_t>(i)];
      ++count;
    }
  }

  double gain = alignment.gain;
  double bias = alignment.bias;
  ResidualBins bins(memory, 1);
  for (int round = 0; round < 4; ++round) {
    // gain * sample + bias - reference, where the reference is the sample less the residual.
    const auto residual = [&](std::size_t i) {
      return static_cast<float>((gain - 1) * static_cast<double>(samples[i]) + bias +
                                static_cast<double>(residuals[i]));
    };
    bins.clear();
    for (std::size_t i = 0; i < count; ++i)
      bins.add(0, residual(i));
    const double limit = std::max(1.5, 4.45 * bins.median());
    Statistics sums;
    for (std::size_t i = 0; i < count; ++i) {
      if (std::fabs(static_cast<double>(residual(i))) >= limit) continue;
      const auto b = static_cast<double>(samples[i]);
      sums.add(b - static_cast<double>(residuals[i]), b);
    }
    const double varianceA = sums.aa * sums.count - sums.a * sums.a;
    const double varianceB = sums.bb * sums.count - sums.b * sums.b;
    if (!(varianceA > 0 && varianceB > 0)) break;
    gain = std::sqrt(varianceA / varianceB);
    bias = (sums.a - gain * sums.b) / sums.count;
  }
  const bool nothing = std::fabs(gain - 1) < 0.006 && std::fabs((gain - 1) * 128 + bias) < 0.5;
  alignment.gain = nothing ? 1 : gain;
  alignment.bias = nothing ? 0 : bias;
}

}  // namespace velmora::burst
