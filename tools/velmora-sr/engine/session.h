// One handle of the library: created for a frame size and scene, used for any number of frames.
#ifndef VELMORA_TOOL_ENGINE_SESSION_H
#define VELMORA_TOOL_ENGINE_SESSION_H

#include <cstdint>
#include <span>
#include <string>

#include "picture.h"
#include "velmora_sr/velmora_sr.h"

namespace velmora::tool {

/// Files that replace the library's built-in tuning; empty names keep it.
struct TuningFiles {
  std::string configuration;
  std::string kernels;
};

/// Throws Failure when a tuning file cannot be read or is no such file. The library itself falls
/// back to its built-in tuning without a word to the user.
void requireUsable(const TuningFiles& files);

/// The library keeps its tables and threads for the whole process: one session at a time.
class Session {
 public:
  /// Throws Failure when the library cannot start.
  Session(Size frame, int32_t scene, const TuningFiles& files);
  ~Session();
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  /// What became of a pair of frames.
  struct Fusion {
    bool fused;     ///< false: the frames did not register, the first one was enlarged alone
    Region region;  ///< the part of the first frame that the output shows
  };

  [[nodiscard]] Size frameSize() const { return frame_; }

  /// Scene 0. Stretches `region` of an NV12 frame onto the whole of an NV12 output of `outputSize`;
  /// both buffers hold width * height * 3 / 2 bytes. The region is at least 100 x 100 pixels.
  /// Throws Failure when the library could not do it.
  void enlarge(std::span<uint8_t> frame, Region region, Size outputSize, std::span<uint8_t> output);

  /// Scenes 1 and 2. Like enlarge(), from two frames: the library narrows the region to what both
  /// show and to even bounds. `first` is changed where de-ghosting replaces samples. An output of
  /// the frame's size is a copy of `first`. Throws Failure when the library could not do it.
  Fusion fuse(std::span<uint8_t> first, std::span<uint8_t> second, Region region, Size outputSize,
              std::span<uint8_t> output);

 private:
  /// One call of the library; throws Failure when it runs out of memory or refuses the frame.
  void process(Velmora_SR_InputFrames& input, Region region, Velmora_SR_OutputFrame& output);

  Size frame_;
  int32_t scene_;
  SR_ParamsPublic* handle_ = nullptr;
};

/// Smallest distance of a region's last column or row from its first that the library accepts.
inline constexpr int kMinRegionSpan = 99;

/// The text of the "Version" line that the running library logs; throws Failure when it says none.
std::string libraryVersion();

/// Throws Failure when the library that runs is not the one the tool was built with.
void requireMatchingLibrary();

}  // namespace velmora::tool

#endif  // VELMORA_TOOL_ENGINE_SESSION_H
