// XML of strangers: every outcome is a tree that writes and reads back, or a code. The first byte
// chooses the encoding (its low four bits) and whether texts are trimmed (the next one).
#include <cmath>
#include <string>

#include "bytes.h"
#include "configuration/xml_tree.h"
#include "harness.h"
#include "velmora_sr/configuration.h"
#include "velmora_sr/xml_document.h"

namespace {

using velmora::fuzz::Bytes;
using velmora::fuzz::require;
using velmora::test::treeOf;
using velmora::test::XmlOptionsScope;

void parseAndWrite(const std::string& text, int indent) {
  XMLResults results = {-1, -1, -1};
  const XMLNode node = XMLNode::parseString(text.c_str(), nullptr, &results);
  require(node.isEmpty() == (results.error != XMLErrorNone), "an empty node comes with a code");
  require(results.line >= 1 && results.column >= 1, "positions count from 1");
  if (node.isEmpty()) return;
  const std::string written = node.createXMLString(indent);
  require(treeOf(XMLNode::parseString(written.c_str())) == treeOf(node),
          "what is written reads back as the same tree");
}

void lookUp(const std::string& text) {
  XmlConfig config;
  require(config.LoadDocument(text.data(), text.size()) == 1, "there is always a document");
  for (const char* path :
       {"/Config/GhostCorrection/LowThr", "/GhostCorrection/LowThr", "/a", "/"}) {
    require(std::isfinite(config.GetFloat(path, 1)), "numbers saturate");
    require(config.GetInteger(path, 7) == xmltoi(config.GetString(path, "7")) ||
                config.GetInteger(path, 7) == 7,
            "a whole number is that of the text, or the default");
    short shorts[3] = {};
    unsigned wholes[3] = {};
    float reals[3] = {};
    require(config.GetVectorShort(path, shorts, 3) <= 3 &&
                config.GetVectorUnsignedInt(path, wholes, 3) <= 3 &&
                config.GetVectorFloat(path, reals, 3) <= 3,
            "a list is no longer than asked for");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  Bytes bytes(data, size);
  const uint8_t options = bytes.byte();
  const auto encoding = static_cast<XMLCharEncoding>(options % 16 % 6 + 1);
  const XmlOptionsScope scope(encoding, 1, 1, static_cast<char>(options / 16 % 2));
  const std::string text(bytes.rest().begin(), bytes.rest().end());
  const auto guess = XMLNode::guessCharEncoding(text.data(), static_cast<int>(text.size()));
  require(guess >= XMLCharEncodingUnknown && guess <= XMLCharEncodingGBK, "a guess is an encoding");
  parseAndWrite(text, options / 32 % 4 - 1);
  lookUp(text);
  return 0;
}
