// What a picture file tells about its picture besides the pixels.
#ifndef VELMORA_TOOL_METADATA_H
#define VELMORA_TOOL_METADATA_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace velmora::tool {

/// Pixels per metre on paper.
struct Resolution {
  double x = 0;
  double y = 0;
};

/// Each empty when the file has none.
struct Metadata {
  std::vector<uint8_t> iccProfile;       ///< colour profile
  std::vector<uint8_t> exif;             ///< a TIFF block, from its byte order mark on
  std::vector<uint8_t> xmp;              ///< the packet of XML
  std::optional<Resolution> resolution;  ///< that of the format itself; Exif may hold another
  /// What else the file holds and cannot be passed on: "IPTC", "texts", ...
  std::vector<std::string> leftOut;

  /// Notes what is left out, once.
  void leaveOut(const std::string& what) {
    for (const std::string& known : leftOut) {
      if (known == what) return;
    }
    leftOut.push_back(what);
  }
};

}  // namespace velmora::tool

#endif  // VELMORA_TOOL_METADATA_H
