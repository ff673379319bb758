// TIFF pictures, by libtiff.
#ifndef VELMORA_TOOL_FORMATS_TIFF_H
#define VELMORA_TOOL_FORMATS_TIFF_H

#include <memory>
#include <string>

#include "frame_io.h"
#include "streams.h"

namespace velmora::tool {

/// True for the four bytes that begin every TIFF, large ones too.
bool isTiff(std::span<const uint8_t> start);

/// The first page of any TIFF that libtiff makes colours of, but CMYK and raw camera files; 16 bits
/// become 8, and the orientation is carried out.
std::unique_ptr<FrameReader> openTiff(std::unique_ptr<ByteSource> source);

/// One picture of 8 bits, packed without loss.
std::unique_ptr<FrameWriter> createTiff(const std::string& path, Metadata metadata);

}  // namespace velmora::tool

#endif  // VELMORA_TOOL_FORMATS_TIFF_H
