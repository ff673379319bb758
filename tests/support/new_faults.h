// Fails chosen requests made by operator new. Programs that use it compile new_faults.cpp, which
// takes the place of operator new.
#ifndef VELMORA_TESTS_SUPPORT_NEW_FAULTS_H
#define VELMORA_TESTS_SUPPORT_NEW_FAULTS_H

#include <cstddef>

namespace velmora::test {

/// While it lives, the n-th request of this thread (0: the next) and all later ones fail: null from
/// the nothrow forms of new, std::bad_alloc from the others. Requests are counted from
/// construction.
class NewFaults {
 public:
  /// Which forms of new count and fail.
  enum class Forms { kAll, kNothrow };

  explicit NewFaults(std::ptrdiff_t failFrom, Forms forms = Forms::kAll);
  ~NewFaults();
  NewFaults(const NewFaults&) = delete;
  NewFaults& operator=(const NewFaults&) = delete;

  /// Lets only the n-th request fail and later ones succeed again.
  void once();
};

/// Blocks of the C++ heap that are live in this program.
std::ptrdiff_t liveNewBlocks();

}  // namespace velmora::test

#endif  // VELMORA_TESTS_SUPPORT_NEW_FAULTS_H
