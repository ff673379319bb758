// Where output samples come from: the grid of an axis, the phase tables, the shape of a plane.
#ifndef VELMORA_SRC_INTERPOLATION_SAMPLING_H
#define VELMORA_SRC_INTERPOLATION_SAMPLING_H

#include <algorithm>
#include <cstdint>

#include "interpolation/phase.h"
#include "velmora_sr/kernel_tables.h"
#include "velmora_sr/velmora_sr.h"

namespace velmora {

/// The taps of one dimension: samples i - 1 .. i + 2 around source position i.
inline constexpr int32_t kTaps = 4;
/// Values in a row of the 2D table: 4 x 4 taps and their sum.
inline constexpr int32_t kTapSum = kTaps * kTaps;
/// Where the first tap of source position 0 lies in a padded plane. It belongs to a border of 2.
inline constexpr int32_t kFirstTap = 1;
/// More samples than this along one side do not fit the blocks of a process call anyway.
inline constexpr int32_t kMaxSide = 1 << 28;

/// Source positions of the output samples along one axis, 16.16. The first output sample lands on
/// `start`, the last on `end`, less the truncation of the step.
class AxisGrid {
 public:
  /// An axis of fewer than two output samples stays at its start. The arithmetic is 64 bits wide:
  /// no region and no size overflows it.
  AxisGrid(int32_t start, int32_t end, int32_t outSize)
      : start_(start),
        step_(outSize < 2 ? 0
                          : static_cast<int64_t>((static_cast<double>(end) - start) * 65536.0 /
                                                 (static_cast<double>(outSize) - 1))) {}

  /// Whole source sample under output sample k.
  [[nodiscard]] int64_t sample(int32_t k) const { return start_ + ((k * step_) >> 16); }
  /// Fraction of the position, 0..65535.
  [[nodiscard]] int32_t fraction(int32_t k) const {
    return static_cast<int32_t>((k * step_) & 0xFFFF);
  }

 private:
  int64_t start_;
  int64_t step_;
};

/// One of the installed tables, as consumers index it.
struct PhaseTable {
  const int16_t* const* rows;
  int32_t phases;

  /// False before the tables are installed, and after a kernel file without a phase count.
  [[nodiscard]] bool installed() const {
    return rows != nullptr && phases >= 1 && phases <= kMaxKernelPhases;
  }
  /// Phase of a fraction 0..65535.
  [[nodiscard]] int32_t phase(int32_t fraction) const { return kernelPhase(fraction, phases); }
};

inline PhaseTable plainTable() {
  return {Lanczos1D_4_2_Fix, G_QUANTIZATION};
}
inline PhaseTable sharpTable() {
  return {Lanczos1D_4_2_Fix_sharp, G_QUANTIZATION};
}
/// Rows [vertical phase * phases + horizontal phase].
inline PhaseTable sharpTable2D() {
  return {Lanczos2D_4_2_Fix_Sharp, G_QUANTIZATION};
}

/// One plane on its way to the output grid.
struct PlaneGeometry {
  int32_t pad;         ///< kernel size; the plane's border is pad / 2
  int32_t inW, inH;    ///< image inside the border
  int32_t outW, outH;  ///< output grid
  int32_t x0, y0;      ///< image position of the first output sample
  int32_t x1, y1;      ///< and of the last

  /// The same for the chroma planes of a 4:2:0 image.
  [[nodiscard]] PlaneGeometry halved() const {
    return {pad, inW >> 1, inH >> 1, outW >> 1, outH >> 1, x0 / 2, y0 / 2, x1 / 2, y1 / 2};
  }
  [[nodiscard]] int32_t paddedWidth() const { return inW + pad / 2 * 2; }
  [[nodiscard]] int32_t paddedHeight() const { return inH + pad / 2 * 2; }
  [[nodiscard]] AxisGrid columns() const { return {x0, x1, outW}; }
  [[nodiscard]] AxisGrid rows() const { return {y0, y1, outH}; }

  /// Whether the plane can be sampled at all: four taps fit the padded plane, and no size comes
  /// near the end of 32 bits.
  [[nodiscard]] bool valid() const {
    const auto sane = [](int32_t size) { return size >= 0 && size <= kMaxSide; };
    return pad >= kTaps && pad <= kMaxSide && sane(inW) && sane(inH) && sane(outW) && sane(outH);
  }
};

/// The row pitch of the exported plane functions: vector code stores eight samples at a time.
constexpr int32_t roundedUpTo8(int32_t width) {
  return (width + 7) & ~7;
}

/// The nearest of the samples 0 .. count - 1, count >= 1.
constexpr int32_t clampSample(int64_t index, int32_t count) {
  return static_cast<int32_t>(std::clamp<int64_t>(index, 0, count - 1));
}

}  // namespace velmora

#endif  // VELMORA_SRC_INTERPOLATION_SAMPLING_H
