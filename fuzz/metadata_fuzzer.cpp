// What picture files carry along: Exif, XMP, profiles, read and brought up to date.
#include <algorithm>
#include <vector>

#include "bytes.h"
#include "formats/exif.h"
#include "formats/icc.h"
#include "formats/jpeg_metadata.h"
#include "formats/tiff_exif.h"
#include "formats/xmp.h"
#include "harness.h"

namespace {

using namespace velmora;
using namespace velmora::tool;
using fuzz::require;

using Block = std::vector<uint8_t>;

void runExif(const Block& block) {
  const int orientation = exifOrientation(block);
  require(orientation >= 1 && orientation <= 8, "orientations go from 1 to 8");
  require(exifSharpness(block).value_or(0) <= 2, "sharpness goes from 0 to 2");
  hasMakersNote(block);
  Block updated = block;
  if (!updateExif(updated, {1000, 3000})) require(updated == block, "a refused block stays");
  require(updated.size() <= block.size(), "bringing Exif up to date does not make it longer");

  // From a TIFF into another one, and out of there.
  const Block own = exifFromTiff(block);
  Block file = {'I', 'I', 42, 0, 8, 0, 0, 0, 0, 0, 0, 0, 0, 0};
  addExifToTiff(file, own);
  require(exifFromTiff(file).size() == own.size(), "all Exif put into a TIFF comes back");
}

void runJpeg(const Block& jpeg) {
  Metadata metadata = jpegMetadata(jpeg);
  fitIntoJpeg(metadata);
  // Head and segments alone; behind them stands the mark of the scan.
  Block made = {0xFF, 0xD8};
  const Block segments = jpegSegments(metadata);
  made.insert(made.end(), segments.begin(), segments.end());
  made.insert(made.end(), {0xFF, 0xDA, 0, 0});
  const Metadata again = jpegMetadata(made);
  require(again.exif == metadata.exif && again.xmp == metadata.xmp &&
              again.iccProfile == metadata.iccProfile,
          "metadata comes back from a JPEG as it was put there");
  Block changed = jpeg;
  setJpegResolution(changed, metadata.resolution.value_or(Resolution{1e9, 0}));
  require(jpegProfilePosition(changed) <= std::max<std::size_t>(changed.size(), 2),
          "a profile belongs into the file");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  fuzz::Bytes bytes(data, size);
  const uint8_t kind = bytes.byte();
  Block block(bytes.rest().begin(), bytes.rest().end());
  switch (kind) {
    case 'E':
      runExif(block);
      break;
    case 'J':
      runJpeg(block);
      break;
    case 'X':
      updateXmp(block, {1000, 3000}, block.size() % 2 == 0);
      break;
    default:
      break;
  }
  return 0;
}
