// Pieces of JSON.
#ifndef VELMORA_TOOL_JSON_H
#define VELMORA_TOOL_JSON_H

#include <string>
#include <string_view>

namespace velmora::tool {

/// A JSON string; bytes that are no UTF-8 become the replacement character.
std::string jsonString(std::string_view text);

}  // namespace velmora::tool

#endif  // VELMORA_TOOL_JSON_H
