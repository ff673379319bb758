// Workers and memory as tests need them.
#ifndef VELMORA_TESTS_BURST_WORKERS_FOR_TESTS_H
#define VELMORA_TESTS_BURST_WORKERS_FOR_TESTS_H

#include <algorithm>
#include <cstdlib>
#include <numeric>
#include <vector>

#include "burst/memory.h"
#include "burst/workers.h"
#include "support/random.h"

namespace velmora::test {

/// Runs parts in a shuffled order with shuffled workers, and can cancel.
class ShufflingWorkers final : public burst::Workers {
 public:
  explicit ShufflingWorkers(int32_t count, int runsUntilCancel = -1)
      : count_(count), left_(runsUntilCancel) {}
  [[nodiscard]] int32_t count() const override { return count_; }
  void run(int32_t parts, double weight,
           const std::function<void(int32_t, int32_t)>& part) override {
    if (left_-- == 0) throw burst::Cancelled();
    work += weight;
    std::vector<int32_t> order(static_cast<std::size_t>(parts));
    std::iota(order.begin(), order.end(), 0);
    for (std::size_t i = order.size(); i > 1; --i)
      std::swap(order[i - 1], order[random_.index(i)]);
    for (const int32_t i : order)
      part(i, static_cast<int32_t>(random_.range(0, count_ - 1)));
  }
  void expect(double) override {}

  double work = 0;  ///< what run() was asked for

 private:
  int32_t count_;
  int left_;
  Random random_{1};
};

/// malloc and free.
inline burst::Memory& memory() {
  static burst::Memory instance({[](void*, std::size_t size) { return std::malloc(size); },
                                 [](void*, void* block) { std::free(block); }, nullptr});
  return instance;
}

/// malloc and free, the n-th request failing.
struct TestMemory {
  explicit TestMemory(int requestsUntilFailure = -1) : left(requestsUntilFailure) {}
  int left;
  burst::Memory memory{{[](void* user, std::size_t size) {
                          auto& self = *static_cast<TestMemory*>(user);
                          return self.left-- == 0 ? nullptr : std::malloc(size);
                        },
                        [](void*, void* block) { std::free(block); }, this}};
};

}  // namespace velmora::test

#endif  // VELMORA_TESTS_BURST_WORKERS_FOR_TESTS_H
