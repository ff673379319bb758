// Keeps the library's own lines out of the results.
#ifndef VELMORA_BENCH_QUIET_LIBRARY_H
#define VELMORA_BENCH_QUIET_LIBRARY_H

#include <unistd.h>
#include <ext/stdio_filebuf.h>

#include <cstdio>
#include <iostream>

namespace velmora::bench {

/// The library prints its progress to standard output, where the results go too: while one lives,
/// the results have a descriptor of their own and what is printed otherwise goes nowhere.
class QuietLibrary {
 public:
  QuietLibrary() = default;
  QuietLibrary(const QuietLibrary&) = delete;
  QuietLibrary& operator=(const QuietLibrary&) = delete;
  ~QuietLibrary() {
    std::cout.flush();
    std::cout.rdbuf(before_);
  }

 private:
  __gnu_cxx::stdio_filebuf<char> results_{dup(STDOUT_FILENO), std::ios::out};
  std::streambuf* before_ = std::cout.rdbuf(&results_);
  bool silenced_ = std::freopen("/dev/null", "w", stdout) != nullptr;
};

}  // namespace velmora::bench

#endif  // VELMORA_BENCH_QUIET_LIBRARY_H
