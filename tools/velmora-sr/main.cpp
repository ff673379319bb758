// velmora-sr: enlarges photos and video with libvelmora_sr.
#include <CLI/CLI.hpp>
#include <exception>
#include <memory>
#include <new>
#include <string>

#include "commands/commands.h"
#include "commands/help.h"
#include "engine/library_log.h"
#include "engine/session.h"
#include "errors.h"
#include "interrupt.h"
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
  std::string cpu;
  bool idle = false;  ///< no subcommand was named
};

void addGlobalOptions(CLI::App& app, GlobalOptions& options) {
  auto* quiet = app.add_flag("-q,--quiet", options.quiet, "Say nothing but errors");
  app.add_flag("-v,--verbose", options.verbose,
               "Show what the library prints and logs, on standard error")
      ->excludes(quiet);
  app.add_flag("--timings", options.timings,
               "Show at the end where the time went and how much memory it took")
      ->excludes(quiet);
  app.add_option(
         "--cpu", options.cpu,
         "Kernels to use: scalar, or another set that --version lists (the fastest one); the "
         "output is the same with all of them")
      ->type_name("SET");
  app.add_flag("--version", options.version,
               "Show the versions of tool and library, and the "
               "kernels in use");
  // Carried out before any subcommand, wherever the options stand.
  app.parse_complete_callback([&options, &app] {
    options.idle = app.get_subcommands().empty();
    if (options.quiet) status().setLevel(Status::Level::quiet);
    if (!options.cpu.empty()) chooseKernelSet(options.cpu);
    if (!options.version) requireMatchingLibrary();
    if (options.verbose) {
      status().setLevel(Status::Level::verbose);
      library_log::show();
      showLibraryOutput();
    }
  });
}

int usage(const std::string& message, const std::string& hint) {
  status().error(message);
  if (!status().quiet()) status().note("see " + hint);
  return kUsage;
}

int run(int argc, char** argv) {
  CLI::App app("Enlarges photos and video with libvelmora_sr.", "velmora-sr");
  app.footer(
      "Status and messages go to standard error, data alone to standard output.\n"
      "Exit status: 0 done, 1 failed, 2 wrong use.");
  app.formatter(std::make_shared<HelpFormatter>());
  app.set_help_flag("-h,--help", "Show this help, or that of a subcommand behind it");
  GlobalOptions options;
  addGlobalOptions(app, options);
  app.fallthrough();
  app.require_subcommand(0, 1);
  addUpscale(app);
  addFuse(app);
  addVideo(app);
  addDemo(app);
  addKernels(app);
  addRegister(app);
  addInfo(app);

  const auto hint = [&] {
    const auto called = app.get_subcommands();
    return called.empty() ? std::string("velmora-sr --help")
                          : "velmora-sr " + called.front()->get_name() + " --help";
  };
  try {
    app.parse(argc, argv);
    if (options.version) {
      printData(versionText());
      requireMatchingLibrary();
    } else if (options.idle) {
      return usage("say what to do: upscale, fuse, video, register, info, demo or kernels", hint());
    }
    if (options.timings) {
      for (const std::string& line : timings::report())
        status().note(line);
    }
    return kDone;
  } catch (const CLI::CallForHelp&) {
    const auto called = app.get_subcommands();
    printData(called.empty() ? app.help() : called.front()->help("velmora-sr"));
    return kDone;
  } catch (const CLI::ParseError& error) {
    return usage(error.what(), hint());
  } catch (const UsageError& error) {
    return usage(error.what(), hint());
  } catch (const Failure& failure) {
    status().error(failure.what());
  } catch (const Interrupted& interrupted) {
    status().error(interrupted.text);
    interrupt::die(interrupted.signal);
  } catch (const std::bad_alloc&) {
    status().error("out of memory");
  } catch (const std::exception& error) {
    status().error(error.what());
  }
  return kFailed;
}

}  // namespace
}  // namespace velmora::tool

int main(int argc, char** argv) {
  using namespace velmora::tool;
  claimStandardOutput();
  interrupt::install();
  return run(argc, argv);
}
