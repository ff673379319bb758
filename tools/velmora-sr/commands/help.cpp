#include "commands/help.h"

#include <sstream>
#include <string_view>

namespace velmora::tool {
namespace {

constexpr std::size_t kWidth = 80;
constexpr std::size_t kOptionWidth = 28;

}  // namespace

std::string wrapped(const std::string& text, std::size_t width) {
  std::string result;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    if (!result.empty()) result += '\n';
    std::size_t column = 0;
    std::istringstream words(line);
    for (std::string word; words >> word;) {
      if (column > 0 && column + 1 + word.size() > width) {
        result += '\n';
        column = 0;
      } else if (column > 0) {
        result += ' ';
        ++column;
      }
      result += word;
      column += word.size();
    }
  }
  return result;
}

HelpFormatter::HelpFormatter() {
  column_width(kOptionWidth);
}

std::string HelpFormatter::make_option_opts(const CLI::Option* option) const {
  const std::string type = option->get_type_size() == 0 ? "" : option->get_type_name();
  return type.empty() || option->get_positional() ? "" : " " + type;
}

std::string HelpFormatter::make_option_desc(const CLI::Option* option) const {
  return wrapped(option->get_description(), kWidth - kOptionWidth);
}

std::string HelpFormatter::make_subcommand(const CLI::App* command) const {
  std::ostringstream out;
  CLI::detail::format_help(out, command->get_name(),
                           wrapped(command->get_description(), kWidth - kOptionWidth),
                           kOptionWidth);
  return out.str();
}

std::string HelpFormatter::make_footer(const CLI::App* app) const {
  return wrapped(app->get_footer(), kWidth) + "\n";
}

}  // namespace velmora::tool
