// Conversions between the tool's pictures, RGB and semi-planar frames.
#ifndef VELMORA_TOOL_COLOUR_H
#define VELMORA_TOOL_COLOUR_H

#include <cstdint>
#include <span>

#include "picture.h"

namespace velmora::tool {

/// Packed R, G, B bytes, rows following each other, to full-range BT.601 (JFIF); chroma is the mean
/// of 2 x 2 pixels.
Picture fromRgb(Size size, std::span<const uint8_t> rgb);

/// Rows [firstRow, firstRow + rows) of the picture as packed R, G, B bytes. Chroma is interpolated
/// bilinearly between the centres of the 2 x 2 blocks; the result does not depend on how the rows
/// are cut into calls.
void toRgb(const Picture& picture, int firstRow, int rows, std::span<uint8_t> rgb);

/// Rescales samples between full and limited range; nothing to do when the range is already right.
void convertRange(Picture& picture, Range wanted);

/// Reduces a plane by the mean of areas; `wanted` is no larger than the plane on either axis.
Plane reduced(const Plane& plane, Size wanted);

enum class ChromaOrder { uv, vu };

/// Interleaves `rows` rows of `columns` pairs.
void interleaveChroma(const uint8_t* u, const uint8_t* v, int sourcePitch, uint8_t* pairs,
                      int pairPitch, int columns, int rows, ChromaOrder order);
/// The inverse of interleaveChroma.
void splitChroma(const uint8_t* pairs, int pairPitch, uint8_t* u, uint8_t* v, int planePitch,
                 int columns, int rows, ChromaOrder order);

/// Copies `rows` rows of `columns` bytes.
void copyRows(const uint8_t* source, int sourcePitch, uint8_t* target, int targetPitch, int columns,
              int rows);

}  // namespace velmora::tool

#endif  // VELMORA_TOOL_COLOUR_H
