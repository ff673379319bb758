// One harness for all kernels: an entry draws its arguments from a trial, which is run once with
// the scalar kernel and once with each variant of it.
#ifndef VELMORA_TESTS_KERNELS_TRIAL_H
#define VELMORA_TESTS_KERNELS_TRIAL_H

#include <gtest/gtest.h>

#include <deque>
#include <functional>
#include <type_traits>

#include "cpu/cpu_functions.h"
#include "support/page_buffer.h"
#include "support/random.h"

namespace velmora::test {

/// One call of a kernel. Trials of the same numbers draw the same arguments.
class Trial {
 public:
  /// How filled() fills: with values of the whole range, the highest, the lowest, either of these.
  static constexpr int kModes = 4;

  Trial(int32_t rowLength, int fillMode, int number)
      : count(rowLength), mode(fillMode), round(number) {}

  int32_t range(int64_t low, int64_t high) { return static_cast<int32_t>(random.range(low, high)); }
  /// A buffer that nobody has written, under watch on both sides.
  template <typename T>
  T* buffer(std::ptrdiff_t size) {
    const auto& bytes = buffers_.emplace_back(static_cast<std::size_t>(size) * sizeof(T), against);
    return static_cast<T*>(static_cast<void*>(bytes.data()));
  }
  template <typename T>
  T* filled(std::ptrdiff_t size, int64_t low, int64_t high) {
    T* values = buffer<T>(size);
    for (std::ptrdiff_t i = 0; i < size; ++i) {
      const int of = mode == 3 ? range(1, 2) : mode;
      values[i] = static_cast<T>(of == 0 ? random.range(low, high) : of == 1 ? high : low);
    }
    return values;
  }
  /// What this trial left otherwise than the other one; empty: nothing.
  [[nodiscard]] std::string difference(const Trial& other) const;

  const int32_t count;
  int mode;
  const int round;
  Random random{static_cast<uint64_t>(count * 1000 + mode * 100 + round)};
  Against against = Against::pageEnd;
  int32_t result = 0;  ///< what the kernel returned

 private:
  std::deque<PageBuffer<uint8_t>> buffers_;
};

/// An entry of the table of kernels and how it is called.
struct Entry {
  const char* name;
  int rounds;  ///< trials per row length and mode
  std::function<void(CpuSet, Trial&)> call;
  std::function<bool(CpuSet, CpuSet)> same;  ///< two sets have one function
};

inline void PrintTo(const Entry& entry, std::ostream* out) {
  *out << entry.name;
}

template <typename Family, typename Kernel>
Entry entry(const char* name, int rounds, const Family& (*family)(CpuSet), Kernel Family::*kernel,
            void (*call)(std::type_identity_t<Kernel>, Trial&)) {
  return {name, rounds, [=](CpuSet set, Trial& trial) { call(family(set).*kernel, trial); },
          [=](CpuSet a, CpuSet b) { return family(a).*kernel == family(b).*kernel; }};
}

class KernelVariants : public testing::TestWithParam<Entry> {};

}  // namespace velmora::test

#endif  // VELMORA_TESTS_KERNELS_TRIAL_H
