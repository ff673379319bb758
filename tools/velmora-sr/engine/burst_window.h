// The burst stage over a clip: each frame made from those around it.
#ifndef VELMORA_TOOL_ENGINE_BURST_WINDOW_H
#define VELMORA_TOOL_ENGINE_BURST_WINDOW_H

#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "engine/burst_engine.h"
#include "engine/clip_maker.h"

namespace velmora::tool {

/// Makes each frame of a clip from a window around it: as many frames before as behind, one more
/// behind where their number is even, fewer at the ends of the clip. Frames that show something
/// else, as behind a cut, are left out by the burst stage. No more frames than the window has are
/// held.
class BurstWindow final : public ClipMaker {
 public:
  static constexpr int kMostFrames = 7;

  /// `clip` is the file that verdicts name.
  BurstWindow(const BurstSettings& settings, int frames, std::string clip);

  [[nodiscard]] long before() const override { return before_; }
  [[nodiscard]] long behind() const override { return behind_; }
  bool skip(ClipSource& frames) override;
  bool make(ClipSource& frames, Picture& result) override;
  [[nodiscard]] const std::vector<FrameVerdict>& verdicts() const override { return verdicts_; }
  /// Of luma in the last picture, in grey levels.
  [[nodiscard]] std::optional<double> noise() const override { return engine_.report().noise; }

  /// "12 frames, each from 2.7 of 3 on average, 1 cut seen (before frame 7)"
  [[nodiscard]] std::string summary() const override;

 private:
  struct Held {
    Picture picture;
    int32_t id;
    long number;
  };

  bool fill(ClipSource& frames);
  void advance();
  void look();

  BurstEngine engine_;
  std::string clip_;
  long before_;
  long behind_;
  std::deque<Held> held_;  // frames stay where they are while others come and go at the ends
  std::size_t next_ = 0;   // index of the frame that is made next
  bool ended_ = false;
  Picture spare_;
  std::vector<FrameVerdict> verdicts_;

  long pictures_ = 0;
  long used_ = 0;  // frames of all pictures
  long cuts_ = 0;
  long firstCut_ = 0;            // the frame behind it
  bool nextWasLeftOut_ = false;  // of the last picture
};

}  // namespace velmora::tool

#endif  // VELMORA_TOOL_ENGINE_BURST_WINDOW_H
