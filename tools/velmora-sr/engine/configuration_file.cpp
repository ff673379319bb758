#include "engine/configuration_file.h"

#include <strings.h>

#include <cstddef>
#include <new>
#include <string_view>

#include "status.h"
#include "velmora_sr/configuration.h"

namespace velmora::tool {
namespace {

constexpr const char* kGroup = "GhostCorrection";
constexpr const char* kLow = "LowThr";
constexpr const char* kHigh = "HighThr";
constexpr GhostThresholds kBuiltIn = {1, 5};
constexpr int kLargest = 255;
constexpr std::string_view kBlanks = " \t\r\n";

bool isNamed(const XMLNode& node, const char* name) {
  return node.getName() != nullptr && strcasecmp(node.getName(), name) == 0;
}

/// A decimal number and nothing else.
bool isNumber(std::string_view text) {
  const auto begin = text.find_first_not_of(kBlanks);
  if (begin == std::string_view::npos) return false;
  text = text.substr(begin, text.find_last_not_of(kBlanks) + 1 - begin);
  if (text.front() == '-' || text.front() == '+') text.remove_prefix(1);
  return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

ConfigurationFile::Threshold thresholdOf(const XmlConfig& config, const char* name, int standard,
                                         std::vector<std::string>& faults) {
  ConfigurationFile::Threshold threshold;
  threshold.path = std::string("/Config/") + kGroup + "/" + name;
  threshold.value = config.GetInteger(threshold.path.c_str(), standard);
  const XMLNode node = config.SearchNode(threshold.path.c_str());
  if (node.isEmpty()) return threshold;
  const char* text = node.getText();
  threshold.text = text == nullptr ? "" : text;
  if (!isNumber(*threshold.text)) {
    faults.push_back(std::string(name) + " is \"" + *threshold.text + "\", which is no number");
  }
  return threshold;
}

/// Notes the children of an element that have none of the names.
void findUnknown(const XMLNode& parent, const std::string& path,
                 std::initializer_list<const char*> known, std::vector<std::string>& unknown) {
  for (int i = 0; i < parent.nChildNode(); ++i) {
    const XMLNode child = parent.getChildNode(i);
    bool isKnown = child.getName() == nullptr || child.isDeclaration();
    for (const char* name : known)
      isKnown = isKnown || isNamed(child, name);
    if (!isKnown) unknown.push_back(path + "/" + child.getName());
  }
}

}  // namespace

bool looksLikeXml(std::span<const uint8_t> bytes) {
  constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
  std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  if (text.starts_with(kByteOrderMark)) text.remove_prefix(kByteOrderMark.size());
  const std::size_t first = text.find_first_not_of(kBlanks);
  return first != std::string_view::npos && text[first] == '<';
}

ConfigurationFile readConfiguration(std::span<const uint8_t> bytes) {
  const auto* text = reinterpret_cast<const char*>(bytes.data());
  ConfigurationFile file;
  XMLResults results = {};
  const XMLNode top = XMLNode::parseDocument(text, bytes.size(), &results);
  if (results.error == XMLErrorOutOfMemory) throw std::bad_alloc();
  if (top.isEmpty()) {
    file.faults.push_back(
        format("not well-formed XML: look at line %d, column %d", results.line, results.column));
  }
  XmlConfig config;
  config.LoadDocument(text, bytes.size());
  file.low = thresholdOf(config, kLow, kBuiltIn.low, file.faults);
  file.high = thresholdOf(config, kHigh, kBuiltIn.high, file.faults);
  file.taken = {file.low.value, file.high.value};
  if (file.taken.low > file.taken.high || file.taken.low < 0 || file.taken.high > kLargest) {
    file.taken = kBuiltIn;
    file.faults.emplace_back("0 <= LowThr <= HighThr <= 255 does not hold");
  }
  if (isNamed(top, "Config")) {
    file.faults.emplace_back(
        "without an <?xml ...?> line the outermost element is itself the top, so that /Config is "
        "not found");
  } else if (!top.isEmpty() && config.SearchNode("/Config").isEmpty()) {
    file.faults.emplace_back("there is no Config element");
  }
  findUnknown(config.SearchNode("/Config"), "/Config", {kGroup}, file.unknown);
  const std::string group = std::string("/Config/") + kGroup;
  findUnknown(config.SearchNode(group.c_str()), group, {kLow, kHigh}, file.unknown);
  return file;
}

std::vector<uint8_t> configurationOf(GhostThresholds thresholds) {
  // Without the declaration the library's look-ups would find nothing.
  const std::string document = format(
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Config><%s><%s>%d</%s><%s>%d</%s></%s></Config>"
      "\n",
      kGroup, kLow, thresholds.low, kLow, kHigh, thresholds.high, kHigh, kGroup);
  return {document.begin(), document.end()};
}

}  // namespace velmora::tool
