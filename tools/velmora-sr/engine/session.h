// One handle of the library: created for a frame size and scene, used for any number of frames.
#ifndef VELMORA_TOOL_ENGINE_SESSION_H
#define VELMORA_TOOL_ENGINE_SESSION_H

#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "engine/registration.h"
#include "engine/tuning.h"
#include "picture.h"
#include "velmora_sr/velmora_sr.h"

namespace velmora::tool {

/// The library keeps its tables and threads for the whole process: one session at a time.
class Session {
 public:
  /// @param ghost  takes the place of the thresholds of the tuning
  /// Throws Failure when the library cannot start, or not with this tuning.
  Session(Size frame, int32_t scene, const Tuning& tuning,
          const std::optional<GhostThresholds>& ghost = {});
  ~Session();
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  [[nodiscard]] Size frameSize() const { return frame_; }

  /// Scene 0. Stretches `region` of an NV12 frame onto the whole of an NV12 output of `outputSize`;
  /// both buffers hold width * height * 3 / 2 bytes. The region is at least 100 x 100 pixels.
  /// Throws Failure when the library has not done it.
  void enlarge(std::span<uint8_t> frame, Region region, Size outputSize, std::span<uint8_t> output);

  /// Scenes 1 and 2. Registers the second frame to the first, of which the luma is read. A fuse()
  /// of the same buffers that follows does not register again. Throws Failure when the library
  /// could not look at the frames, which differs from a pair that cannot be registered.
  RegistrationReport registerFrames(std::span<const uint8_t> first,
                                    std::span<const uint8_t> second);

  /// Scenes 1 and 2. Like enlarge(), from two frames that register. The region has even bounds and
  /// lies inside what both frames show. `first` is changed where de-ghosting replaces samples.
  /// @param weights  null, or width * height bytes of the frame: 255 where the first frame's
  ///                 sample was kept, 0 where it was replaced
  /// Returns the share, 0..1, of the region's samples that were replaced. Throws Failure unless the
  /// output shows both frames.
  double fuse(std::span<uint8_t> first, std::span<uint8_t> second, Region region, Size outputSize,
              std::span<uint8_t> output, uint8_t* weights);

  /// In force.
  [[nodiscard]] GhostThresholds ghost() const;

 private:
  [[nodiscard]] Velmora_SR_InputFrames frames(const uint8_t* first, const uint8_t* second,
                                              Region region) const;
  /// One call of the library; throws Failure unless the whole output was written and shows the
  /// region.
  Velmora_SR_Report process(Velmora_SR_InputFrames input, Region region, Size outputSize,
                            std::span<uint8_t> output);
  [[nodiscard]] Velmora_SR_Report report() const;

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
