// Reading of decimal numbers.
#include "configuration/number_text.h"

#include <charconv>
#include <cstddef>
#include <cstdlib>
#include <string>
#include <system_error>

namespace velmora {
namespace {

constexpr std::string_view kBlanks = " \t\r\n\v\f";

std::size_t countDigits(std::string_view text, std::size_t position) {
  const std::size_t end = std::min(text.find_first_not_of("0123456789", position), text.size());
  return end - position;
}

bool hasSign(std::string_view text, std::size_t position) {
  return position < text.size() && (text[position] == '+' || text[position] == '-');
}

/// What stands at the front of a text, read as a real number without sign.
struct RealShape {
  std::size_t length = 0;  ///< 0: no number
  /// Power of ten of its first digit other than 0; far below 0 if it has none.
  int64_t magnitude = std::numeric_limits<int32_t>::min();
};

RealShape measureReal(std::string_view text) {
  const std::size_t integerDigits = countDigits(text, 0);
  std::size_t end = integerDigits;
  std::size_t fractionDigits = 0;
  if (end < text.size() && text[end] == '.') {
    fractionDigits = countDigits(text, end + 1);
    end += 1 + fractionDigits;
  }
  if (integerDigits + fractionDigits == 0) return {};
  RealShape shape;
  const std::size_t leading = text.substr(0, end).find_first_of("123456789");
  if (leading != std::string_view::npos) {
    // The point takes a place of its own behind the digit of power 0.
    shape.magnitude = static_cast<int64_t>(integerDigits) - static_cast<int64_t>(leading) -
                      (leading < integerDigits ? 1 : 0);
  }
  if (end < text.size() && (text[end] == 'e' || text[end] == 'E')) {
    std::string_view rest = text.substr(end + 1);
    const bool adjacent = rest.find_first_of(kBlanks) != 0;
    const auto exponent = adjacent ? takeInteger(rest) : std::nullopt;
    if (exponent) {
      shape.magnitude += saturate<int32_t>(*exponent);
      end = text.size() - rest.size();
    }
  }
  shape.length = end;
  return shape;
}

/// Value of a number without sign, of this shape; saturated.
double convertReal(std::string_view number, int64_t magnitude) {
#if defined(__cpp_lib_to_chars)
  double value = 0.0;
  const auto [end, error] = std::from_chars(number.data(), number.data() + number.size(), value);
  if (error != std::errc::result_out_of_range) return value;
  return magnitude < 0 ? 0.0 : std::numeric_limits<double>::max();
#else
  // The C library of Android, which has one locale.
  static_cast<void>(magnitude);
  const double value = std::strtod(std::string(number).c_str(), nullptr);
  return std::min(value, std::numeric_limits<double>::max());
#endif
}

}  // namespace

std::optional<int64_t> takeInteger(std::string_view& text) {
  std::size_t i = std::min(text.find_first_not_of(kBlanks), text.size());
  const bool negative = hasSign(text, i) && text[i] == '-';
  if (hasSign(text, i)) ++i;
  const std::size_t digits = countDigits(text, i);
  if (digits == 0) return std::nullopt;
  using Limits = std::numeric_limits<int64_t>;
  // From the sign on, which from_chars reads if it is a minus.
  const char* first = text.data() + i - (negative ? 1 : 0);
  int64_t value = 0;
  const auto [end, error] = std::from_chars(first, text.data() + i + digits, value);
  if (error == std::errc::result_out_of_range) value = negative ? Limits::min() : Limits::max();
  text.remove_prefix(i + digits);
  return value;
}

std::optional<double> takeReal(std::string_view& text) {
  std::size_t i = std::min(text.find_first_not_of(kBlanks), text.size());
  const bool negative = hasSign(text, i) && text[i] == '-';
  if (hasSign(text, i)) ++i;
  const RealShape shape = measureReal(text.substr(i));
  if (shape.length == 0) return std::nullopt;
  const double value = convertReal(text.substr(i, shape.length), shape.magnitude);
  text.remove_prefix(i + shape.length);
  return negative ? -value : value;
}

}  // namespace velmora
