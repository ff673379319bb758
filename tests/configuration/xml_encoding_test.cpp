#include "configuration/xml_encoding.h"

#include <gtest/gtest.h>

#include <string>

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
  const XmlOptionsScope off(XMLCharEncodingUTF8, 0);
  EXPECT_EQ(guess(littleEndian), XMLCharEncodingUTF8);
  EXPECT_EQ(guess(marked), XMLCharEncodingLegacy);
}

TEST(CharacterLength, FollowsTheEncoding) {
  const struct {
    XMLCharEncoding encoding;
    const char* text;
    std::size_t length;
  } cases[] = {
      {XMLCharEncodingUTF8, "a", 1},
      {XMLCharEncodingUTF8, "\xC3\xA9", 2},
      {XMLCharEncodingUTF8, "\xE2\x82\xAC", 3},
      {XMLCharEncodingUTF8, "\xF0\x9F\x98\x80", 4},
      {XMLCharEncodingUTF8, "\xE2\x82", 1},  // cut off
      {XMLCharEncodingUTF8, "\xE2<>", 1},
      {XMLCharEncodingUTF8, "\x80\x80", 1},
      {XMLCharEncodingLegacy, "\xC3\xA9", 1},
      {XMLCharEncodingShiftJIS, "\x81\x40", 2},
      {XMLCharEncodingShiftJIS, "\xA0\x40", 1},
      {XMLCharEncodingShiftJIS, "\xB1\xB1", 1},  // half-width katakana
      {XMLCharEncodingShiftJIS, "\xE0\x40", 2},
      {XMLCharEncodingShiftJIS, "\x81", 1},
      {XMLCharEncodingShiftJIS, "\x81>", 1},
      {XMLCharEncodingGB2312, "\xB0\xA1", 2},
      {XMLCharEncodingGB2312, "\xB0\x40", 1},
      {XMLCharEncodingGB2312, "\x81\xA1", 1},
      {XMLCharEncodingBig5, "\xA4\x40", 2},
      {XMLCharEncodingGBK, "\x81\x40", 2},
      {XMLCharEncodingGBK, "\x80\x40", 1},
      {XMLCharEncodingGBK, "\xFF\x40", 1},
  };
  for (const auto& c : cases)
    EXPECT_EQ(characterLength(c.text, 0, c.encoding), c.length) << c.encoding << " " << c.text;
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
