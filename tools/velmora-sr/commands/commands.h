// The subcommands: each adds itself to the command line and runs when it was called.
#ifndef VELMORA_TOOL_COMMANDS_COMMANDS_H
#define VELMORA_TOOL_COMMANDS_COMMANDS_H

#include <CLI/CLI.hpp>
#include <string>

#include "arguments.h"
#include "burst_options.h"
#include "output_folder.h"

namespace velmora::tool {

/// Adds the options that tell where frames come from and what becomes of them.
void addInputOptions(CLI::App& command, FrameOptions& options);
void addOutputOptions(CLI::App& command, FrameOptions& options);
/// Adds --output-dir, in the place of -o, --name and --jobs, with their descriptions.
void addFolderOptions(CLI::App& command, OutputFolder& folder, const char* help,
                      const char* nameHelp, const char* jobsHelp);
void addGeometryOptions(CLI::App& command, FrameOptions& options);
void addTuningOptions(CLI::App& command, FrameOptions& options);
/// Those of the burst stage, but for the noise, which goes by several names.
void addBurstOptions(CLI::App& command, BurstOptions& options,
                     const std::string& defaultEffort = "normal");

// Each registers one subcommand. Its work runs as the subcommand's callback, by exceptions of
// errors.h when it cannot be done.
void addUpscale(CLI::App& app);
void addFuse(CLI::App& app);
void addVideo(CLI::App& app);
void addDemo(CLI::App& app);
void addKernels(CLI::App& app);
void addRegister(CLI::App& app);
void addInfo(CLI::App& app);
void addCompletion(CLI::App& app);

/// What --version prints.
std::string versionText();

/// Takes the instruction set that --cpu names; throws UsageError for one that this machine has not.
/// Where it names none the variable VELMORA_SR_CPU stands, with a warning when it has no effect.
void chooseKernelSet(const std::string& wanted);

}  // namespace velmora::tool

#endif  // VELMORA_TOOL_COMMANDS_COMMANDS_H
