// A plane of a frame as it looks from the reference.
#ifndef VELMORA_SRC_BURST_WEIGHTS_WARPED_PLANE_H
#define VELMORA_SRC_BURST_WEIGHTS_WARPED_PLANE_H

#include "burst/resampling/positions.h"
#include "burst/resampling/samples.h"
#include "burst/resampling/taps.h"
#include "burst/weights/noise_between.h"

namespace velmora::burst {

/// Where the scratch of one worker is: one window of the frame, one row of positions, or those of a
/// small part.
struct WarpScratch {
  Buffer<int16_t> window;
  Buffer<int32_t> x;
  Buffer<int32_t> y;
};

/// Reads a plane of the frame of a pair by Catmull-Rom at the positions of the reference's samples,
/// as bright as the reference.
class WarpedPlane {
 public:
  WarpedPlane(Memory& memory, Workers& workers, const MatchedPair& pair, int32_t plane,
              const WindowTable& windows);

  [[nodiscard]] Size size() const { return reference_.size; }
  [[nodiscard]] const SourcePlane& reference() const { return reference_; }
  [[nodiscard]] const PositionGrid& positions() const { return positions_; }
  /// Samples of the window that a part of the reference needs.
  [[nodiscard]] std::size_t windowSize(const Rect& part) const;

  /// Calls row(y, warped) for the rows of a part, from top to bottom; their positions are in
  /// scratch.
  template <typename Row>
  void rows(const Rect& part, const WarpScratch& scratch, int16_t* warped, const Row& row) const {
    const Rect window = windowOf(part);
    readWindow(window, scratch);
    for (int32_t y = part.top; y < part.bottom; ++y) {
      positions_.row(y, part.left, part.right, scratch.x.data(), scratch.y.data());
      interpolate(window, part.width(), scratch, warped);
      row(y, static_cast<const int16_t*>(warped));
    }
  }
  /// A whole part, row after row, and its positions: for parts of few columns.
  void all(const Rect& part, const WarpScratch& scratch, int16_t* warped) const;
  /// The position of the frame's last sample, six fraction bits.
  [[nodiscard]] int32_t lastX() const { return lastX_; }
  [[nodiscard]] int32_t lastY() const { return lastY_; }
  /// Whether a position lies between the first and the last sample of the frame on both axes.
  [[nodiscard]] bool inside(int32_t x, int32_t y) const {
    return x >= 0 && y >= 0 && x <= lastX_ && y <= lastY_;
  }

 private:
  [[nodiscard]] Rect windowOf(const Rect& part) const;
  void readWindow(const Rect& window, const WarpScratch& scratch) const;
  // At the first `count` positions of the scratch.
  void interpolate(const Rect& window, int32_t count, const WarpScratch& scratch,
                   int16_t* warped) const;

  SourcePlane reference_;
  SourcePlane frame_;
  Levels levels_;
  const WindowTable* windows_;
  PositionGrid positions_;
  int32_t lastX_;
  int32_t lastY_;
};

}  // namespace velmora::burst

#endif  // VELMORA_SRC_BURST_WEIGHTS_WARPED_PLANE_H
