#include "configuration/xml_encoding.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "xml_tree.h"

namespace {

using velmora::test::XmlOptionsScope;

XMLCharEncoding guess(const std::string& text, char useAttribute = 1) {
  // Exactly as many bytes as there are, for the address sanitizer.
  const std::vector<char> bytes(text.begin(), text.end());
  return XMLNode::guessCharEncoding(bytes.data(), static_cast<int>(bytes.size()), useAttribute);
}

std::string declared(const std::string& encoding) {
  return "<?xml version=\"1.0\" encoding=" + encoding + "?><Config/>";
}

std::string utf16(const std::string& text, bool littleEndian) {
  std::string wide;
  for (const char c : text)
    wide += littleEndian ? std::string{c, '\0'} : std::string{'\0', c};
  return wide;
}

TEST(GuessCharEncoding, BelievesTheDeclarationThenTheBytes) {
  const std::string tail(40, ' ');
  const std::string start = "<?xml version='1.0' ?><Config/>   encoding";
  const struct {
    XMLCharEncoding encoding;
    std::vector<std::string> texts;
  } cases[] = {
      {XMLCharEncodingUTF8,
       {declared("\"utf-8\""), declared("'UTF8'"), declared("big5"), start, start + "=",
        "<?xml version='1.0' encoding 'big5'?>", std::string(200, ' ') + declared("\"big5\""),
        std::string(25, ' '), "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80" + tail,
        "\xEF\xBB\xBF" + tail + "\xE9 "}},
      {XMLCharEncodingShiftJIS,
       {declared("\"Shift-JIS\""), declared("\"shiftjis\""), declared("\"SJIS\"")}},
      {XMLCharEncodingGB2312, {declared("\"gb2312\"")}},
      {XMLCharEncodingBig5, {declared("\"big5\""), declared("\" Big5 \""), start + "='big5"}},
      {XMLCharEncodingGBK, {declared("\"gbk\""), "<?xml version='1.0' encoding \t\r\n= \t'GBK'?>"}},
      {XMLCharEncodingLegacy,
       {declared("\"ISO-8859-1\""), declared("\"utf-16\""), declared("\"\""), start + "='",
        "<?xml version='1.0' ?><Config\xE9/>", "\xC3 " + tail, "\x80" + tail, "\xA9" + tail,
        "\xE2\x82 " + tail, "\xF8" + tail, tail + "\xE2\x82"}},
      // Declared as UTF-8, but not; too short; 16 bits wide.
      {XMLCharEncodingUnknown,
       {declared("\"utf-8\"") + "\xE9 ", std::string(24, ' '), "\xFF\xFE" + tail,
        utf16(declared("\"big5\""), true), utf16(declared("\"big5\""), false)}},
  };
  for (const auto& c : cases) {
    for (const std::string& text : c.texts)
      EXPECT_EQ(guess(text), c.encoding) << text;
  }
  EXPECT_EQ(guess(declared("\"big5\""), 0), XMLCharEncodingUTF8);
  EXPECT_EQ(XMLNode::guessCharEncoding(nullptr, 100), XMLCharEncodingUnknown);
  EXPECT_EQ(XMLNode::guessCharEncoding("x", -1), XMLCharEncodingUnknown);
  // 16 bits wide from a null byte in every second of the even or of the odd places on.
  EXPECT_EQ(guess(utf16("seven  ", true) + std::string(14, ' ')), XMLCharEncodingUnknown);
  EXPECT_EQ(guess(utf16("of six", true) + std::string(16, ' ')), XMLCharEncodingUTF8);
  const XmlOptionsScope off(XMLCharEncodingUTF8, 0);
  EXPECT_EQ(guess(utf16(declared("\"big5\""), true)), XMLCharEncodingUTF8);
  EXPECT_EQ(guess("\xFF\xFE" + tail), XMLCharEncodingLegacy);
}

TEST(CharacterLength, FollowsLeadAndTrailBytes) {
  const struct {
    XMLCharEncoding encoding;
    int firstLead, lastLead;
    std::size_t length;
    int firstTrail, lastTrail;
  } sets[] = {
      {XMLCharEncodingUTF8, 0xC0, 0xDF, 2, 0x80, 0xBF},
      {XMLCharEncodingUTF8, 0xE0, 0xEF, 3, 0x80, 0xBF},
      {XMLCharEncodingUTF8, 0xF0, 0xF7, 4, 0x80, 0xBF},
      {XMLCharEncodingShiftJIS, 0x81, 0x9F, 2, 0x40, 0xFE},
      {XMLCharEncodingShiftJIS, 0xE0, 0xFC, 2, 0x40, 0xFE},
      {XMLCharEncodingGB2312, 0xA1, 0xF7, 2, 0xA1, 0xFE},
      {XMLCharEncodingBig5, 0x81, 0xFE, 2, 0x40, 0xFE},
      {XMLCharEncodingGBK, 0x81, 0xFE, 2, 0x40, 0xFE},
  };
  for (int i = 0; i < 6 * 256 * 256; ++i) {
    const auto encoding = static_cast<XMLCharEncoding>(i / 65536 + XMLCharEncodingUTF8);
    const int lead = i / 256 % 256;
    const int trail = i % 256;
    std::size_t length = 1;  // all other bytes are characters of their own
    for (const auto& set : sets) {
      if (encoding == set.encoding && lead >= set.firstLead && lead <= set.lastLead &&
          trail >= set.firstTrail && trail <= set.lastTrail && trail != 0x7F) {
        length = set.length;
      }
    }
    std::string text(4, static_cast<char>(trail));
    text.front() = static_cast<char>(lead);
    ASSERT_EQ(velmora::characterLength(text, 0, encoding), length) << encoding << lead << trail;
    text.resize(std::max<std::size_t>(length - 1, 1));  // cut off
    ASSERT_EQ(velmora::characterLength(text, 0, encoding), 1u) << encoding << lead << trail;
  }
}

TEST(SetGlobalOptions, TakesUTF8ForWhatIsNoEncoding) {
  for (const int value : {0, 7, -1}) {
    const XmlOptionsScope scope(static_cast<XMLCharEncoding>(value));
    EXPECT_EQ(velmora::xmlOptions().encoding, XMLCharEncodingUTF8) << value;
  }
}

}  // namespace
