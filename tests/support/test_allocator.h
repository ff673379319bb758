// A counting allocator with canaries and injected failures, for the allocator pair of the library.
#ifndef VELMORA_TESTS_SUPPORT_TEST_ALLOCATOR_H
#define VELMORA_TESTS_SUPPORT_TEST_ALLOCATOR_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace velmora::test {

/// Process-wide: the library's allocator functions carry no context. Blocks are filled with a
/// pattern that no plane is likely to hold, so that a read of unwritten memory shows in results.
class TestAllocator {
 public:
  static void* alloc(uint32_t size, const char* tag, int32_t reserved);
  static void free(void* ptr, const char* tag, int32_t reserved);

  /// Forgets all requests, faults and failures, and releases blocks that are still live.
  static void reset();
  /// Lets the n-th request from now on (0: the next) return null; -1: none.
  static void failRequest(int n);
  /// Sizes of all requests since reset, failed ones included.
  static const std::vector<uint32_t>& requests();
  static std::size_t live();
  /// The most bytes that were live at once since reset.
  static std::size_t peakBytes();
  /// Blocks returned twice, unknown blocks, wrong tags, overwritten canaries; empty when clean.
  static std::string faults();
};

}  // namespace velmora::test

#endif  // VELMORA_TESTS_SUPPORT_TEST_ALLOCATOR_H
