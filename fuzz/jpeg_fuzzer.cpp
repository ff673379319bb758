// JPEG files of strangers.
#include "formats/jpeg.h"

#include "harness.h"
#include "read_picture.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  if (velmora::tool::isJpeg({data, size})) {
    velmora::fuzz::readPicture({data, size}, velmora::tool::openJpeg);
  }
  return 0;
}
