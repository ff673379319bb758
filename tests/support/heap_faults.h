// Counts and fails requests for memory.
//
// For programs that link velmora_heap_faults: it wraps malloc and free through the linker, so that
// requests of shared libraries do not count, and takes the place of operator new.
#ifndef VELMORA_TESTS_SUPPORT_HEAP_FAULTS_H
#define VELMORA_TESTS_SUPPORT_HEAP_FAULTS_H

#include <cstddef>

namespace velmora::test {

/// Requests made by malloc, by all forms of new, or by its nothrow forms alone.
enum class Requests { kMalloc, kNew, kNothrowNew };

/// Watches one kind of request, of all threads, from its construction to its destruction; one at a
/// time.
class HeapFaults {
 public:
  /// Lets request `failing` (0: the first from now on; -1: none) fail, and with `laterOnes` all
  /// behind it: null from malloc and nothrow new, std::bad_alloc from the other forms.
  explicit HeapFaults(int failing = -1, Requests kind = Requests::kMalloc, bool laterOnes = false);
  ~HeapFaults();
  HeapFaults(const HeapFaults&) = delete;
  HeapFaults& operator=(const HeapFaults&) = delete;

  /// Requests so far, failed ones included.
  [[nodiscard]] int requests() const;
  /// Blocks taken by malloc since construction and not freed.
  [[nodiscard]] std::size_t live() const;
};

/// Blocks taken by new that are live in this program.
std::ptrdiff_t liveNewBlocks();

}  // namespace velmora::test

#endif  // VELMORA_TESTS_SUPPORT_HEAP_FAULTS_H
