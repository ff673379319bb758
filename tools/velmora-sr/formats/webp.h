// WebP pictures, by libwebp.
#ifndef VELMORA_TOOL_FORMATS_WEBP_H
#define VELMORA_TOOL_FORMATS_WEBP_H

#include <memory>
#include <string>

#include "frame_io.h"
#include "streams.h"

namespace velmora::tool {

/// True for the twelve bytes that begin every WebP.
bool isWebp(std::span<const uint8_t> start);

/// Any WebP but animations; an orientation note is carried out.
std::unique_ptr<FrameReader> openWebp(std::unique_ptr<ByteSource> source);

/// One lossy picture. `quality` 1..100.
std::unique_ptr<FrameWriter> createWebp(const std::string& path, int quality, Metadata metadata);

}  // namespace velmora::tool

#endif  // VELMORA_TOOL_FORMATS_WEBP_H
