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

/// The part of the scene that the demonstration shows, 1280 x 960 pixels of half a unit: slanted
/// edges, leaves, a map and cloth. Most of its detail can be told in a frame of half the size.
Canvas sceneTruth();

/// Radius of the ball that drawBall() draws, in pixels of the truth.
inline constexpr float kBallRadius = 34;

/// Draws a striped ball, an object that moves in front of the scene.
void drawBall(Canvas& truth, Point centre);

}  // namespace velmora::tool

#endif  // VELMORA_TOOL_DEMO_SCENE_H
