// Transparency: a picture's planes show it over white, and its alpha plane says how much of that is
// its own. Both are enlarged alike, so that the colours can be had back.
#ifndef VELMORA_TOOL_ALPHA_H
#define VELMORA_TOOL_ALPHA_H

#include <cstdint>
#include <span>
#include <vector>

#include "picture.h"

namespace velmora::tool {

/// Splits pixels of `channels` bytes, alpha last: leaves the colours laid over white, packed, in
/// `samples`, and returns the alpha, empty where every pixel is opaque.
Plane layOverWhite(Size size, int channels, std::vector<uint8_t>& samples);

/// The inverse for a row: pixels of `channels` bytes, alpha last, from colours over white. What
/// nothing is left of becomes white.
void takeOffWhite(std::span<const uint8_t> colours, std::span<const uint8_t> alpha,
                  std::span<uint8_t> pixels);

}  // namespace velmora::tool

#endif  // VELMORA_TOOL_ALPHA_H
