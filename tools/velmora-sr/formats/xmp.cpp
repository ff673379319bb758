#include "formats/xmp.h"

#include <algorithm>
#include <string>
#include <string_view>

namespace velmora::tool {
namespace {

// Sets the number of a property, whether it stands as an attribute, name="1", or as an element,
// <name>1</name>.
void setNumber(std::string& text, std::string_view name, int value) {
  const std::string number = std::to_string(value);
  std::string changed;
  std::size_t done = 0;  // so far `changed` holds the text
  for (std::size_t at = text.find(name); at != std::string::npos; at = text.find(name, at)) {
    const bool begins = at > 0 && (text[at - 1] == '<' || text[at - 1] == ' ' ||
                                   text[at - 1] == '\n' || text[at - 1] == '\t');
    at += name.size();
    std::size_t digits = at;
    if (text.compare(digits, 2, "=\"") == 0 || text.compare(digits, 2, "='") == 0) {
      digits += 2;
    } else if (text.compare(digits, 1, ">") == 0) {
      digits += 1;
    } else {
      continue;
    }
    const std::size_t end = std::min(text.find_first_not_of("0123456789", digits), text.size());
    if (!begins || end == digits) continue;
    changed.append(text, done, digits - done).append(number);
    done = end;
  }
  if (done > 0) text = changed.append(text, done);
}

void removeElement(std::string& text, const std::string& name) {
  const std::string close = "</" + name + ">";
  const std::size_t begin = text.find("<" + name + ">");
  const std::size_t end = text.find(close, begin);
  if (begin != std::string::npos && end != std::string::npos) {
    text.erase(begin, end + close.size() - begin);
  }
}

}  // namespace

void updateXmp(std::vector<uint8_t>& packet, Size size, bool upright) {
  std::string text(packet.begin(), packet.end());
  if (upright) setNumber(text, "tiff:Orientation", 1);
  setNumber(text, "tiff:ImageWidth", size.width);
  setNumber(text, "tiff:ImageLength", size.height);
  setNumber(text, "exif:PixelXDimension", size.width);
  setNumber(text, "exif:PixelYDimension", size.height);
  removeElement(text, "xmp:Thumbnails");
  packet.assign(text.begin(), text.end());
}

}  // namespace velmora::tool
