#include "velmora_sr/plane_conversion.h"

#include <gtest/gtest.h>

#include <array>
#include <functional>
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

/// Widths, each with one frame and with two.
void forEachCase(const std::function<void(int width, bool two)>& check) {
  for (const int width : kWidths) {
    for (const bool two : {false, true}) {
      SCOPED_TRACE(testing::Message() << width << (two ? " samples, two frames" : " samples"));
      check(width, two);
    }
  }
}

TEST(PlaneConversion, CopiesLumaBandByBand) {
  Random random(2);
  forEachCase([&](int width, bool two) {
    const Bytes source1 = random.bytes(at(kRows, width, 0));
    const Bytes source2 = random.bytes(at(kRows, width, 0));
    Bytes plane1 = untouchedPlane(width);
    Bytes plane2 = untouchedPlane(width);
    for (int i = 0; i < 4; ++i) {
      const std::size_t offset = at(kBandStarts[i], width, 0);
      SR_LumaCopyBand band = {interior(plane1, width),
                              two ? interior(plane2, width) : nullptr,
                              source1.data() + offset,
                              two ? source2.data() + offset : nullptr,
                              width,
                              width + 2 * kBorder,
                              kBandStarts[i],
                              kBandStarts[i + 1]};
      YNV12TO420EdgeMirror_ThreadFunc(&band, i);
    }
    EXPECT_EQ(plane1, expectedPlane(source1, width, 1, 0));
    EXPECT_EQ(plane2, two ? expectedPlane(source2, width, 1, 0) : untouchedPlane(width));
  });
}

TEST(PlaneConversion, SplitsChromaBandByBand) {
  Random random(3);
  forEachCase([&](int width, bool two) {
    const Bytes source1 = random.bytes(at(kRows, 2 * width, 0));
    const Bytes source2 = random.bytes(at(kRows, 2 * width, 0));
    std::array<Bytes, 4> planes;  // U and V of the first frame, then of the second
    planes.fill(untouchedPlane(width));
    for (int i = 0; i < 4; ++i) {
      const std::size_t offset = at(kBandStarts[i], 2 * width, 0);
      SR_ChromaSplitBand band = {interior(planes[0], width),
                                 interior(planes[1], width),
                                 two ? interior(planes[2], width) : nullptr,
                                 two ? interior(planes[3], width) : nullptr,
                                 source1.data() + offset,
                                 two ? source2.data() + offset : nullptr,
                                 width,
                                 width + 2 * kBorder,
                                 kBandStarts[i],
                                 kBandStarts[i + 1]};
      UVNV12TO420EdgeMirror_ThreadFunc(&band, i);
    }
    for (int byte = 0; byte < 2; ++byte) {
      const auto plane = static_cast<std::size_t>(byte);
      EXPECT_EQ(planes[plane], expectedPlane(source1, width, 2, byte));
      EXPECT_EQ(planes[plane + 2],
                two ? expectedPlane(source2, width, 2, byte) : untouchedPlane(width));
    }
  });
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
