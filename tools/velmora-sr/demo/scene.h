// The scene of the demonstration, drawn by the tool itself: text, fine texture, slanted edges, a
// zone plate, colour.
#ifndef VELMORA_TOOL_DEMO_SCENE_H
#define VELMORA_TOOL_DEMO_SCENE_H

#include "demo/canvas.h"
#include "picture.h"

namespace velmora::tool {

/// Size of the scene in its own units; a canvas of `detail` times this size shows all of it.
inline constexpr Size kSceneSize = {1280, 960};

/// Draws the scene with `detail` pixels per unit.
Canvas drawScene(int detail);

/// The scene as a camera with ideal pixels of one unit sees it.
Picture sceneTruth();

}  // namespace velmora::tool

#endif  // VELMORA_TOOL_DEMO_SCENE_H
