// The burst stage of the library: frames of one size and scene into larger pictures.
#ifndef VELMORA_TOOL_ENGINE_BURST_ENGINE_H
#define VELMORA_TOOL_ENGINE_BURST_ENGINE_H

#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "picture.h"
#include "velmora_sr/burst.h"
#include "verdict.h"

namespace velmora::tool {

struct BurstSettings {
  Size frame;     ///< of all frames
  Region region;  ///< the part of the reference that the picture shows
  Size output;    ///< of the picture
  bool fast = false;
  std::optional<double> noise;      ///< of luma in grey levels; measured when not given
  std::optional<double> sharpened;  ///< what the camera did; the library's choice when not given
  bool showProgress = false;        ///< of each step, on the status line
  int threads = 0;                  ///< that work at a time; 0 for one for each processor
};

/// One handle of the burst stage. Up to eight frames are held at a time; any of them can be the
/// reference of a picture. A signal to stop ends add() and render() early, with Interrupted; they
/// throw Failure when memory is short.
class BurstEngine {
 public:
  /// Why the burst stage cannot make a picture of these sizes; empty when it can.
  static std::string fault(const BurstSettings& settings);

  /// Throws Failure for settings with a fault(), and when memory is short.
  explicit BurstEngine(const BurstSettings& settings);
  ~BurstEngine();
  BurstEngine(const BurstEngine&) = delete;
  BurstEngine& operator=(const BurstEngine&) = delete;

  /// Takes a frame, which has to stay as and where it is until it is dropped. Returns its number.
  int32_t add(const Picture& frame);
  void drop(int32_t number);

  /// Makes the picture around one of the frames held, from all of them.
  void render(int32_t reference, Picture& picture);

  // Of the last picture.

  /// Without a file and a number.
  [[nodiscard]] FrameVerdict verdict(int32_t number) const;
  [[nodiscard]] Velmora_SR_BurstReport report() const;
  /// How much a frame counted at each of the reference's samples: 255 as much as the reference.
  [[nodiscard]] Plane weights(int32_t number) const;

 private:
  static int32_t onProgress(void* engine, double share);
  /// Throws for a result of the library that is no success.
  void require(int32_t result, const char* job) const;

  BurstSettings settings_;
  std::map<int32_t, const Picture*> frames_;
  const char* step_ = "";  // that is under way, for the status line
  Velmora_SR_Burst* handle_ = nullptr;
};

}  // namespace velmora::tool

#endif  // VELMORA_TOOL_ENGINE_BURST_ENGINE_H
