// The library's calls for two camera frames over a clip: each frame fused with the one that
// follows.
#ifndef VELMORA_TOOL_ENGINE_CAMERA_CLIP_H
#define VELMORA_TOOL_ENGINE_CAMERA_CLIP_H

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "engine/clip_maker.h"
#include "engine/enlarger.h"
#include "engine/pair_fuser.h"

namespace velmora::tool {

/// Whether frames are large enough to be registered.
bool canRegister(Size frame);

struct CameraClipSettings {
  Size frame;
  Region region;  ///< that every frame shows; its bounds are even
  Size output;
  Tuning tuning;
  std::optional<GhostThresholds> ghost;  ///< in the place of those in the tuning
  bool measureNoise = false;             ///< and set them above the noise of each pair
};

/// Fuses every frame with the one that follows, the last one with the one before. A frame that
/// cannot be fused is enlarged alone. Three frames are held.
class CameraClip final : public ClipMaker {
 public:
  /// `clip` is the file that verdicts name.
  CameraClip(const CameraClipSettings& settings, std::string clip);

  [[nodiscard]] long before() const override { return 1; }
  [[nodiscard]] long behind() const override { return 1; }
  bool skip(ClipSource& frames) override { return advance(frames); }
  bool make(ClipSource& frames, Picture& result) override;
  [[nodiscard]] const std::vector<FrameVerdict>& verdicts() const override { return verdicts_; }
  [[nodiscard]] std::optional<double> noise() const override { return {}; }
  /// "4 of 5 frames fused, de-ghosting replaced 0.3 %; enlarged alone: frame 3 (...)"
  [[nodiscard]] std::string summary() const override;

 private:
  struct Reason {
    long first;
    long count;
  };
  // The reasons are a handful of texts, so this stays small.
  using Reasons = std::map<std::string, Reason>;

  bool advance(ClipSource& frames);
  [[nodiscard]] bool isSingle() const { return !more_ && number_ == 1; }
  const Picture& neighbour() { return more_ ? behindIt_ : beforeIt_; }
  FusionResult fuse();
  void enlarge(Picture& result);
  void note(const FusionResult& result);
  void count(Reasons& reasons, const std::string& reason) const;

  CameraClipSettings settings_;
  FusionRequest request_;
  std::string clip_;
  std::optional<Enlarger> alone_;

  Picture beforeIt_;
  Picture current_;
  Picture behindIt_;
  long number_ = 0;  // of the current frame; 0 before the first one
  bool more_ = true;
  std::optional<double> noise_;        // of the current frame, if measured
  std::optional<double> behindNoise_;  // and of the next
  std::vector<FrameVerdict> verdicts_;

  long fused_ = 0;
  long single_ = 0;
  double replaced_ = 0;
  Reasons reasons_;
  Reasons doubts_;
};

}  // namespace velmora::tool

#endif  // VELMORA_TOOL_ENGINE_CAMERA_CLIP_H
