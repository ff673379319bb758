#include "interface/source/scenes.h"

#include <algorithm>
#include <array>

#include "logging/log.h"

namespace velmora {
namespace {

using Input = Velmora_SR_InputFrames;

// Two cameras deliver their frames together, as one pair: a frame count of 1 is enough for scene 1.
constexpr std::array<Scene, 3> kScenes = {{
    {VELMORA_SR_SCENE_SINGLE,
     "singleFrameZoom",
     1,
     {&Input::leftData, "leftData", "single"},
     {nullptr, nullptr, nullptr}},
    {VELMORA_SR_SCENE_LEFT_RIGHT,
     "doubleFrame_leftRight",
     1,
     {&Input::leftData, "leftData", "left"},
     {&Input::rightData, "rightData", "right"}},
    {VELMORA_SR_SCENE_LEFT_LEFT,
     "doubleFrame_leftLeft",
     2,
     {&Input::leftData, "leftData1", "left1"},
     {&Input::leftData2, "leftData2", "left2"}},
}};

/// The lower 32 bits of a pointer, all that "%d" has room for.
int32_t narrowed(const void* pointer) {
  return static_cast<int32_t>(reinterpret_cast<uintptr_t>(pointer));
}

}  // namespace

const Scene* findScene(int32_t code) {
  const auto* found = std::find_if(kScenes.begin(), kScenes.end(),
                                   [code](const Scene& scene) { return scene.code == code; });
  return found == kScenes.end() ? nullptr : found;
}

bool suppliesFrames(const Scene& scene, const Input& input, int32_t frameCount) {
  const uint8_t* const first = input.*scene.first.data;
  if (!scene.hasTwoFrames()) {
    if (frameCount >= scene.leastFrames && first != nullptr) return true;
    logTagged(Priority::error,
              "input image pair number %d is less than %d at scene %s\n"
              "or input image data is null[%s = %d].\n",
              frameCount, scene.leastFrames, scene.name, scene.first.label, narrowed(first));
    return false;
  }
  const uint8_t* const second = input.*scene.second.data;
  if (frameCount >= scene.leastFrames && first != nullptr && second != nullptr) return true;
  logTagged(Priority::error,
            "input image pair number %d is less than %d at scene %s\n"
            "or input image data is null[%s = %d, %s = %d].\n",
            frameCount, scene.leastFrames, scene.name, scene.first.label, narrowed(first),
            scene.second.label, narrowed(second));
  return false;
}

}  // namespace velmora
