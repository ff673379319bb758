// How the help looks: 80 columns, each option with the kind of its value.
#ifndef VELMORA_TOOL_COMMANDS_HELP_H
#define VELMORA_TOOL_COMMANDS_HELP_H

#include <CLI/CLI.hpp>
#include <string>

namespace velmora::tool {

/// Breaks text at blanks so that no line is longer than `width`; its own line feeds stay.
std::string wrapped(const std::string& text, std::size_t width);

class HelpFormatter : public CLI::Formatter {
 public:
  HelpFormatter();
  std::string make_option_opts(const CLI::Option* option) const override;
  std::string make_option_desc(const CLI::Option* option) const override;
  std::string make_subcommand(const CLI::App* command) const override;
  std::string make_footer(const CLI::App* app) const override;
};

}  // namespace velmora::tool

#endif  // VELMORA_TOOL_COMMANDS_HELP_H
