#include "colour.h"

#include <libyuv.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

namespace velmora::tool {
namespace {

std::array<uint8_t, 256> rangeTable(double scale, double from, double to) {
  std::array<uint8_t, 256> table{};
  for (int i = 0; i < 256; ++i) {
    const double value = std::clamp((i - from) * scale + to, 0.0, 255.0);
    table[static_cast<std::size_t>(i)] = static_cast<uint8_t>(std::lround(value));
  }
  return table;
}

void apply(const std::array<uint8_t, 256>& table, Plane& plane) {
  for (auto& sample : plane.samples)
    sample = table[sample];
}

// libyuv converts between RGB and 4:2:0 through rows that it allocates and does not check. The same
// conversions in two steps, over strips of this many rows (an even number), need no such rows.
constexpr int kStripRows = 64;

/// Row `y` of the picture from a chroma plane of half its size: samples lie between the centres of
/// the four pixels around them, and each pixel takes 9, 3, 3 and 1 sixteenths of the nearest four;
/// the first and the last column their own.
void doubledRow(const Plane& plane, int y, std::span<uint8_t> row) {
  const int near = y / 2;
  const int far = std::clamp(y % 2 == 0 ? near - 1 : near + 1, 0, plane.size.height - 1);
  const uint8_t* a = plane.row(near);
  const uint8_t* b = plane.row(far);
  const int last = plane.size.width - 1;
  const auto edge = [&](int i) { return static_cast<uint8_t>((3 * a[i] + b[i] + 2) >> 2); };
  row[0] = edge(0);
  for (int i = 0; i < last; ++i) {
    const int left = 3 * a[i] + b[i];
    const int right = 3 * a[i + 1] + b[i + 1];
    const std::size_t x = 2 * static_cast<std::size_t>(i) + 1;
    row[x] = static_cast<uint8_t>((3 * left + right + 8) >> 4);
    row[x + 1] = static_cast<uint8_t>((left + 3 * right + 8) >> 4);
  }
  row.back() = edge(last);
}

}  // namespace

Picture fromRgb(Size size, std::span<const uint8_t> rgb) {
  Picture picture(size);
  const int strip = std::min(kStripRows, size.height + size.height % 2);
  const int pitch = size.width * 4;
  std::vector<uint8_t> argb(std::size_t(pitch) * std::size_t(strip));
  for (int row = 0; row < size.height; row += strip) {
    const int rows = std::min(strip, size.height - row);
    libyuv::RAWToARGB(rgb.data() + std::size_t(row) * size.width * 3, size.width * 3, argb.data(),
                      pitch, size.width, rows);
    libyuv::ARGBToJ420(argb.data(), pitch, picture.y.row(row), size.width, picture.u.row(row / 2),
                       picture.u.size.width, picture.v.row(row / 2), picture.v.size.width,
                       size.width, rows);
  }
  return picture;
}

void toRgb(const Picture& picture, int firstRow, int rows, std::span<uint8_t> rgb) {
  const int width = picture.size().width;
  const int strip = std::min(kStripRows, rows);
  std::vector<uint8_t> chroma(2 * std::size_t(width) * std::size_t(strip));
  uint8_t* const u = chroma.data();
  uint8_t* const v = u + std::size_t(width) * std::size_t(strip);
  for (int done = 0; done < rows; done += strip) {
    const int count = std::min(strip, rows - done);
    for (int i = 0; i < count; ++i) {
      doubledRow(picture.u, firstRow + done + i, {u + std::size_t(i) * width, std::size_t(width)});
      doubledRow(picture.v, firstRow + done + i, {v + std::size_t(i) * width, std::size_t(width)});
    }
    // libyuv's RGB24 is B, G, R in memory: swapping U and V with the mirrored matrix gives R, G, B.
    libyuv::I444ToRGB24Matrix(
        picture.y.row(firstRow + done), width, v, width, u, width,
        rgb.data() + std::size_t(done) * width * 3, width * 3,
        picture.range == Range::full ? &libyuv::kYvuJPEGConstants : &libyuv::kYvuI601Constants,
        width, count);
  }
}

void convertRange(Picture& picture, Range wanted) {
  if (picture.range == wanted) return;
  const bool widen = wanted == Range::full;
  apply(widen ? rangeTable(255.0 / 219, 16, 0) : rangeTable(219.0 / 255, 0, 16), picture.y);
  if (!picture.grey) {
    const auto chroma = rangeTable(widen ? 255.0 / 224 : 224.0 / 255, 128, 128);
    apply(chroma, picture.u);
    apply(chroma, picture.v);
  }
  picture.range = wanted;
}

Plane reduced(const Plane& plane, Size wanted) {
  if (plane.size == wanted) return plane;
  Plane result(wanted);
  libyuv::ScalePlane(plane.samples.data(), plane.size.width, plane.size.width, plane.size.height,
                     result.samples.data(), wanted.width, wanted.width, wanted.height,
                     libyuv::kFilterBox);
  return result;
}

void interleaveChroma(const uint8_t* u, const uint8_t* v, int sourcePitch, uint8_t* pairs,
                      int pairPitch, int columns, int rows, ChromaOrder order) {
  if (order == ChromaOrder::vu) std::swap(u, v);
  libyuv::MergeUVPlane(u, sourcePitch, v, sourcePitch, pairs, pairPitch, columns, rows);
}

void splitChroma(const uint8_t* pairs, int pairPitch, uint8_t* u, uint8_t* v, int planePitch,
                 int columns, int rows, ChromaOrder order) {
  if (order == ChromaOrder::vu) std::swap(u, v);
  libyuv::SplitUVPlane(pairs, pairPitch, u, planePitch, v, planePitch, columns, rows);
}

void copyRows(const uint8_t* source, int sourcePitch, uint8_t* target, int targetPitch, int columns,
              int rows) {
  libyuv::CopyPlane(source, sourcePitch, target, targetPitch, columns, rows);
}

}  // namespace velmora::tool
