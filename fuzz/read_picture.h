// Files of the tool's formats, as bytes.
#ifndef VELMORA_FUZZ_READ_PICTURE_H
#define VELMORA_FUZZ_READ_PICTURE_H

#include <cstdint>
#include <memory>
#include <span>

#include "frame_io.h"
#include "streams.h"

namespace velmora::fuzz {

/// Opens a file of one format.
using OpenReader = std::unique_ptr<tool::FrameReader> (*)(std::unique_ptr<tool::ByteSource>);

/// Reads a file of these bytes to its end, as the tool does that is told to keep pictures small.
/// What the reader refuses is fine; what it accepts has to fit what it says.
void readPicture(std::span<const uint8_t> bytes, OpenReader open);

}  // namespace velmora::fuzz

#endif  // VELMORA_FUZZ_READ_PICTURE_H
