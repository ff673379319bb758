// Y4M clips of strangers.
#include "formats/y4m.h"

#include <algorithm>

#include "harness.h"
#include "read_picture.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  const auto magic = velmora::tool::kY4mMagic;
  if (size >= magic.size() && std::equal(magic.begin(), magic.end(), data)) {
    velmora::fuzz::readPicture({data, size}, velmora::tool::openY4m);
  }
  return 0;
}
