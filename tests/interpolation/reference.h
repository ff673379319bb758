// Plain versions of the interpolation, sample by sample from the formulas: every value is computed
// from the unpadded image through one mirroring access function. They share nothing with the
// library but the kernel tables, which have tests of their own.
#ifndef VELMORA_TESTS_INTERPOLATION_REFERENCE_H
#define VELMORA_TESTS_INTERPOLATION_REFERENCE_H

#include <cstdint>
#include <vector>

namespace velmora::test {

using Bytes = std::vector<uint8_t>;

/// A set of kernel tables that is installed in the library's globals while it lives.
class Kernels {
 public:
  /// Lanczos tables of order 2, plain and sharpened.
  static Kernels lanczos(int phases);
  /// Any 16-bit taps, extremes and zeros among them. No 2D table of more than 64 phases.
  static Kernels random(int phases, uint64_t seed);

  Kernels(Kernels&&) = delete;
  Kernels& operator=(Kernels&&) = delete;
  ~Kernels();

  int phases;
  using Rows = std::vector<std::vector<int16_t>>;
  Rows plain;    // [phase] of 4
  Rows sharp;    // [phase] of 4
  Rows sharp2D;  // [vertical phase * phases + horizontal phase] of 17

 private:
  Kernels(int phaseCount, Rows plainRows, Rows sharpRows, Rows rows2D);
  std::vector<int16_t*> pointers_[3];
};

/// What an axis of the output grid covers in the input.
struct Span {
  int from, to, out;
};

/// The sample of an axis of n at a position outside it: reflected at the edge it lies behind, and
/// held at the opposite edge where the axis is too short for that.
int64_t mirrored(int64_t i, int64_t n);

/// An 8-bit image without padding. One without samples is grey.
struct Image {
  int w, h;
  Bytes data;

  /// The sample at any position: the image is continued by two mirrored samples on each side, and
  /// by the outermost of these beyond.
  int operator()(int64_t y, int64_t x) const;
};

Image randomImage(int w, int h, uint64_t seed);

/// The plane with a border of 2 that the library reads.
Bytes padded(const Image& image);

/// One-frame interpolation of one plane, packed rows.
Bytes interpolated(const Image& image, const std::vector<std::vector<int16_t>>& table, Span columns,
                   Span rows);

/// Where each sample of a first frame lies in the second, 16.16.
struct Maps {
  std::vector<int32_t> x, y;
};

/// Positions (dx, dy) beside their own, 16.16.
Maps shiftedMaps(int w, int h, int dx, int dy);
/// Six fields: in place; leaving the frame on two sides; just outside; anywhere in and around it;
/// any values.
Maps mapsOf(int field, int w, int h);
inline constexpr int kFields = 6;

/// Two-frame luma.
Bytes fused(const Image& first, const Image& second, const Maps& maps, const Kernels& kernels,
            Span columns, Span rows);

}  // namespace velmora::test

#endif  // VELMORA_TESTS_INTERPOLATION_REFERENCE_H
