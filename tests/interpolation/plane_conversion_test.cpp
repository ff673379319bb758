#include "velmora_sr/plane_conversion.h"

#include <gtest/gtest.h>

#include <vector>

#include "support/random.h"

namespace {

using velmora::test::Random;
using Bytes = std::vector<uint8_t>;

constexpr uint8_t kUntouched = 0xE1;
constexpr int kRows = 11;
constexpr int kBorder = 2;
// Around the blocks of 8 and 16 that vector code works in.
constexpr int kWidths[] = {1, 2, 7, 8, 9, 15, 16, 17, 31, 32, 33, 67};
// Bands that cover all rows, an empty one among them.
constexpr int kBandStarts[] = {0, 2, 2, 5, kRows};

std::size_t at(int row, int pitch, int column) {
  return static_cast<std::size_t>(row * pitch + column);
}

/// A padded plane whose every sample is unwritten.
Bytes untouchedPlane(int width) {
  return Bytes(at(kRows + 2 * kBorder, width + 2 * kBorder, 0), kUntouched);
}

uint8_t* interior(Bytes& plane, int width) {
  return &plane[at(kBorder, width + 2 * kBorder, kBorder)];
}

/// The padded plane whose interior holds sample (row, column) = from[row][offset + step * column],
/// rows of `from` having `step * width` bytes, and whose border is unwritten.
Bytes expectedPlane(const Bytes& from, int width, int step, int offset) {
  Bytes plane = untouchedPlane(width);
  for (int row = 0; row < kRows; ++row) {
    for (int column = 0; column < width; ++column)
      plane[at(kBorder + row, width + 2 * kBorder, kBorder + column)] =
          from[at(row, step * width, step * column + offset)];
  }
  return plane;
}

TEST(PlaneConversion, CopiesLumaOfTwoFramesBandByBand) {
  Random random(2);
  for (const int width : kWidths) {
    const Bytes source1 = random.bytes(at(kRows, width, 0));
    const Bytes source2 = random.bytes(at(kRows, width, 0));
    Bytes plane1 = untouchedPlane(width);
    Bytes plane2 = untouchedPlane(width);
    for (int i = 0; i < 4; ++i) {
      const int first = kBandStarts[i];
      SR_LumaCopyBand band = {interior(plane1, width),
                              interior(plane2, width),
                              source1.data() + at(first, width, 0),
                              source2.data() + at(first, width, 0),
                              width,
                              width + 2 * kBorder,
                              first,
                              kBandStarts[i + 1]};
      YNV12TO420EdgeMirror_ThreadFunc(&band, i);
    }
    EXPECT_EQ(plane1, expectedPlane(source1, width, 1, 0)) << width;
    EXPECT_EQ(plane2, expectedPlane(source2, width, 1, 0)) << width;
  }
}

TEST(PlaneConversion, SplitsChromaOfTwoFramesBandByBand) {
  Random random(3);
  for (const int width : kWidths) {
    const Bytes source1 = random.bytes(at(kRows, 2 * width, 0));
    const Bytes source2 = random.bytes(at(kRows, 2 * width, 0));
    Bytes u1 = untouchedPlane(width);
    Bytes v1 = u1;
    Bytes u2 = u1;
    Bytes v2 = u1;
    for (int i = 0; i < 4; ++i) {
      const int first = kBandStarts[i];
      SR_ChromaSplitBand band = {interior(u1, width),
                                 interior(v1, width),
                                 interior(u2, width),
                                 interior(v2, width),
                                 source1.data() + at(first, 2 * width, 0),
                                 source2.data() + at(first, 2 * width, 0),
                                 width,
                                 width + 2 * kBorder,
                                 first,
                                 kBandStarts[i + 1]};
      UVNV12TO420EdgeMirror_ThreadFunc(&band, i);
    }
    EXPECT_EQ(u1, expectedPlane(source1, width, 2, 0)) << width;
    EXPECT_EQ(v1, expectedPlane(source1, width, 2, 1)) << width;
    EXPECT_EQ(u2, expectedPlane(source2, width, 2, 0)) << width;
    EXPECT_EQ(v2, expectedPlane(source2, width, 2, 1)) << width;
  }
}

TEST(PlaneConversion, DoesWithoutASecondFrame) {
  constexpr int kWidth = 19;
  Random random(4);
  const Bytes luma = random.bytes(at(kRows, kWidth, 0));
  const Bytes pairs = random.bytes(at(kRows, 2 * kWidth, 0));
  Bytes y = untouchedPlane(kWidth);
  Bytes u = y;
  Bytes v = y;
  SR_LumaCopyBand copy = {interior(y, kWidth),  nullptr, luma.data(), nullptr, kWidth,
                          kWidth + 2 * kBorder, 0,       kRows};
  YNV12TO420EdgeMirror_ThreadFunc(&copy, 0);
  SR_ChromaSplitBand split = {interior(u, kWidth),
                              interior(v, kWidth),
                              nullptr,
                              nullptr,
                              pairs.data(),
                              nullptr,
                              kWidth,
                              kWidth + 2 * kBorder,
                              0,
                              kRows};
  UVNV12TO420EdgeMirror_ThreadFunc(&split, 0);
  EXPECT_EQ(y, expectedPlane(luma, kWidth, 1, 0));
  EXPECT_EQ(u, expectedPlane(pairs, kWidth, 2, 0));
  EXPECT_EQ(v, expectedPlane(pairs, kWidth, 2, 1));
}

TEST(PlaneConversion, MergesChromaBandByBand) {
  Random random(5);
  for (const int width : kWidths) {
    const Bytes u = random.bytes(at(kRows, width, 0));
    const Bytes v = random.bytes(at(kRows, width, 0));
    Bytes pairs(at(kRows, 2 * width, 0) + 8, kUntouched);
    for (int i = 0; i < 4; ++i) {
      const int first = kBandStarts[i];
      SR_ChromaMergeBand band = {u.data() + at(first, width, 0),
                                 v.data() + at(first, width, 0),
                                 pairs.data() + at(first, 2 * width, 0),
                                 width,
                                 first,
                                 kBandStarts[i + 1]};
      UVNV12TO420_ThreadFunc(&band, i);
    }
    Bytes expected(pairs.size(), kUntouched);
    for (std::size_t i = 0; i < u.size(); ++i) {
      expected[2 * i] = u[i];
      expected[2 * i + 1] = v[i];
    }
    EXPECT_EQ(pairs, expected) << width;
  }
}

}  // namespace
