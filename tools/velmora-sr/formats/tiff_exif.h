// Exif in a TIFF file, whose own directory holds it.
#ifndef VELMORA_TOOL_FORMATS_TIFF_EXIF_H
#define VELMORA_TOOL_FORMATS_TIFF_EXIF_H

#include <cstdint>
#include <span>
#include <vector>

namespace velmora::tool {

/// A block of its own with what a TIFF file notes of camera, time and place; empty when that is
/// nothing. Makers' notes are left out, since they hold positions.
std::vector<uint8_t> exifFromTiff(std::span<const uint8_t> file);

/// Adds the same of a block to a TIFF file; what the file has already stands.
void addExifToTiff(std::vector<uint8_t>& file, std::span<const uint8_t> exif);

/// Whether a block or file has makers' notes.
bool hasMakersNote(std::span<const uint8_t> block);

}  // namespace velmora::tool

#endif  // VELMORA_TOOL_FORMATS_TIFF_EXIF_H
