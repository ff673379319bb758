// Finds what somebody meant to type.
#ifndef VELMORA_TOOL_SPELLING_H
#define VELMORA_TOOL_SPELLING_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace velmora::tool {

/// How many letters have to be put in, taken out or changed to make one word of the other.
std::size_t editDistance(std::string_view one, std::string_view other);

/// The known word that is nearest to `word`, the first of several; empty when none is near.
std::string nearestWord(std::string_view word, const std::vector<std::string>& known);

}  // namespace velmora::tool

#endif  // VELMORA_TOOL_SPELLING_H
