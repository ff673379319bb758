// Counts and fails the C heap requests of the code under test.
//
// Works by the linker's --wrap, so only for programs that link velmora_heap_faults; requests made
// inside shared libraries (operator new among them) do not count.
#ifndef VELMORA_TESTS_SUPPORT_HEAP_FAULTS_H
#define VELMORA_TESTS_SUPPORT_HEAP_FAULTS_H

#include <cstddef>

namespace velmora::test {

/// Watches malloc and free from its construction to its destruction; one at a time, any threads.
class HeapFaults {
 public:
  /// Lets request `failing` (0: the first from now on) return null; -1: none.
  explicit HeapFaults(int failing = -1);
  ~HeapFaults();
  HeapFaults(const HeapFaults&) = delete;
  HeapFaults& operator=(const HeapFaults&) = delete;

  /// Requests so far, the failed one included.
  [[nodiscard]] int requests() const;
  /// Blocks taken since construction and not freed.
  [[nodiscard]] std::size_t live() const;
};

}  // namespace velmora::test

#endif  // VELMORA_TESTS_SUPPORT_HEAP_FAULTS_H
