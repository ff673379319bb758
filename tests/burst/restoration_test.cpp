#include "burst/restoration/restoration.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <numbers>
#include <vector>

#include "burst/restoration/basis.h"
#include "burst/restoration/frame_noise.h"
#include "burst/workers_for_tests.h"
#include "support/digest.h"

namespace velmora::burst {
namespace {

using test::memory;
using test::Random;
using Values = std::vector<double>;

double basis(int size, int k, int i) {
  return std::sqrt((k == 0 ? 1.0 : 2.0) / size) *
         std::cos(std::numbers::pi * (2 * i + 1) * k / (2 * size));
}

double normal(Random& random) {
  const double radius = std::sqrt(-2 * std::log(1 - random.unit()));
  return radius * std::cos(2 * std::numbers::pi * random.unit());
}

/// A plane of samples with five fraction bits.
struct Picture {
  explicit Picture(Size s) : size(s), samples(static_cast<std::size_t>(s.width * s.height)) {}
  int16_t& at(int x, int y) { return samples[static_cast<std::size_t>(y * size.width + x)]; }
  Plane<int16_t> plane() { return {samples.data(), size.width, size}; }
  Size size;
  std::vector<int16_t> samples;
};

double clean(int x, int y) {
  return 120 + 50 * std::sin(x * 0.13) + 30 * std::cos(y * 0.21 + x * 0.05);
}

Picture noisy(Size size, double sigma, uint64_t seed) {
  Picture picture(size);
  Random random(seed);
  for (int y = 0; y < size.height; ++y) {
    for (int x = 0; x < size.width; ++x)
      picture.at(x, y) =
          static_cast<int16_t>(std::lround(32 * (clean(x, y) + sigma * normal(random))));
  }
  return picture;
}

// More noise in low frequencies than in high ones; half of it where two frames were added up.
RestorationPlan planOf(int kind, double sigma) {
  RestorationPlan plan;
  plan.fast = kind == 1;
  plan.wiener16 = kind == 2;
  plan.fine = kind == 3;
  plan.frames = 2;
  for (int n = 0; n < 2; ++n) {
    auto& noise = plan.noise[static_cast<std::size_t>(n)];
    for (std::size_t i = 0; i < 64; ++i) {
      noise.of8[i] = static_cast<float>(sigma / (n + 1) * (1.2 - 0.05 * double(i / 8 + i % 8)));
      noise.low[i] = noise.of8[i] / 3;
    }
    for (std::size_t i = 0; i < 256; ++i)
      noise.of16[i] = static_cast<float>(sigma / (n + 1) * (1.2 - 0.025 * double(i / 16 + i % 16)));
  }
  return plan;
}

std::vector<uint8_t> framesOf(Size size) {
  std::vector<uint8_t> frames;
  for (int i = 0; i < size.width * size.height; ++i)
    frames.push_back(i % size.width * 3 > size.width && i / size.width % 16 < 12 ? 2 : 1);
  return frames;
}

Picture restored(Picture& picture, std::vector<uint8_t>& frames, const RestorationPlan& plan) {
  Picture out(picture.size);
  const Size size = picture.size;
  Restorer(memory(), plan, size)
      .run({picture.plane(),
            {frames.data(), size.width, size},
            0,
            0,
            size,
            {0, 0, size.width, size.height}},
           out.plane());
  return out;
}

/// One pass, plainly: every block transformed by itself, in double precision.
Values passOf(const Values& noise, const Values* pilot, Size size, int block, int stride,
              const std::vector<uint8_t>& frames, const RestorationPlan& plan, bool low = false) {
  const auto index = [&](int x, int y) { return static_cast<std::size_t>(y * size.width + x); };
  const auto transformed = [&](const Values& from, int left, int top) {
    Values rows(static_cast<std::size_t>(block * block)), all = rows;
    for (int i = 0; i < block * block * block; ++i)
      rows[static_cast<std::size_t>(i / block)] +=
          basis(block, i / block % block, i % block) *
          from[index(left + i % block, top + i / block / block)];
    for (int i = 0; i < block * block * block; ++i)
      all[static_cast<std::size_t>(i / block)] +=
          basis(block, i / block / block, i % block) *
          rows[static_cast<std::size_t>(i % block * block + i / block % block)];
    return all;
  };
  Values sums(noise.size()), weights(noise.size());
  const auto starts = [&](int length) {
    std::vector<int> all;
    for (int at = 0; at <= length - block; at += stride)
      all.push_back(at);
    if (all.back() != length - block) all.push_back(length - block);
    return all;
  };
  for (const int top : starts(size.height)) {
    for (const int left : starts(size.width)) {
      Values coefficients = transformed(noise, left, top);
      const Values guide = pilot ? transformed(*pilot, left, top) : coefficients;
      const auto& table =
          plan.noise[frames[index(left + block / 2, top + block / 2)] - std::size_t{1}];
      double kept = 0;
      for (std::size_t i = 0; i < coefficients.size(); ++i) {
        const double sigma = low ? table.low[i] : block == 8 ? table.of8[i] : table.of16[i];
        const double power = guide[i] * guide[i];
        const double gain = i == 0  ? 1
                            : pilot ? power / (power + sigma * sigma)
                                    : power > 2.6 * 2.6 * sigma * sigma;
        coefficients[i] *= gain;
        kept += gain * gain;
      }
      for (int y = 0; y < block; ++y) {
        for (int x = 0; x < block; ++x) {
          double value = 0;
          for (int i = 0; i < block * block; ++i)
            value += coefficients[static_cast<std::size_t>(i)] * basis(block, i / block, y) *
                     basis(block, i % block, x);
          sums[index(left + x, top + y)] += value / (1 + kept);
          weights[index(left + x, top + y)] += 1 / (1 + kept);
        }
      }
    }
  }
  for (std::size_t i = 0; i < sums.size(); ++i)
    sums[i] /= weights[i];
  return sums;
}

/// Cells of 4 x 4 samples, what small blocks have made of them, and what that lacks.
void addLowBand(const Values& noise, Values& made, Size size, const std::vector<uint8_t>& frames,
                const RestorationPlan& plan) {
  const Size count = {size.width / 4, size.height / 4};
  if (count.width < 8 || count.height < 8) return;
  const auto index = [&](int x, int y) {
    return static_cast<std::size_t>(std::clamp(y, 0, count.height - 1) * count.width +
                                    std::clamp(x, 0, count.width - 1));
  };
  const std::size_t cells = static_cast<std::size_t>(count.width * count.height);
  Values noisy(cells), less(cells), smooth(cells);
  std::vector<uint8_t> numbers(cells);
  for (int y = 0; y < 4 * count.height; ++y) {
    for (int x = 0; x < 4 * count.width; ++x) {
      const auto i = static_cast<std::size_t>(y * size.width + x);
      noisy[index(x / 4, y / 4)] += noise[i] / 16;
      less[index(x / 4, y / 4)] += made[i] / 16;
      if (x % 4 == 2 && y % 4 == 2) numbers[index(x / 4, y / 4)] = frames[i];
    }
  }
  Values lacking = passOf(noisy, nullptr, count, 8, 1, numbers, plan, true);
  for (std::size_t i = 0; i < cells; ++i)
    lacking[i] -= less[i];
  for (int i = 0; i < 9 * count.width * count.height; ++i) {
    const int x = i / 9 % count.width, y = i / 9 / count.width, h = i % 3 - 1, v = i / 3 % 3 - 1;
    smooth[index(x, y)] +=
        lacking[index(x + h, y + v)] * (2 - std::abs(h)) * (2 - std::abs(v)) / 16;
  }
  const Values& added = plan.fast ? lacking : smooth;
  for (int i = 0; i < size.width * size.height; ++i) {
    const double x = (i % size.width - 1.5) / 4, y = (i / size.width - 1.5) / 4;
    const int left = int(std::floor(x)), top = int(std::floor(y));
    const double h = x - left, v = y - top;
    made[static_cast<std::size_t>(i)] +=
        (1 - v) * ((1 - h) * added[index(left, top)] + h * added[index(left + 1, top)]) +
        v * ((1 - h) * added[index(left, top + 1)] + h * added[index(left + 1, top + 1)]);
  }
}

Values plainly(const Picture& picture, const std::vector<uint8_t>& frames,
               const RestorationPlan& plan) {
  const Size size = picture.size;
  const bool large = size.width >= 16 && size.height >= 16 && !plan.fast;
  Values noise;
  for (const int16_t sample : picture.samples)
    noise.push_back(sample / 32.0 - 127.5);
  const int stride = plan.fast ? 3 : plan.fine ? 1 : 2;
  Values pilot = passOf(noise, nullptr, size, 8, stride, frames, plan);
  if (large) {
    const Values other = passOf(noise, nullptr, size, 16, 2 * stride, frames, plan);
    for (std::size_t i = 0; i < pilot.size(); ++i)
      pilot[i] = (pilot[i] + other[i]) / 2;
  }
  Values made = large && plan.wiener16 ? passOf(noise, &pilot, size, 16, 2 * stride, frames, plan)
                                       : passOf(noise, &pilot, size, 8, stride, frames, plan);
  if (!plan.fine) addLowBand(noise, made, size, frames, plan);
  return made;
}

TEST(Restoration, IsThatOfPlainTransforms) {
  constexpr Size kSizes[] = {{8, 8}, {9, 40}, {16, 17}, {39, 22}, {35, 50}};
  for (const Size size : kSizes) {
    for (int kind = 0; kind < 4; ++kind) {
      const RestorationPlan plan = planOf(kind, 6);
      Picture picture = noisy(size, 6, 3);
      std::vector<uint8_t> frames = framesOf(size);
      const Values expected = plainly(picture, frames, plan);
      const Picture out = restored(picture, frames, plan);
      double squares = 0;
      std::size_t close = 0;
      for (std::size_t i = 0; i < expected.size(); ++i) {
        const double off = out.samples[i] / 32.0 - 127.5 - expected[i];
        squares += off * off;
        close += std::abs(off) < 0.1 ? 1 : 0;
      }
      // Coefficients close to their threshold fall on either side of it, and their blocks differ.
      EXPECT_LT(std::sqrt(squares / double(expected.size())), 0.2)
          << size.width << "x" << size.height << ", plan " << kind;
      EXPECT_GT(close, expected.size() / 2) << size.width << "x" << size.height;
    }
  }
}

// By the factors that were measured, and a little more: a smooth picture, white noise.
TEST(Restoration, TakesNoiseAwayAndKeepsThePicture) {
  constexpr double kLeft[][4] = {{0.39, 0.44, 0.33, 0.37}, {0.28, 0.31, 0.24, 0.27}};
  const Size size = {120, 90};
  for (int kind = 0; kind < 4; ++kind) {
    for (const double sigma : {2.0, 8.0}) {
      RestorationPlan plan = planOf(kind, sigma);
      plan.frames = 1;
      plan.noise[0].of8.fill(static_cast<float>(sigma));
      plan.noise[0].of16.fill(static_cast<float>(sigma));
      plan.noise[0].low.fill(static_cast<float>(sigma / 4));
      Picture picture = noisy(size, sigma, 5);
      std::vector<uint8_t> frames = framesOf(size);
      Picture out = restored(picture, frames, plan);
      double squares = 0;
      for (int y = 0; y < size.height; ++y) {
        for (int x = 0; x < size.width; ++x)
          squares += std::pow(out.at(x, y) / 32.0 - clean(x, y), 2);
      }
      EXPECT_LT(std::sqrt(squares / (size.width * size.height)), kLeft[sigma == 8][kind] * sigma)
          << kind << ", noise " << sigma;
    }
  }
}

// Squares of 16 x 16 samples of white noise are off by a sixteenth of it, half a grey level here.
TEST(Restoration, LeavesNoBlotches) {
  constexpr int kSquare = 16;
  constexpr int kAcross = 12;
  for (int kind = 0; kind < 3; ++kind) {
    RestorationPlan plan = planOf(kind, 8);
    plan.frames = 1;
    plan.noise[0].of8.fill(8);
    plan.noise[0].of16.fill(8);
    plan.noise[0].low.fill(2);
    Picture picture({kSquare * kAcross, kSquare * kAcross});
    Random random(17);
    for (int16_t& sample : picture.samples)
      sample = static_cast<int16_t>(std::lround(32 * (120 + 8 * normal(random))));
    std::vector<uint8_t> frames = framesOf(picture.size);
    Picture out = restored(picture, frames, plan);
    double squares = 0;
    for (int i = 0; i < kAcross * kAcross; ++i) {
      double sum = 0;
      for (int j = 0; j < kSquare * kSquare; ++j) {
        sum += out.at(i % kAcross * kSquare + j % kSquare, i / kAcross * kSquare + j / kSquare);
      }
      squares += std::pow(sum / (32 * kSquare * kSquare) - 120, 2) / (kAcross * kAcross);
    }
    EXPECT_LT(std::sqrt(squares), 0.25) << kind;
  }
}

TEST(Restoration, LeavesPicturesWithoutNoiseAlone) {
  for (int kind = 0; kind < 4; ++kind) {
    Picture picture = noisy({50, 41}, 30, 7);
    std::vector<uint8_t> frames = framesOf(picture.size);
    const Picture out = restored(picture, frames, planOf(kind, 0));
    for (std::size_t i = 0; i < out.samples.size(); ++i)
      ASSERT_NEAR(out.samples[i], picture.samples[i], 8) << i << ", plan " << kind;
  }
}

TEST(Restoration, DoesNotDependOnWindows) {
  const Size size = {117, 82};
  for (int kind = 0; kind < 4; ++kind) {
    const RestorationPlan plan = planOf(kind, 6);
    const int halo = restorationHalo(plan);
    Picture picture = noisy(size, 6, 9);
    std::vector<uint8_t> frames = framesOf(size);
    Picture expected = restored(picture, frames, plan);
    Restorer restorer(memory(), plan, size);
    for (const Rect& wanted :
         {Rect{0, 0, 40, 30}, Rect{40, 30, 104, 62}, Rect{41, 33, 58, 40}, Rect{104, 62, 117, 82},
          Rect{116, 0, 117, 82}, Rect{3, 81, 90, 82}}) {
      const Rect part = {std::max(wanted.left - halo, 0), std::max(wanted.top - halo, 0),
                         std::min(wanted.right + halo, size.width),
                         std::min(wanted.bottom + halo, size.height)};
      Picture window({part.width(), part.height()});  // its own memory: nothing lies around it
      std::vector<uint8_t> windowFrames;
      for (int y = part.top; y < part.bottom; ++y) {
        for (int x = part.left; x < part.right; ++x) {
          window.at(x - part.left, y - part.top) = picture.at(x, y);
          windowFrames.push_back(frames[static_cast<std::size_t>(y * size.width + x)]);
        }
      }
      Picture out({wanted.width(), wanted.height()});
      restorer.run({window.plane(),
                    {windowFrames.data(), part.width(), window.size},
                    part.left,
                    part.top,
                    size,
                    wanted},
                   out.plane());
      for (int y = wanted.top; y < wanted.bottom; ++y) {
        for (int x = wanted.left; x < wanted.right; ++x)
          ASSERT_EQ(out.at(x - wanted.left, y - wanted.top), expected.at(x, y))
              << x << ", " << y << ", plan " << kind;
      }
    }
  }
}

// Pins results bit by bit, for all sets and machines; what good ones are the tests above say.
TEST(Restoration, GivesTheSameBitsEverywhere) {
  constexpr uint32_t kExpected[] = {389302091, 3439681921, 550758083, 4108736977};
  Picture picture({90, 75});
  Random random(13);
  for (int y = 0; y < 75; ++y) {
    for (int x = 0; x < 90; ++x)
      picture.at(x, y) = static_cast<int16_t>(60 * std::abs(x - 40) + 40 * (y % 37) +
                                              random.range(-300, 300) + random.range(-300, 300));
  }
  std::vector<uint8_t> frames = framesOf(picture.size);
  for (int kind = 0; kind < 4; ++kind) {
    test::Digest digest;
    digest.addAll(restored(picture, frames, planOf(kind, 8)).samples);
    EXPECT_EQ(digest.value(), kExpected[kind]) << kind;
  }
}

TEST(FrameNoise, IsMeasuredInQuietPlaces) {
  const Size size = {640, 480};
  for (const double sigma : {1.0, 3.0, 8.0, 15.0}) {
    Random random(11);
    std::vector<uint8_t> samples;
    for (int i = 0; i < size.width * size.height; ++i) {
      const int x = i % size.width;
      const int y = i / size.width;
      double value = 110 + 40 * std::sin(x / 60.0) + y / 12.0 + sigma * normal(random);
      if (x > 430) value += (x / 3 + y / 3) % 2 == 0 ? 40 : -40;
      if (y > 400) value = 400;
      samples.push_back(static_cast<uint8_t>(std::lround(std::clamp(value, 0.0, 255.0))));
    }
    const SourcePlane plane = {samples.data(), size.width, 1, size};
    EXPECT_NEAR(measureFrameNoise(memory(), plane), std::hypot(sigma, 0.29), 0.05 * sigma);
    // Means of 2 x 2 have half of the noise and hardly anything of the highest frequencies.
    std::vector<uint8_t> soft = samples;
    for (std::size_t i = 641; i < samples.size(); ++i)
      soft[i] = static_cast<uint8_t>(
          (samples[i] + samples[i - 1] + samples[i - 640] + samples[i - 641] + 2) / 4);
    const SourcePlane softPlane = {soft.data(), size.width, 1, size};
    EXPECT_NEAR(measureFrameNoise(memory(), softPlane), sigma / 2, 0.03 * sigma + 0.15) << sigma;
  }
  const std::vector<uint8_t> white(64 * 64, 255);
  EXPECT_EQ(measureFrameNoise(memory(), {white.data(), 64, 1, {64, 64}}), 0);
  EXPECT_EQ(measureFrameNoise(memory(), {white.data(), 16, 1, {16, 16}}), 0);
}

// Rounds the coefficients of blocks of 8 x 8 to steps that grow with the frequency, as JPEG does.
void compress(std::vector<double>& samples, Size size, double step) {
  using Block = std::array<std::array<double, 8>, 8>;
  Block waves;
  for (int i = 0; i < 64; ++i)
    waves[std::size_t(i / 8)][std::size_t(i % 8)] = basis(8, i / 8, i % 8);
  const auto turned = [&](const Block& from, bool back) {  // transforms columns into rows
    Block to = {};
    for (int i = 0; i < 512; ++i) {
      const auto k = std::size_t(i % 8), x = std::size_t(i / 8 % 8), j = std::size_t(i / 64);
      to[x][k] += from[j][x] * (back ? waves[j][k] : waves[k][j]);
    }
    return to;
  };
  for (int i = 0; i < size.width / 8 * (size.height / 8); ++i) {
    double* const first =
        samples.data() + i / (size.width / 8) * 8 * size.width + i % (size.width / 8) * 8;
    Block block;
    for (int j = 0; j < 64; ++j)
      block[std::size_t(j / 8)][std::size_t(j % 8)] = first[j / 8 * size.width + j % 8];
    block = turned(turned(block, false), false);
    for (int k = 0; k < 64; ++k) {
      double& coefficient = block[std::size_t(k / 8)][std::size_t(k % 8)];
      const double rounding = step * (1 + k % 8 + k / 8);
      coefficient = rounding * std::round(coefficient / rounding);
    }
    block = turned(turned(block, true), true);
    for (int j = 0; j < 64; ++j)
      first[j / 8 * size.width + j % 8] = block[std::size_t(j / 8)][std::size_t(j % 8)];
  }
}

// Smooth on the left, waves of all lengths on the right.
TEST(FrameNoise, IsFoundInCompressedFramesAndNotInTheirTexture) {
  const Size size = {400, 240};
  std::vector<double> scene;
  for (int i = 0; i < size.width * size.height; ++i) {
    const int x = i % size.width, y = i / size.width;
    double value = 120 + 30 * std::sin(x / 90.0);
    for (int wave = 1; x > size.width / 4 && wave < 40; ++wave)
      value += 40.0 / wave * std::sin(0.06 * wave * (x * std::cos(wave) + y * std::sin(wave)));
    scene.push_back(value);
  }
  constexpr double kNoiseAndStep[][2] = {{0, 1}, {0, 4}, {4, 1}, {8, 2}, {15, 2}, {15, 4}};
  for (const auto& [sigma, step] : kNoiseAndStep) {
    Random random(19);
    std::vector<double> values;
    for (const double value : scene)
      values.push_back(value + sigma * normal(random));
    compress(values, size, step);
    std::vector<uint8_t> samples;
    for (const double value : values)
      samples.push_back(static_cast<uint8_t>(std::lround(std::clamp(value, 0.0, 255.0))));
    const double noise = measureFrameNoise(memory(), {samples.data(), size.width, 1, size});
    EXPECT_GE(noise, 0.9 * sigma) << sigma << ", step " << step;
    EXPECT_LE(noise, 1.3 * sigma + 1.5) << sigma << ", step " << step;
  }
}

}  // namespace
}  // namespace velmora::burst
