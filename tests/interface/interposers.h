// Sends the files of debug dumps to another directory: a stand-in between the library and open(),
// through the linker's --wrap.
#ifndef VELMORA_TESTS_INTERFACE_INTERPOSERS_H
#define VELMORA_TESTS_INTERFACE_INTERPOSERS_H

#include <map>
#include <string>

#include "support/scratch_directory.h"

namespace velmora::test {

/// While one lives, files below /data/zelk/ are opened in a scratch directory instead.
class DumpRedirection {
 public:
  DumpRedirection();
  ~DumpRedirection();
  DumpRedirection(const DumpRedirection&) = delete;
  DumpRedirection& operator=(const DumpRedirection&) = delete;

  [[nodiscard]] std::string path(const std::string& name) const { return scratch_.path(name); }
  /// Contents of the files so far, by name.
  [[nodiscard]] std::map<std::string, std::string> files() const;

 private:
  ScratchDirectory scratch_;
};

}  // namespace velmora::test

#endif  // VELMORA_TESTS_INTERFACE_INTERPOSERS_H
