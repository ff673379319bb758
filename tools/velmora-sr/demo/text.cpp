// A pen font: every character is a few lines on a grid, drawn with a round pen.
#include <array>
#include <string_view>
#include <utility>
#include <vector>

#include "demo/canvas.h"

namespace velmora::tool {
namespace {

// Lines separated by blanks, each a row of points "xy": x 0..4 to the right, y 0..8 downwards with
// the top of capitals at 0, of small letters at 2, the base line at 6 and descenders down to 8.
struct Glyph {
  char character;
  std::string_view lines;
};

constexpr std::array kGlyphs = {
    Glyph{'A', "062046 1434"},
    Glyph{'B', "0006 003041423303 3344453606"},
    Glyph{'C', "4130100105163645"},
    Glyph{'D', "0006 003041453606"},
    Glyph{'E', "40000646 0333"},
    Glyph{'F', "400006 0333"},
    Glyph{'G', "41301001051636454323"},
    Glyph{'H', "0006 4046 0343"},
    Glyph{'I', "0020 1016 0626"},
    Glyph{'J', "4045361605"},
    Glyph{'K', "0006 4004 1346"},
    Glyph{'L', "000646"},
    Glyph{'M', "0600234046"},
    Glyph{'N', "06004640"},
    Glyph{'O', "103041453616050110"},
    Glyph{'P', "06003041423303"},
    Glyph{'Q', "103041453616050110 2446"},
    Glyph{'R', "06003041423303 2346"},
    Glyph{'S', "413010010213334445361605"},
    Glyph{'T', "0040 2026"},
    Glyph{'U', "000516364540"},
    Glyph{'V', "002640"},
    Glyph{'W', "0016233640"},
    Glyph{'X', "0046 4006"},
    Glyph{'Y', "002340 2326"},
    Glyph{'Z', "00400646"},
    Glyph{'a', "12324346 441405163645"},
    Glyph{'b', "0006 0312324345361605"},
    Glyph{'c', "4332120305163645"},
    Glyph{'d', "4046 4332120305163645"},
    Glyph{'e', "04444332120305163645"},
    Glyph{'f', "30201116 0222"},
    Glyph{'g', "4247381807 4332120305163645"},
    Glyph{'h', "0006 0312324346"},
    Glyph{'i', "0206 0000"},
    Glyph{'j', "121708 1010"},
    Glyph{'k', "0006 4204 2346"},
    Glyph{'l', "000516"},
    Glyph{'m', "0206 03122326 23324346"},
    Glyph{'n', "0206 0312324346"},
    Glyph{'o', "123243453616050312"},
    Glyph{'p', "0208 0312324345361605"},
    Glyph{'q', "4248 4332120305163645"},
    Glyph{'r', "0206 03122232"},
    Glyph{'s', "43321203143445361605"},
    Glyph{'t', "10152636 0232"},
    Glyph{'u', "0205163645 4246"},
    Glyph{'v', "022642"},
    Glyph{'w', "0216243642"},
    Glyph{'x', "0246 4206"},
    Glyph{'y', "0225 4208"},
    Glyph{'z', "02420646"},
    Glyph{'0', "103041453616050110 1531"},
    Glyph{'1', "011016 0626"},
    Glyph{'2', "01103041420646"},
    Glyph{'3', "011030414233 13334445361605"},
    Glyph{'4', "36300444"},
    Glyph{'5', "400003334445361605"},
    Glyph{'6', "413010010516364544331304"},
    Glyph{'7', "004016"},
    Glyph{'8', "103041423313020110 1304051636454433"},
    Glyph{'9', "051636454130100102133342"},
    Glyph{'.', "0606"},
    Glyph{',', "1607"},
    Glyph{':', "0303 0606"},
    Glyph{'-', "0333"},
    Glyph{'+', "0343 2125"},
    Glyph{'/', "0640"},
    Glyph{'(', "20111526"},
    Glyph{')', "00111506"},
    Glyph{'=', "0242 0444"},
    Glyph{'%', "0640 0101 4545"},
    Glyph{'\'', "0001"},
    Glyph{'>', "014305"},
    Glyph{'_', "0646"},
};

constexpr float kUnits = 6;  // height of capitals
constexpr float kGap = 2;    // between characters
constexpr float kBlank = 3;  // width of a character without lines

const Glyph* find(char character) {
  for (const Glyph& glyph : kGlyphs) {
    if (glyph.character == character) return &glyph;
  }
  return nullptr;
}

float unitsWide(char character) {
  const Glyph* glyph = find(character);
  if (glyph == nullptr) return kBlank;
  int widest = 0;
  int column = 0;
  for (const char c : glyph->lines) {
    if (c == ' ') {
      column = 0;
    } else if (column++ % 2 == 0) {
      widest = std::max(widest, c - '0');
    }
  }
  return static_cast<float>(widest);
}

}  // namespace

float textWidth(std::string_view text, float height) {
  float units = 0;
  for (const char c : text)
    units += unitsWide(c) + kGap;
  return text.empty() ? 0 : (units - kGap) * height / kUnits;
}

void drawText(Canvas& canvas, float x, float y, float height, float weight, Colour colour,
              std::string_view text) {
  const float unit = height / kUnits;
  std::vector<Point> points;
  for (const char c : text) {
    const Glyph* glyph = find(c);
    std::string_view lines = glyph == nullptr ? "" : glyph->lines;
    while (!lines.empty()) {
      const std::string_view line = lines.substr(0, lines.find(' '));
      lines.remove_prefix(std::min(line.size() + 1, lines.size()));
      points.clear();
      for (std::size_t i = 0; i + 1 < line.size(); i += 2) {
        points.push_back({x + static_cast<float>(line[i] - '0') * unit,
                          y + static_cast<float>(line[i + 1] - '0') * unit});
      }
      canvas.stroke(points, weight, colour);
    }
    x += (unitsWide(c) + kGap) * unit;
  }
}

}  // namespace velmora::tool
