// TIFF files of strangers.
#include "formats/tiff.h"

#include "harness.h"
#include "read_picture.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  if (velmora::tool::isTiff({data, size})) {
    velmora::fuzz::readPicture({data, size}, velmora::tool::openTiff);
  }
  return 0;
}
