// Values of a configuration file by their paths.
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <optional>
#include <string_view>

#include "configuration/number_text.h"
#include "velmora_sr/configuration.h"

namespace {

constexpr std::size_t kPathLimit = 257;
constexpr std::size_t kPathKept = 255;
constexpr const char* kEmptyDocument =
    "<?xml version=\"1.0\" encoding=\"GB2312\"?><Config></Config>";

/// Reads up to n values with `take`, which takes one off the front of a text or answers nothing.
template <typename T, typename Take>
int readList(const char* text, T* out, int n, Take&& take) {
  std::string_view rest(text == nullptr ? "" : text);
  int count = 0;
  while (count < n) {
    const auto value = take(rest);
    if (!value) break;
    out[count++] = *value;
    rest.remove_prefix(std::min(rest.find_first_not_of(" \t\r\n,;"), rest.size()));
  }
  return count;
}

template <typename T>
std::optional<T> takeSaturated(std::string_view& text) {
  const auto value = velmora::takeInteger(text);
  if (!value) return std::nullopt;
  return velmora::saturate<T>(*value);
}

std::optional<float> takeFloat(std::string_view& text) {
  const auto value = velmora::takeReal(text);
  if (!value) return std::nullopt;
  return velmora::saturateToFloat(*value);
}

}  // namespace

XmlConfig::XmlConfig() = default;
XmlConfig::~XmlConfig() = default;

int XmlConfig::LoadConfig(const char* path) {
  root_ = XMLNode::openFileHelper(path);
  if (root_.isEmpty()) root_ = XMLNode::parseString(kEmptyDocument);
  return root_.isEmpty() ? 0 : 1;
}

int XmlConfig::LoadDocument(const char* data, std::size_t size) {
  root_ = XMLNode::parseDocument(data, size);
  if (root_.isEmpty()) root_ = XMLNode::parseString(kEmptyDocument);
  return root_.isEmpty() ? 0 : 1;
}

XMLNode XmlConfig::SearchNode(const char* path) const {
  if (path == nullptr || *path != '/' || strnlen(path, kPathLimit) == kPathLimit) {
    return XMLNode::emptyNode();
  }
  std::array<char, kPathKept + 1> names{};
  std::strncpy(names.data(), path, kPathKept);
  XMLNode node = root_;
  for (char* name = names.data() + 1; name != nullptr && !node.isEmpty();) {
    char* const slash = std::strchr(name, '/');
    if (slash != nullptr) *slash = '\0';
    node = node.getChildNode(name);
    name = slash == nullptr ? nullptr : slash + 1;
  }
  return node;
}

int XmlConfig::GetInteger(const char* path, int defaultValue) const {
  return xmltoi(SearchNode(path).getText(), defaultValue);
}

float XmlConfig::GetFloat(const char* path, float defaultValue) const {
  const XMLNode node = SearchNode(path);
  std::string_view text(xmltoa(node.getText()));
  return takeFloat(text).value_or(defaultValue);
}

const char* XmlConfig::GetString(const char* path, const char* defaultValue) const {
  // The text belongs to the node, which the document keeps.
  return xmltoa(SearchNode(path).getText(), defaultValue);
}

int XmlConfig::GetVectorShort(const char* path, short* out, int n) const {
  return readList(SearchNode(path).getText(), out, n, takeSaturated<short>);
}

int XmlConfig::GetVectorInt(const char* path, int* out, int n) const {
  return readList(SearchNode(path).getText(), out, n, takeSaturated<int>);
}

int XmlConfig::GetVectorUnsignedInt(const char* path, unsigned* out, int n) const {
  return readList(SearchNode(path).getText(), out, n, takeSaturated<unsigned>);
}

int XmlConfig::GetVectorFloat(const char* path, float* out, int n) const {
  return readList(SearchNode(path).getText(), out, n, takeFloat);
}
