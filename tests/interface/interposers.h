// Stand-ins between the library and the C library: failing thread starts, and dump files that go to
// another directory. They work on calls from the test program and from the library's objects in it,
// through the linker's --wrap.
#ifndef VELMORA_TESTS_INTERFACE_INTERPOSERS_H
#define VELMORA_TESTS_INTERFACE_INTERPOSERS_H

#include <map>
#include <string>

#include "support/scratch_directory.h"

namespace velmora::test {

/// While one lives, no thread can be started.
class ThreadFailure {
 public:
  ThreadFailure();
  ~ThreadFailure();
  ThreadFailure(const ThreadFailure&) = delete;
  ThreadFailure& operator=(const ThreadFailure&) = delete;
};

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
