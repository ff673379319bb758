// velmora-sr completion: scripts by which shells complete its command lines, from the same tables
// as its help.
#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "commands/commands.h"
#include "errors.h"
#include "file_names.h"
#include "streams.h"

namespace velmora::tool {
namespace {

constexpr const char* kHelp =
    "For this shell only: 'source <(velmora-sr completion bash)', and likewise for zsh; for fish "
    "'velmora-sr completion fish | source'. The installation brings files for all of them.";

struct Word {
  std::string name;  // "--scale"
  std::string help;  // the first clause of its description
  bool takesValue;
  std::vector<std::string> values;  // those it can have, where they are few
};

// The first clause of a description.
std::string brief(const std::string& description) {
  std::size_t end = description.size();
  for (const char* mark : {". ", "; ", " ("})
    end = std::min(end, description.find(mark));
  return description.substr(0, end);
}

std::vector<std::string> valuesOf(const std::string& option) {
  std::vector<std::string> raw = {"nv12", "nv21", "i420"};
  if (option == "--input-format") return raw;
  if (option == "--output-format") return formatNames();
  if (option == "--cpu") return {"scalar", "neon", "avx2", "avx512"};
  return {};
}

bool takesValue(const CLI::Option& option) {
  return option.get_type_size() != 0 && !option.get_type_name().empty();
}

std::vector<Word> optionsOf(const CLI::App& app) {
  std::vector<Word> words;
  for (const CLI::Option* option : app.get_options()) {
    for (const std::string& name : option->get_lnames()) {
      words.push_back({"--" + name, brief(option->get_description()), takesValue(*option),
                       valuesOf("--" + name)});
    }
  }
  return words;
}

std::vector<const CLI::App*> commandsOf(const CLI::App& app) {
  return app.get_subcommands([](const CLI::App*) { return true; });
}

std::string joined(const std::vector<std::string>& words, const char* between = " ") {
  std::string text;
  for (const std::string& word : words)
    text += (text.empty() ? "" : between) + word;
  return text;
}

std::string namesOf(const std::vector<Word>& words) {
  std::vector<std::string> names;
  names.reserve(words.size());
  for (const Word& word : words)
    names.push_back(word.name);
  return joined(names);
}

// In single quotes, in a form that every one of the shells takes.
std::string inQuotes(const std::string& text) {
  std::string result = "'";
  for (const char c : text)
    result += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return result + "'";
}

std::string bashScript(const CLI::App& app) {
  std::vector<std::string> names;
  std::string cases;
  std::string values;
  for (const Word& word : optionsOf(app)) {
    if (!word.values.empty())
      values += "    " + word.name + ") words='" + joined(word.values) + "' ;;\n";
  }
  for (const CLI::App* command : commandsOf(app)) {
    names.push_back(command->get_name());
    cases +=
        "        " + command->get_name() + ") words+=' " + namesOf(optionsOf(*command)) + "' ;;\n";
  }
  for (const char* option : {"--input-format", "--output-format"})
    values += std::string("    ") + option + ") words='" + joined(valuesOf(option)) + "' ;;\n";
  return "# bash completion of velmora-sr\n"
         "_velmora_sr() {\n"
         "  local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]} words='' i\n"
         "  COMPREPLY=()\n"
         "  case $before in\n" +
         values +
         "  esac\n"
         "  if [[ -z $words && $word == -* ]]; then\n"
         "    words='" +
         namesOf(optionsOf(app)) +
         "'\n"
         "    for ((i = 1; i < COMP_CWORD; ++i)); do\n"
         "      case ${COMP_WORDS[i]} in\n" +
         cases +
         "      esac\n"
         "    done\n"
         "  elif [[ -z $words && $COMP_CWORD == 1 ]]; then\n"
         "    words='" +
         joined(names) +
         "'\n"
         "  fi\n"
         "  [[ -z $words ]] || mapfile -t COMPREPLY < <(compgen -W \"$words\" -- \"$word\")\n"
         "}\n"
         "complete -o bashdefault -o default -F _velmora_sr velmora-sr\n";
}

std::string zshOptions(const std::vector<Word>& words) {
  std::string text;
  for (const Word& word : words) {
    std::string help = word.help;
    for (char& c : help)
      if (c == '[' || c == ']' || c == ':') c = ' ';
    std::string spec = word.name + "[" + help + "]";
    if (!word.values.empty()) {
      spec += ":value:(" + joined(word.values) + ")";
    } else if (word.takesValue) {
      spec += ":value:_files";
    }
    text += " \\\n        " + inQuotes(spec);
  }
  return text;
}

std::string zshScript(const CLI::App& app) {
  std::string commands;
  std::string cases;
  for (const CLI::App* command : commandsOf(app)) {
    commands +=
        "    " + inQuotes(command->get_name() + ":" + brief(command->get_description())) + "\n";
    cases += "      " + command->get_name() + ") _arguments" + zshOptions(optionsOf(*command)) +
             zshOptions(optionsOf(app)) + " \\\n        '*:file:_files' ;;\n";
  }
  return "#compdef velmora-sr\n"
         "_velmora_sr() {\n"
         "  local -a commands=(\n" +
         commands +
         "  )\n"
         "  local state\n"
         "  _arguments -C" +
         zshOptions(optionsOf(app)) +
         " \\\n        '1:command:->command' '*::argument:->argument'\n"
         "  case $state in\n"
         "  command) _describe command commands ;;\n"
         "  argument)\n"
         "    case $words[1] in\n" +
         cases +
         "    esac\n"
         "    ;;\n"
         "  esac\n"
         "}\n"
         "if [ \"$funcstack[1]\" = _velmora-sr ]; then\n"
         "  _velmora_sr \"$@\"\n"
         "else\n"
         "  compdef _velmora_sr velmora-sr\n"
         "fi\n";
}

std::string fishOptions(const std::vector<Word>& words, const std::string& condition) {
  std::string text;
  for (const Word& word : words) {
    text += "complete -c velmora-sr" + condition + " -l " + word.name.substr(2);
    if (!word.values.empty()) {
      text += " -x -a " + inQuotes(joined(word.values));
    } else if (word.takesValue) {
      text += " -r";
    }
    text += " -d " + inQuotes(word.help) + "\n";
  }
  return text;
}

std::string fishScript(const CLI::App& app) {
  std::string text = "# fish completion of velmora-sr\n" + fishOptions(optionsOf(app), "");
  for (const CLI::App* command : commandsOf(app)) {
    text += "complete -c velmora-sr -n __fish_use_subcommand -f -a " + command->get_name() +
            " -d " + inQuotes(brief(command->get_description())) + "\n";
    text += fishOptions(optionsOf(*command),
                        " -n '__fish_seen_subcommand_from " + command->get_name() + "'");
  }
  return text;
}

}  // namespace

void addCompletion(CLI::App& app) {
  auto shell = std::make_shared<std::string>();
  CLI::App* command = app.add_subcommand("completion", "Write the completion script of a shell");
  command->footer(kHelp);
  command->add_option("SHELL", *shell, "bash, zsh or fish")->required();
  command->callback([shell, &app] {
    if (*shell == "bash") {
      printData(bashScript(app));
    } else if (*shell == "zsh") {
      printData(zshScript(app));
    } else if (*shell == "fish") {
      printData(fishScript(app));
    } else {
      throw UsageError("SHELL: \"" + *shell + "\" is not known; give bash, zsh or fish");
    }
  });
}

}  // namespace velmora::tool
