// The scenes: which frames each of them works on, and what messages and dumps call them.
#ifndef VELMORA_SRC_INTERFACE_SOURCE_SCENES_H
#define VELMORA_SRC_INTERFACE_SOURCE_SCENES_H

#include <cstdint>

#include "velmora_sr/velmora_sr.h"

namespace velmora {

struct Scene {
  int32_t code;
  const char* name;
  int32_t leastFrames;  ///< smallest frame count that a process call may state

  struct Frame {
    uint8_t* Velmora_SR_InputFrames::*data;  ///< null: the scene has no such frame
    const char* label;                       ///< in messages
    const char* dumpKind;                    ///< in the names of dump files
  };
  Frame first;
  Frame second;

  [[nodiscard]] bool hasTwoFrames() const { return second.data != nullptr; }
};

/// The scene of a code, or null for an unknown one.
const Scene* findScene(int32_t code);

/// True when the frames that the scene needs are there; otherwise logs what is missing.
bool suppliesFrames(const Scene& scene, const Velmora_SR_InputFrames& input, int32_t frameCount);

}  // namespace velmora

#endif  // VELMORA_SRC_INTERFACE_SOURCE_SCENES_H
