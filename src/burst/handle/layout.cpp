#include "burst/handle/layout.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <limits>
#include <numeric>

namespace velmora::burst {
namespace {

constexpr const char* kNames[kPlanes] = {"Y", "U", "V"};

/// Where the samples of a plane lie in memory, rows in the order of their addresses.
struct Footprint {
  uint64_t first;  ///< address of the lowest row
  uint64_t pitch;  ///< bytes from row to row
  uint64_t cover;  ///< bytes from the first sample of a row to behind the last
  uint64_t step;
  int32_t rows;

  [[nodiscard]] uint64_t row(int32_t y) const { return first + pitch * static_cast<uint64_t>(y); }
  [[nodiscard]] uint64_t end() const { return row(rows - 1) + cover; }
};

template <typename AnyPlane>
Footprint footprint(const AnyPlane& plane) {
  const bool down = plane.pitch >= 0;
  const auto step = static_cast<uint64_t>(plane.step);
  return {reinterpret_cast<uintptr_t>(plane.row(down ? 0 : plane.size.height - 1)),
          static_cast<uint64_t>(down ? plane.pitch : -plane.pitch),
          step * static_cast<uint64_t>(plane.size.width - 1) + 1, step, plane.size.height};
}

bool shareSamples(const Footprint& a, const Footprint& b) {
  if (a.end() <= b.first || b.end() <= a.first) return false;
  // Rows whose bytes meet share a sample unless they take turns in every common period.
  const uint64_t period = std::gcd(a.step, b.step);
  for (int32_t i = 0, j = 0; i < a.rows && j < b.rows;) {
    const uint64_t rowA = a.row(i);
    const uint64_t rowB = b.row(j);
    const bool meet = rowA < rowB + b.cover && rowB < rowA + a.cover;
    if (meet && (rowA > rowB ? rowA - rowB : rowB - rowA) % period == 0) return true;
    if (rowA + a.cover <= rowB + b.cover) {
      ++i;
    } else {
      ++j;
    }
  }
  return false;
}

template <typename Record, typename Frame>
bool readPlanes(const Record& record, Size luma, Frame& frame, Message& message) {
  const Size chroma = {(luma.width + 1) / 2, (luma.height + 1) / 2};
  const auto step = [](int32_t given) -> std::ptrdiff_t { return given == 0 ? 1 : given; };
  frame.planes[0] = {record.y, record.yStride, step(record.yStep), luma};
  frame.planes[1] = {record.u, record.uStride, step(record.uStep), chroma};
  frame.planes[2] = {record.v, record.vStride, step(record.vStep), chroma};
  for (int32_t i = 0; i < kPlanes; ++i) {
    const auto& plane = frame.planes[i];
    const char* const fault = planeFault(plane.data, plane.pitch, plane.step, plane.size);
    if (fault == nullptr) continue;
    message.set("Plane %s %s.", kNames[i], fault);
    return false;
  }
  return true;
}

}  // namespace

const char* planeFault(const void* data, std::ptrdiff_t stride, std::ptrdiff_t step, Size size) {
  if (data == nullptr) return "is null";
  if (step < 1) return "has a negative step";
  std::ptrdiff_t cover;
  if (__builtin_mul_overflow(step, static_cast<std::ptrdiff_t>(size.width - 1), &cover) ||
      cover == std::numeric_limits<std::ptrdiff_t>::max()) {
    return "has rows longer than memory";
  }
  ++cover;
  // -cover always exists, the other way round the negation could overflow.
  if (stride < cover && stride > -cover) return "has a stride shorter than its rows";
  std::ptrdiff_t down;
  if (__builtin_mul_overflow(stride, static_cast<std::ptrdiff_t>(size.height - 1), &down))
    return "is larger than memory";
  const auto first = reinterpret_cast<uintptr_t>(data);
  const auto length = static_cast<uintptr_t>(cover);
  uintptr_t end;
  if (down < 0) {
    if (first < uintptr_t{0} - static_cast<uintptr_t>(down)) return "begins before memory does";
    if (__builtin_add_overflow(first, length, &end)) return "reaches beyond memory";
    return nullptr;
  }
  if (__builtin_add_overflow(first, static_cast<uintptr_t>(down), &end) ||
      __builtin_add_overflow(end, length, &end)) {
    return "reaches beyond memory";
  }
  return nullptr;
}

bool readFrame(const Velmora_SR_BurstFrame& record, Size luma, SourceFrame& frame,
               Message& message) {
  return readPlanes(record, luma, frame, message);
}

bool readPicture(const Velmora_SR_BurstPicture& record, Size luma, TargetFrame& picture,
                 Message& message) {
  return readPlanes(record, luma, picture, message);
}

bool overlapsItself(const TargetFrame& picture) {
  const auto& planes = picture.planes;
  return shareSamples(footprint(planes[0]), footprint(planes[1])) ||
         shareSamples(footprint(planes[0]), footprint(planes[2])) ||
         shareSamples(footprint(planes[1]), footprint(planes[2]));
}

bool overlaps(const TargetPlane& target, const SourceFrame& frame) {
  return std::any_of(
      std::begin(frame.planes), std::end(frame.planes),
      [&](const SourcePlane& plane) { return shareSamples(footprint(target), footprint(plane)); });
}

}  // namespace velmora::burst
