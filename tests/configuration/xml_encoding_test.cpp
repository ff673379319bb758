#include "configuration/xml_encoding.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "xml_tree.h"

namespace {

using velmora::characterLength;
using velmora::test::XmlOptionsScope;

XMLCharEncoding guess(const std::string& text, char useAttribute = 1) {
  // Exactly as many bytes as there are, for the address sanitizer.
  const std::vector<char> bytes(text.begin(), text.end());
  return XMLNode::guessCharEncoding(bytes.data(), static_cast<int>(bytes.size()), useAttribute);
}

std::string declared(const std::string& encoding) {
  return "<?xml version=\"1.0\" encoding=" + encoding + "?><Config/>";
}

TEST(GuessCharEncoding, BelievesTheDeclaration) {
  const struct {
    std::string text;
    XMLCharEncoding encoding;
  } cases[] = {
      {declared("\"utf-8\""), XMLCharEncodingUTF8},
      {declared("'UTF8'"), XMLCharEncodingUTF8},
      {declared("\"Shift-JIS\""), XMLCharEncodingShiftJIS},
      {declared("\"shiftjis\""), XMLCharEncodingShiftJIS},
      {declared("\"SJIS\""), XMLCharEncodingShiftJIS},
      {declared("\"gb2312\""), XMLCharEncodingGB2312},
      {declared("\"big5\""), XMLCharEncodingBig5},
      {declared("\"gbk\""), XMLCharEncodingGBK},
      {declared("\"ISO-8859-1\""), XMLCharEncodingLegacy},
      {declared("\"utf-16\""), XMLCharEncodingLegacy},
      {declared("\"\""), XMLCharEncodingLegacy},
      {declared("\" Big5 \""), XMLCharEncodingBig5},
      {"<?xml version='1.0' encoding \t\r\n= \t'GBK'?>", XMLCharEncodingGBK},
      // No value: what the bytes say.
      {declared("big5"), XMLCharEncodingUTF8},
      {"<?xml version='1.0' encoding 'big5'?>", XMLCharEncodingUTF8},
      {"<?xml version='1.0' ?><Config\xE9/>", XMLCharEncodingLegacy},
      {"<?xml version='1.0' ?><Config/>   encoding", XMLCharEncodingUTF8},
      {"<?xml version='1.0' ?><Config/>   encoding=", XMLCharEncodingUTF8},
      {"<?xml version='1.0' ?><Config/>   encoding='", XMLCharEncodingLegacy},
      {"<?xml version='1.0' ?><Config/>   encoding='big5", XMLCharEncodingBig5},
      // Declared as UTF-8, but not.
      {declared("\"utf-8\"") + "\xE9 ", XMLCharEncodingUnknown},
      // Beyond the window that is looked at.
      {std::string(200, ' ') + declared("\"big5\""), XMLCharEncodingUTF8},
  };
  for (const auto& c : cases)
    EXPECT_EQ(guess(c.text), c.encoding) << c.text;
}

TEST(GuessCharEncoding, LooksAtTheBytes) {
  const std::string tail(40, ' ');
  const struct {
    std::string text;
    XMLCharEncoding encoding;
  } cases[] = {
      {std::string(24, ' '), XMLCharEncodingUnknown},
      {std::string(25, ' '), XMLCharEncodingUTF8},
      {"\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80" + tail, XMLCharEncodingUTF8},
      {"\xC3 " + tail, XMLCharEncodingLegacy},
      {"\x80" + tail, XMLCharEncodingLegacy},
      {"\xA9" + tail, XMLCharEncodingLegacy},
      {"\xE2\x82 " + tail, XMLCharEncodingLegacy},
      {"\xF8" + tail, XMLCharEncodingLegacy},
      {tail + "\xE2\x82", XMLCharEncodingLegacy},
      {"\xEF\xBB\xBF" + tail + "\xE9 ", XMLCharEncodingUTF8},
  };
  for (const auto& c : cases)
    EXPECT_EQ(guess(c.text, 0), c.encoding) << c.text;
  EXPECT_EQ(guess(declared("\"big5\""), 0), XMLCharEncodingUTF8);
  EXPECT_EQ(XMLNode::guessCharEncoding(nullptr, 100), XMLCharEncodingUnknown);
  EXPECT_EQ(XMLNode::guessCharEncoding("x", -1), XMLCharEncodingUnknown);
}

TEST(GuessCharEncoding, Recognises16BitTextUnlessToldNotTo) {
  std::string littleEndian;
  std::string bigEndian;
  for (const char c : declared("\"big5\"")) {
    littleEndian += {c, '\0'};
    bigEndian += {'\0', c};
  }
  const std::string marked = "\xFF\xFE" + std::string(40, 'x');
  EXPECT_EQ(guess(littleEndian), XMLCharEncodingUnknown);
  EXPECT_EQ(guess(bigEndian), XMLCharEncodingUnknown);
  EXPECT_EQ(guess(marked), XMLCharEncodingUnknown);
  // From a null byte in every second of the even or of the odd places on.
  for (const std::size_t nulls : {6u, 7u}) {
    std::string text(28, ' ');
    for (std::size_t i = 0; i < nulls; ++i)
      text[2 * i + 1] = '\0';
    EXPECT_EQ(guess(text), nulls == 7 ? XMLCharEncodingUnknown : XMLCharEncodingUTF8);
  }
  const XmlOptionsScope off(XMLCharEncodingUTF8, 0);
  EXPECT_EQ(guess(littleEndian), XMLCharEncodingUTF8);
  EXPECT_EQ(guess(marked), XMLCharEncodingLegacy);
}

TEST(CharacterLength, FollowsLeadAndTrailBytes) {
  struct Lead {
    int first, last;
    std::size_t length;
  };
  const struct {
    XMLCharEncoding encoding;
    std::vector<Lead> leads;  // all other bytes are characters of their own
    int firstTrail, lastTrail;
  } sets[] = {
      {XMLCharEncodingUTF8, {{0xC0, 0xDF, 2}, {0xE0, 0xEF, 3}, {0xF0, 0xF7, 4}}, 0x80, 0xBF},
      {XMLCharEncodingLegacy, {}, 0, 0},
      {XMLCharEncodingShiftJIS, {{0x81, 0x9F, 2}, {0xE0, 0xFC, 2}}, 0x40, 0xFE},
      {XMLCharEncodingGB2312, {{0xA1, 0xF7, 2}}, 0xA1, 0xFE},
      {XMLCharEncodingBig5, {{0x81, 0xFE, 2}}, 0x40, 0xFE},
      {XMLCharEncodingGBK, {{0x81, 0xFE, 2}}, 0x40, 0xFE},
  };
  for (const auto& set : sets) {
    for (int lead = 1; lead < 256; ++lead) {
      std::size_t length = 1;
      for (const Lead& range : set.leads) {
        if (lead >= range.first && lead <= range.last) length = range.length;
      }
      for (int trail = 1; trail < 256; ++trail) {
        const bool fits = trail >= set.firstTrail && trail <= set.lastTrail && trail != 0x7F;
        std::string text(4, static_cast<char>(trail));
        text.front() = static_cast<char>(lead);
        ASSERT_EQ(characterLength(text, 0, set.encoding), fits ? length : 1)
            << set.encoding << ": " << lead << " " << trail;
        text.resize(std::max<std::size_t>(length - 1, 1));  // cut off
        ASSERT_EQ(characterLength(text, 0, set.encoding), 1u) << set.encoding << ": " << lead;
      }
    }
  }
}

TEST(SetGlobalOptions, TakesUTF8ForWhatIsNoEncoding) {
  for (const int value : {0, 7, -1, 1000}) {
    const XmlOptionsScope scope(static_cast<XMLCharEncoding>(value));
    EXPECT_EQ(velmora::xmlOptions().encoding, XMLCharEncodingUTF8) << value;
  }
  const XmlOptionsScope scope(XMLCharEncodingGBK, 0, 0, 1);
  EXPECT_EQ(velmora::xmlOptions().encoding, XMLCharEncodingGBK);
  EXPECT_FALSE(velmora::xmlOptions().guessWideChars);
  EXPECT_FALSE(velmora::xmlOptions().dropWhiteSpace);
  EXPECT_TRUE(velmora::xmlOptions().trimTexts);
}

}  // namespace
