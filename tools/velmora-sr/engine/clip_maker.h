// The frames of a clip, made one after the other.
#ifndef VELMORA_TOOL_ENGINE_CLIP_MAKER_H
#define VELMORA_TOOL_ENGINE_CLIP_MAKER_H

#include <optional>
#include <string>
#include <vector>

#include "picture.h"
#include "verdict.h"

namespace velmora::tool {

/// The frames of a clip, in their order.
class ClipSource {
 public:
  virtual ~ClipSource() = default;
  /// The next frame, in exchange for memory that is used again; false at the end.
  virtual bool next(Picture& picture) = 0;
  /// The number in the clip, from 1, of the frame that was delivered last.
  [[nodiscard]] virtual long number() const = 0;
};

/// Makes larger frames, all of one geometry. What a frame becomes depends on those around it alone,
/// no farther away than `before` and `behind` tell.
class ClipMaker {
 public:
  virtual ~ClipMaker() = default;

  [[nodiscard]] virtual long before() const = 0;
  [[nodiscard]] virtual long behind() const = 0;

  /// Passes the next frame over; false behind the last one.
  virtual bool skip(ClipSource& frames) = 0;
  /// Makes the next frame; false behind the last one.
  virtual bool make(ClipSource& frames, Picture& result) = 0;

  /// What the frame that was made last was made of.
  [[nodiscard]] virtual const std::vector<FrameVerdict>& verdicts() const = 0;
  /// Of its luma in grey levels, where that is known.
  [[nodiscard]] virtual std::optional<double> noise() const = 0;
  /// What all frames were made of, for the status line.
  [[nodiscard]] virtual std::string summary() const = 0;
};

}  // namespace velmora::tool

#endif  // VELMORA_TOOL_ENGINE_CLIP_MAKER_H
