// velmora-sr: enlarges photos and video with libvelmora_sr.
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <exception>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "commands/commands.h"
#include "commands/help.h"
#include "engine/library_log.h"
#include "engine/session.h"
#include "errors.h"
#include "interrupt.h"
#include "output_file.h"
#include "size_limits.h"
#include "spelling.h"
#include "status.h"
#include "streams.h"
#include "timings.h"

namespace velmora::tool {
namespace {

enum ExitStatus { kDone = 0, kFailed = 1, kUsage = 2 };

struct GlobalOptions {
  bool quiet = false;
  bool verbose = false;
  bool version = false;
  bool timings = false;
  bool force = false;
  std::string cpu;
  std::string maxPixels;
};

void addGlobalOptions(CLI::App& app, GlobalOptions& options) {
  auto* quiet = app.add_flag("-q,--quiet", options.quiet, "Say nothing but errors");
  app.add_flag("-v,--verbose", options.verbose,
               "Show what the library prints and logs, on standard error")
      ->excludes(quiet);
  app.add_flag("-f,--force", options.force, "Replace output files that exist; else they are kept");
  app.add_flag("--timings", options.timings,
               "Show at the end where the time went and how much memory it took")
      ->excludes(quiet);
  app.add_option("--cpu", options.cpu,
                 "Instruction set to use: scalar, or another one that --version lists (the fastest "
                 "one); the "
                 "output is the same with all of them")
      ->type_name("SET");
  app.add_option("--max-pixels", options.maxPixels,
                 "Largest frame, read or written, in pixels or millions of them: 24M (600M)")
      ->type_name("N");
  app.add_flag("--version", options.version,
               "Show the versions of tool and library, and the "
               "instruction set in use");
}

void carryOut(const GlobalOptions& options) {
  if (options.quiet) status().setLevel(Status::Level::quiet);
  keepsExisting = !options.force;
  chooseKernelSet(options.cpu);
  if (!options.maxPixels.empty()) allowedPixels = parsePixels("--max-pixels", options.maxPixels);
  if (!options.version) requireMatchingLibrary();
  if (options.verbose) {
    status().setLevel(Status::Level::verbose);
    library_log::show();
    showLibraryOutput();
  }
}

// Every name and option that can stand where `command` was called.
std::vector<std::string> knownOptions(const CLI::App& app, const CLI::App* command) {
  std::vector<std::string> known;
  for (const CLI::App* part : {command, &app}) {
    if (part == nullptr) continue;
    for (const CLI::Option* option : part->get_options()) {
      for (const std::string& name : option->get_lnames())
        known.push_back("--" + name);
    }
  }
  return known;
}

std::string withNearest(std::string sentence, const std::string& word,
                        const std::vector<std::string>& known) {
  const std::string nearest = nearestWord(word, known);
  if (!nearest.empty()) sentence.append("; did you mean ").append(nearest).append("?");
  return sentence;
}

// What is wrong with the first word that no option and no command takes; empty when there is none.
std::string unknownWord(const CLI::App& app, const CLI::App* command) {
  const std::vector<std::string> words = app.remaining(true);
  if (words.empty()) return "";
  const std::string word = words.front().substr(0, words.front().find('='));
  if (word.starts_with('-') && word.size() > 1) {
    const std::string owner = command == nullptr ? "" : " of " + command->get_name();
    return withNearest('"' + word + "\" is no option" + owner, word, knownOptions(app, command));
  }
  if (command != nullptr) {
    return '"' + words.front() + "\" is one argument more than " + command->get_name() + " takes";
  }
  std::vector<std::string> commands;
  for (const CLI::App* known : app.get_subcommands([](const CLI::App*) { return true; }))
    commands.push_back(known->get_name());
  return withNearest('"' + words.front() + "\" is no command", words.front(), commands);
}

// An empty value would look like none at all.
void requireValues(const CLI::App& app, const CLI::App* command) {
  for (const CLI::App* part : {&app, command}) {
    if (part == nullptr) continue;
    for (const CLI::Option* option : part->get_options()) {
      for (const std::string& value : option->results()) {
        if (!value.empty()) continue;
        throw UsageError(option->get_name() + ": \"\" is no value" +
                         (option->get_positional() ? "" : "; give " + option->get_type_name()));
      }
    }
  }
}

// The work is done: a table that finds no memory is no failure.
void sayTimings() {
  try {
    for (const std::string& line : timings::report())
      status().note(line);
  } catch (const std::bad_alloc&) {
    status().warn("no memory for the timings");
  }
}

int run(int argc, char** argv) {
  CLI::App app("Enlarges photos and video with libvelmora_sr.", "velmora-sr");
  app.footer(
      "Status and messages go to standard error, data alone to standard output.\n"
      "Exit status: 0 done, 1 failed, 2 wrong use.");
  app.formatter(std::make_shared<HelpFormatter>());
  app.set_help_flag("-h,--help", "Show this help, or that of a subcommand behind it");
  app.fallthrough();
  app.require_subcommand(0, 1);
  GlobalOptions options;
  addGlobalOptions(app, options);
  addUpscale(app);
  addFuse(app);
  addVideo(app);
  addDemo(app);
  addKernels(app);
  addRegister(app);
  addInfo(app);
  addCompletion(app);
  const auto called = [&app]() -> const CLI::App* {
    const auto commands = app.get_subcommands();
    return commands.empty() ? nullptr : commands.front();
  };
  bool idle = false;  // no subcommand was named
  // Carried out before any subcommand, wherever the options stand.
  app.parse_complete_callback([&] {
    idle = called() == nullptr;
    requireValues(app, called());
    carryOut(options);
  });

  try {
    try {
      app.parse(argc, argv);
    } catch (const CLI::CallForHelp&) {
      printData(called() == nullptr ? app.help() : called()->help("velmora-sr"));
      return kDone;
    } catch (const CLI::ParseError& error) {
      // A misspelt option is also missed under its right name: say what was typed.
      const std::string unknown = unknownWord(app, called());
      throw UsageError(unknown.empty() ? error.what() : unknown);
    }
    if (options.version) {
      printData(versionText());
      requireMatchingLibrary();
    } else if (idle) {
      throw UsageError(
          "say what to do: upscale, fuse, video, register, info, demo, kernels or completion");
    }
  } catch (const UsageError& error) {
    const std::string command = called() == nullptr ? "" : called()->get_name() + " ";
    const std::string hint = "see velmora-sr " + command + "--help";
    status().error(error.what());
    status().note(hint);
    return kUsage;
  }
  if (options.timings) sayTimings();
  return kDone;
}

// Says what went wrong: for the handler of an exception. Allocates nothing.
int sayWhatFailed() noexcept {
  try {
    throw;
  } catch (const Interrupted& interrupted) {
    status().error(interrupted.text);
    interrupt::die(interrupted.signal);
  } catch (const std::bad_alloc&) {
    status().error("out of memory");
  } catch (const std::exception& error) {
    status().error(error.what());
  } catch (...) {
    status().error("unknown error");
  }
  return kFailed;
}

// For what main() cannot catch: an exception while static objects are made or are destroyed.
[[noreturn]] void onTerminate() {
  interrupt::removeUnfinishedFiles();
  if (std::current_exception()) {
    sayWhatFailed();
  } else {
    status().error("out of memory");  // not even an exception could be made
  }
  _exit(kFailed);
}

// Before any static object of the tool is made.
[[gnu::constructor(101)]] void catchWhatNobodyCatches() {
  std::set_terminate(onTerminate);
}

}  // namespace
}  // namespace velmora::tool

int main(int argc, char** argv) {
  using namespace velmora::tool;
  try {
    claimStandardOutput();
    interrupt::install();
    return run(argc, argv);
  } catch (...) {
    return sayWhatFailed();
  }
}
