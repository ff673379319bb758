// WebP files of strangers.
#include "formats/webp.h"

#include "harness.h"
#include "read_picture.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  if (velmora::tool::isWebp({data, size})) {
    velmora::fuzz::readPicture({data, size}, velmora::tool::openWebp);
  }
  return 0;
}
