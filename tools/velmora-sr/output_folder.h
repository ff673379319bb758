// A folder that takes the outputs of many jobs of one call.
#ifndef VELMORA_TOOL_OUTPUT_FOLDER_H
#define VELMORA_TOOL_OUTPUT_FOLDER_H

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "output_target.h"

namespace velmora::tool {

/// The option texts, empty where not given.
struct OutputFolder {
  std::string path;
  std::string pattern;
  std::string jobs;

  [[nodiscard]] bool given() const { return !path.empty(); }

  /// Throws UsageError for a value that is none.
  void check() const;

  /// The path of an output: by the pattern, with `stem` for %s, or `name` where there is none.
  [[nodiscard]] std::string file(const std::string& stem, const std::string& name) const;

  /// splitIntoJobs() with the folder made before, for jobs that write one of `outputs` each and
  /// read `inputs`. Throws UsageError when two outputs are one file, or an output is an input.
  [[nodiscard]] std::optional<std::size_t> split(const std::vector<std::string>& names,
                                                 const std::vector<std::string>& outputs,
                                                 const std::vector<NamedFile>& inputs,
                                                 const char* unit) const;
};

}  // namespace velmora::tool

#endif  // VELMORA_TOOL_OUTPUT_FOLDER_H
