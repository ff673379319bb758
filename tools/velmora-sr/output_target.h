// Which file the name of an output stands for.
#ifndef VELMORA_TOOL_OUTPUT_TARGET_H
#define VELMORA_TOOL_OUTPUT_TARGET_H

#include <string>
#include <vector>

namespace velmora::tool {

/// Where `path` leads: symbolic links are followed, also to a file that is not there yet. Throws
/// Failure where they lead round in a circle, or the file cannot be looked up.
std::string targetOf(const std::string& path);

/// A file as the command line names it; an empty path when it does not.
struct NamedFile {
  const char* option;
  std::string path;
};

/// Throws UsageError when two outputs are one file, or an output is one of the inputs: under
/// whatever names, by links, or not there yet. Looks at names only, so that it can come before
/// everything else. "-" is the standard stream. Pipes and devices may be named as often as one
/// likes.
void requireSeparateFiles(const std::vector<NamedFile>& outputs,
                          const std::vector<NamedFile>& inputs);

}  // namespace velmora::tool

#endif  // VELMORA_TOOL_OUTPUT_TARGET_H
