#include "formats/upright.h"

#include <libyuv.h>

#include <array>
#include <cstddef>
#include <utility>

namespace velmora::tool {
namespace {

void turn(Plane& plane, bool mirror, libyuv::RotationMode rotation) {
  const Size size = plane.size;
  const bool swaps = rotation == libyuv::kRotate90 || rotation == libyuv::kRotate270;
  if (mirror) {
    Plane mirrored(size);
    libyuv::MirrorPlane(plane.row(0), size.width, mirrored.row(0), size.width, size.width,
                        size.height);
    plane = std::move(mirrored);
  }
  if (rotation == libyuv::kRotate0) return;
  Plane turned(swaps ? Size{size.height, size.width} : size);
  if (rotation == libyuv::kRotate180) {
    // Mirrored and upside down: RotatePlane() would take a row of its own without checking it.
    libyuv::MirrorPlane(plane.row(0), size.width, turned.row(0), size.width, size.width,
                        -size.height);
    plane = std::move(turned);
    return;
  }
  libyuv::RotatePlane(plane.row(0), size.width, turned.row(0), turned.size.width, size.width,
                      size.height, rotation);
  plane = std::move(turned);
}

}  // namespace

Size uprightSize(Size stored, int orientation) {
  return orientation >= 5 ? Size{stored.height, stored.width} : stored;
}

void turnUpright(Picture& picture, int orientation) {
  // Each orientation is a mirror image or not, then a clockwise turn.
  struct Turn {
    bool mirror;
    libyuv::RotationMode rotation;
  };
  constexpr std::array<Turn, 8> kTurns = {{{false, libyuv::kRotate0},
                                           {true, libyuv::kRotate0},
                                           {false, libyuv::kRotate180},
                                           {true, libyuv::kRotate180},
                                           {true, libyuv::kRotate270},
                                           {false, libyuv::kRotate90},
                                           {true, libyuv::kRotate90},
                                           {false, libyuv::kRotate270}}};
  if (orientation < 2 || orientation > 8) return;
  const Turn& how = kTurns[static_cast<std::size_t>(orientation - 1)];
  turn(picture.y, how.mirror, how.rotation);
  turn(picture.u, how.mirror, how.rotation);
  turn(picture.v, how.mirror, how.rotation);
  if (!picture.alpha.samples.empty()) turn(picture.alpha, how.mirror, how.rotation);
}

}  // namespace velmora::tool
