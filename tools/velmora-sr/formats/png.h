// PNG pictures.
#ifndef VELMORA_TOOL_PNG_H
#define VELMORA_TOOL_PNG_H

#include <memory>
#include <string>

#include "frame_io.h"
#include "streams.h"

namespace velmora::tool {

/// True for the eight bytes that begin every PNG.
bool isPng(std::span<const uint8_t> start);

/// Any PNG: palettes and 16 bits become 8 bits a sample, grey pictures stay grey, and an
/// orientation note is carried out.
std::unique_ptr<FrameReader> openPng(std::unique_ptr<ByteSource> source);

/// One 8-bit picture, RGB or grey, with its metadata.
std::unique_ptr<FrameWriter> createPng(const std::string& path, Metadata metadata = {});

/// Writes packed R, G, B bytes as they are.
void writeRgbPng(const std::string& path, Size size, std::span<const uint8_t> rgb);

}  // namespace velmora::tool

#endif  // VELMORA_TOOL_PNG_H
