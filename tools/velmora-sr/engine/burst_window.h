// The burst stage over a clip: each frame made from those around it.
#ifndef VELMORA_TOOL_ENGINE_BURST_WINDOW_H
#define VELMORA_TOOL_ENGINE_BURST_WINDOW_H

#include <cstdint>
#include <deque>
#include <string>

#include "engine/burst_engine.h"

namespace velmora::tool {

/// Takes the frames of a clip in their order and makes a picture around each of them, of one
/// geometry, from the frames of a window around it: as many before as behind, one more behind where
/// their number is even, fewer at the ends of the clip. Frames that show something else, as behind
/// a cut, are left out by the burst stage. No more frames than the window has are held.
class BurstWindow {
 public:
  static constexpr int kMostFrames = 7;

  BurstWindow(const BurstSettings& settings, int frames);

  /// Whether the next picture is better made when a further frame has been added.
  [[nodiscard]] bool wantsFrame() const { return next_ + behind_ >= held_.size(); }

  /// Takes over a frame, and leaves memory for another.
  void add(Picture& frame);

  /// Makes the picture around the next frame; false when there is none.
  bool render(Picture& result);

  /// "12 frames, each from 2.7 of 3 on average, 1 cut seen (before frame 7)"
  [[nodiscard]] std::string summary() const;

 private:
  struct Held {
    Picture picture;
    int32_t number;
  };

  void look();
  [[nodiscard]] bool leftOut(std::size_t index) const;

  BurstEngine engine_;
  std::size_t before_;
  std::size_t behind_;
  std::deque<Held> held_;  // frames stay where they are while others come and go at the ends
  std::size_t next_ = 0;   // index of the frame that is made next
  Picture spare_;

  long pictures_ = 0;
  long used_ = 0;  // frames of all pictures
  long cuts_ = 0;
  long firstCut_ = 0;            // counted from 1: the frame behind it
  bool nextWasLeftOut_ = false;  // of the last picture
};

}  // namespace velmora::tool

#endif  // VELMORA_TOOL_ENGINE_BURST_WINDOW_H
