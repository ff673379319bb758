// Frames of a scene that inputs of a few bytes can ask for: large enough for registration, with
// enough detail, and with what the bytes add.
#ifndef VELMORA_FUZZ_FRAMES_H
#define VELMORA_FUZZ_FRAMES_H

#include <cstdint>
#include <span>
#include <vector>

#include "bytes.h"

namespace velmora::fuzz {

struct Plane {
  int width = 0;
  int height = 0;
  std::vector<uint8_t> samples;  // rows packed

  [[nodiscard]] uint8_t at(int x, int y) const {
    return samples[static_cast<std::size_t>(y) * static_cast<std::size_t>(width) +
                   static_cast<std::size_t>(x)];
  }
};

struct Frame {
  Plane y, u, v;
};

/// Draws a frame with chroma planes of this size: the scene, moved and changed as the bytes say.
Frame drawFrame(Bytes& bytes, int width, int height, int chromaWidth, int chromaHeight);

/// The samples of two planes of one size in turn.
std::vector<uint8_t> inPairs(const Plane& first, const Plane& second);

/// A number that tells samples apart.
uint64_t checkSum(std::span<const uint8_t> samples);

bool allAre(std::span<const uint8_t> samples, uint8_t value);

}  // namespace velmora::fuzz

#endif  // VELMORA_FUZZ_FRAMES_H
