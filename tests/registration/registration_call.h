// One call of RegisterImgOnePlane as the process driver makes it.
#ifndef VELMORA_TESTS_REGISTRATION_REGISTRATION_CALL_H
#define VELMORA_TESTS_REGISTRATION_REGISTRATION_CALL_H

#include <array>
#include <string>
#include <vector>

#include "registration/call_support.h"
#include "registration/synthetic_scene.h"
#include "velmora_sr/registration.h"

namespace velmora::test {

/// What a registration gave.
struct Registered {
  static constexpr int32_t kUnset = -77;
  int32_t result = kUnset;
  bool failed = false;
  std::array<int32_t, 4> area = {kUnset, kUnset, kUnset, kUnset};
  std::vector<int32_t> posX, posY;
  std::string printed;
};

inline Registered registerFrames(Frame& first, Frame& second) {
  const auto pixels = static_cast<std::size_t>(first.width) * first.height;
  Registered r;
  r.posX.assign(pixels, Registered::kUnset);
  r.posY.assign(pixels, Registered::kUnset);
  uint8_t* firstFrame = first.data.data();
  uint8_t* secondFrame = second.data.data();
  Velmora_SR_CInputImage input = {&firstFrame, &secondFrame, 1, 1, first.width, first.height, 4};
  r.printed = printedBy([&] {
    r.result = RegisterImgOnePlane(&input, &zelkParamPrivate, r.posX.data(), r.posY.data(),
                                   r.area[0], r.area[1], r.area[2], r.area[3]);
  });
  r.failed = zelkParamPrivate.registFailed != 0;
  return r;
}

}  // namespace velmora::test

#endif  // VELMORA_TESTS_REGISTRATION_REGISTRATION_CALL_H
