// Numbers, booleans and characters out of texts.
#include <limits>
#include <string_view>

#include "configuration/number_text.h"
#include "velmora_sr/xml_document.h"

namespace {

template <typename T>
T integerOr(const char* text, T defaultValue) {
  if (text == nullptr) return defaultValue;
  std::string_view rest(text);
  const auto value = velmora::takeInteger(rest);
  return value ? velmora::saturate<T>(*value) : defaultValue;
}

/// First character that is no white space; a null byte if there is none.
char firstCharacter(const char* text) {
  if (text == nullptr) return '\0';
  const std::string_view view(text);
  const std::size_t found = view.find_first_not_of(" \t\r\n");
  return found == std::string_view::npos ? '\0' : view[found];
}

}  // namespace

int xmltoi(const char* text, int defaultValue) noexcept {
  return integerOr(text, defaultValue);
}

long xmltol(const char* text, long defaultValue) noexcept {
  return integerOr(text, defaultValue);
}

double xmltof(const char* text, double defaultValue) noexcept {
  if (text == nullptr) return defaultValue;
  std::string_view rest(text);
  return velmora::takeReal(rest).value_or(defaultValue);
}

bool xmltob(const char* text, bool defaultValue) noexcept {
  switch (firstCharacter(text)) {
    case 't':
    case 'T':
    case 'y':
    case 'Y':
    case '1':
      return true;
    case 'f':
    case 'F':
    case 'n':
    case 'N':
    case '0':
      return false;
    default:
      return defaultValue;
  }
}

const char* xmltoa(const char* text, const char* defaultValue) noexcept {
  return text == nullptr ? defaultValue : text;
}

char xmltoc(const char* text, char defaultValue) noexcept {
  return text == nullptr || *text == '\0' ? defaultValue : *text;
}
