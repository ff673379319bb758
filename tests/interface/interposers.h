// Stand-ins between the library and the C library: failing heap requests, failing thread starts,
// and dump files that go to another directory. They work on calls from the test program and from
// the library's objects in it, through the linker's --wrap.
#ifndef VELMORA_TESTS_INTERFACE_INTERPOSERS_H
#define VELMORA_TESTS_INTERFACE_INTERPOSERS_H

#include <string>

namespace velmora::test {

/// While one lives, no thread can be started.
class ThreadFailure {
 public:
  ThreadFailure();
  ~ThreadFailure();
  ThreadFailure(const ThreadFailure&) = delete;
  ThreadFailure& operator=(const ThreadFailure&) = delete;
};

/// While one lives, files below /data/zelk/ are opened in this directory instead.
class DumpRedirection {
 public:
  explicit DumpRedirection(std::string directory);
  ~DumpRedirection();
  DumpRedirection(const DumpRedirection&) = delete;
  DumpRedirection& operator=(const DumpRedirection&) = delete;
};

}  // namespace velmora::test

#endif  // VELMORA_TESTS_INTERFACE_INTERPOSERS_H
