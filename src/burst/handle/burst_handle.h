// What a handle holds: frames, what is known about pairs of them, and what the last picture made of
// them.
#ifndef VELMORA_SRC_BURST_HANDLE_BURST_HANDLE_H
#define VELMORA_SRC_BURST_HANDLE_BURST_HANDLE_H

#include <array>
#include <cstdint>

#include "burst/alignment/local_translations.h"
#include "burst/handle/message.h"
#include "burst/handle/settings.h"
#include "burst/weights/weights.h"

namespace velmora::burst {

inline constexpr int32_t kSlots = VELMORA_SR_BURST_FRAMES;

/// What the last picture made of a frame.
struct Outcome {
  int32_t use = VELMORA_SR_BURST_UNUSED;
  int32_t reference = 0;  ///< number of the frame that the picture was made around; 0: none
  PairRegistration registration;
  NoiseLevels noise = {};  ///< that the weights were made for
  Weights weights;         ///< none in the reference and in frames that were not registered
  double meanWeight = 0;   ///< over the region
  double share = 0;
  int32_t localTiles = 0;
};

/// A place for a frame.
struct Slot {
  int32_t id = 0;  ///< 0: free
  SourceFrame frame;
  Pyramid pyramid;
  double pyramidMilliseconds = 0;
  std::array<bool, kPlanes> noiseKnown = {};
  NoiseLevels noise = {};  ///< measured in the frame alone
  Outcome outcome;
};

/// What is known about one frame seen from another, whatever other frames there are. Each part is
/// worked out when it is first needed.
struct Pair {
  bool registered = false;
  PairRegistration registration;
  bool noiseKnown = false;
  NoiseLevels noise = {};
  bool fieldKnown = false;
  double fieldSigma = 0;  ///< that the field was made for
  LocalField field;
};

/// What the last picture took.
struct PictureFacts {
  int32_t framesUsed = 0;
  NoiseLevels noise = {};
  std::array<double, VELMORA_SR_BURST_STAGE_COUNT> milliseconds = {};
};

}  // namespace velmora::burst

struct Velmora_SR_Burst {
  explicit Velmora_SR_Burst(const velmora::burst::Settings& given)
      : settings(given), memory(given.allocator) {}

  const velmora::burst::Settings settings;
  velmora::burst::Memory memory;  // outlives what lies below
  velmora::burst::Message message;
  int32_t lastId = 0;
  std::array<velmora::burst::Slot, velmora::burst::kSlots> slots;
  // [reference][frame], by slot.
  std::array<std::array<velmora::burst::Pair, velmora::burst::kSlots>, velmora::burst::kSlots>
      pairs;
  velmora::burst::PictureFacts facts;
};

#endif  // VELMORA_SRC_BURST_HANDLE_BURST_HANDLE_H
