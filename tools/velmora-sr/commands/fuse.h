// What velmora-sr fuse is asked to do.
#ifndef VELMORA_TOOL_COMMANDS_FUSE_H
#define VELMORA_TOOL_COMMANDS_FUSE_H

#include <memory>
#include <string>
#include <vector>

#include "arguments.h"
#include "burst_options.h"
#include "output_folder.h"
#include "verdict.h"

namespace velmora::tool {

struct FuseOptions {
  std::vector<std::string> inputs;
  std::string bursts;
  OutputFolder folder;
  std::string method;
  std::string reference;
  std::string ghost;
  std::string mask;
  std::string json;
  bool stereo = false;
  bool strict = false;
  BurstOptions burst;
  FrameOptions frames;

  [[nodiscard]] bool camera() const { return method == "camera"; }
  /// The inputs by the names that the usage has for them.
  [[nodiscard]] std::vector<NamedFile> inputFiles() const {
    std::vector<NamedFile> files;
    for (const std::string& file : inputs)
      files.push_back({files.empty() ? "FIRST" : "MORE", file});
    return files;
  }
};

/// A frame with the reader that it came from.
struct FuseFrame {
  std::unique_ptr<FrameReader> reader;
  Picture picture;
};

/// The first frame of a file. Throws Failure when that has none, or one of another size than
/// `first`, which may be null.
FuseFrame readFuseFrame(const FuseOptions& options, const std::string& path,
                        const FuseFrame* first);

/// The name of a file with a number before its extension: "mask.png" becomes "mask-2.png".
std::string numbered(const std::string& path, std::size_t number);

/// Writes what --json asks for.
void writeFusionJson(const FuseOptions& options, const Fusion& fusion);

/// Throws UsageError where what is asked for does not go with the number of frames.
void checkInputs(const FuseOptions& options);

/// Makes one picture of the inputs.
void fuseOne(const FuseOptions& options);

/// --bursts: a picture of each subfolder.
void fuseFolders(const FuseOptions& options);

/// --method burst.
void fuseWithBurst(const FuseOptions& options);

}  // namespace velmora::tool

#endif  // VELMORA_TOOL_COMMANDS_FUSE_H
