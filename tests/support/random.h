// Reproducible random data: the same values on every machine and standard library.
#ifndef VELMORA_TESTS_SUPPORT_RANDOM_H
#define VELMORA_TESTS_SUPPORT_RANDOM_H

#include <cstddef>
#include <cstdint>
#include <vector>

namespace velmora::test {

/// SplitMix64.
class Random {
 public:
  explicit Random(uint64_t seed) : state_(seed) {}
  uint64_t next() {
    uint64_t z = (state_ += 0x9E3779B97F4A7C15u);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9u;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBu;
    return z ^ (z >> 31);
  }
  /// Uniform in [low, high].
  int64_t range(int64_t low, int64_t high) {
    return low + static_cast<int64_t>(next() % static_cast<uint64_t>(high - low + 1));
  }
  /// Uniform below `count`, which is not 0.
  std::size_t index(std::size_t count) { return static_cast<std::size_t>(next() % count); }
  /// Uniform in [0, 1).
  double unit() { return static_cast<double>(next() >> 11) * 0x1p-53; }
  std::vector<uint8_t> bytes(std::size_t count) {
    std::vector<uint8_t> data(count);
    for (auto& byte : data)
      byte = static_cast<uint8_t>(next() >> 32);
    return data;
  }

 private:
  uint64_t state_;
};

}  // namespace velmora::test

#endif  // VELMORA_TESTS_SUPPORT_RANDOM_H
