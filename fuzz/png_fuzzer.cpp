// PNG files of strangers.
#include "formats/png.h"

#include <zlib.h>

#include <vector>

#include "harness.h"
#include "read_picture.h"

namespace {

uint32_t numberAt(const uint8_t* bytes) {
  return uint32_t{bytes[0]} << 24 | uint32_t{bytes[1]} << 16 | uint32_t{bytes[2]} << 8 | bytes[3];
}

// Gives every chunk the check sum of what it holds: what an engine changes inside would be refused
// for its sum alone. True if one was wrong.
bool mendSums(std::vector<uint8_t>& png) {
  constexpr std::size_t kSignature = 8;
  constexpr std::size_t kAround = 12;  // length, name and sum of a chunk
  bool mended = false;
  for (std::size_t at = kSignature; at + kAround <= png.size();) {
    const std::size_t length = numberAt(&png[at]);
    if (length > png.size() - at - kAround) break;
    uint8_t* const end = &png[at + 8 + length];
    const auto sum = static_cast<uint32_t>(crc32(0, &png[at + 4], static_cast<uInt>(4 + length)));
    mended = mended || sum != numberAt(end);
    for (unsigned i = 0; i < 4; ++i)
      end[i] = static_cast<uint8_t>(sum >> (24 - 8 * i));
    at += kAround + length;
  }
  return mended;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  if (!velmora::tool::isPng({data, size})) return 0;
  velmora::fuzz::readPicture({data, size}, velmora::tool::openPng);
  std::vector<uint8_t> png(data, data + size);
  if (mendSums(png)) velmora::fuzz::readPicture(png, velmora::tool::openPng);
  return 0;
}
