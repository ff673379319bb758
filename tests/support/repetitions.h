// How often tests repeat what they try many times.
#ifndef VELMORA_TESTS_SUPPORT_REPETITIONS_H
#define VELMORA_TESTS_SUPPORT_REPETITIONS_H

namespace velmora::test {

/// `count`, or a tenth of it in a build that runs under user-mode emulation, where starting a
/// thread costs a hundred times as much. For repetitions that hunt for races and leaks; inputs that
/// differ from each other are all tried everywhere.
constexpr int repetitions(int count) {
#ifdef VELMORA_TESTS_EMULATED
  return count / 10;
#else
  return count;
#endif
}

}  // namespace velmora::test

#endif  // VELMORA_TESTS_SUPPORT_REPETITIONS_H
