#include "spelling.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace velmora::tool {

std::size_t editDistance(std::string_view one, std::string_view other) {
  // Distances of the part of `one` so far to every beginning of `other`.
  std::vector<std::size_t> row(other.size() + 1);
  std::iota(row.begin(), row.end(), std::size_t{0});
  for (const char letter : one) {
    std::size_t diagonal = std::exchange(row[0], row[0] + 1);
    for (std::size_t i = 0; i < other.size(); ++i) {
      const std::size_t changed = diagonal + (letter == other[i] ? 0 : 1);
      diagonal = row[i + 1];
      row[i + 1] = std::min({changed, row[i] + 1, diagonal + 1});
    }
  }
  return row.back();
}

std::string nearestWord(std::string_view word, const std::vector<std::string>& known) {
  std::string nearest;
  std::size_t smallest = (word.size() + 2) / 3 + 1;  // a third of the word may be wrong
  for (const std::string& candidate : known) {
    const std::size_t distance = editDistance(word, candidate);
    if (distance >= smallest) continue;
    smallest = distance;
    nearest = candidate;
  }
  return nearest;
}

}  // namespace velmora::tool
