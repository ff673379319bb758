#include "colour.h"

#include <libyuv.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
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

}  // namespace

Picture fromRgb(Size size, std::span<const uint8_t> rgb) {
  Picture picture(size);
  libyuv::RAWToJ420(rgb.data(), size.width * 3, picture.y.samples.data(), size.width,
                    picture.u.samples.data(), picture.u.size.width, picture.v.samples.data(),
                    picture.v.size.width, size.width, size.height);
  return picture;
}

void toRgb(const Picture& picture, int firstRow, int rows, std::span<uint8_t> rgb) {
  const Size size = picture.size();
  // The chroma of a row depends on the chroma rows above and below its own: convert one pair of
  // rows more on either side, so that only true picture edges are treated as edges.
  const int before = std::min(2, firstRow);
  const int after = std::min(2, size.height - firstRow - rows);
  const int from = firstRow - before;
  const int count = before + rows + after;
  const std::size_t pitch = std::size_t(size.width) * 3;

  std::vector<uint8_t> extended;
  uint8_t* target = rgb.data();
  if (before + after > 0) {
    extended.resize(pitch * std::size_t(count));
    target = extended.data();
  }
  // libyuv's RGB24 is B, G, R in memory: swapping U and V with the mirrored matrix gives R, G, B.
  libyuv::I420ToRGB24MatrixFilter(
      picture.y.row(from), size.width, picture.v.row(from / 2), picture.v.size.width,
      picture.u.row(from / 2), picture.u.size.width, target, size.width * 3,
      picture.range == Range::full ? &libyuv::kYvuJPEGConstants : &libyuv::kYvuI601Constants,
      size.width, count, libyuv::kFilterBilinear);
  if (before + after > 0) {
    std::memcpy(rgb.data(), extended.data() + pitch * std::size_t(before),
                pitch * std::size_t(rows));
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

Plane resizedChroma(const Plane& plane, Size wanted) {
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
