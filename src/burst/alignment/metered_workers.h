// Workers that are asked for exactly what a stage has announced, however soon it is done.
#ifndef VELMORA_SRC_BURST_ALIGNMENT_METERED_WORKERS_H
#define VELMORA_SRC_BURST_ALIGNMENT_METERED_WORKERS_H

#include <algorithm>

#include "burst/workers.h"

namespace velmora::burst {

/// Hands parts on, their weights as long as the announced work lasts.
class MeteredWorkers final : public Workers {
 public:
  MeteredWorkers(Workers& workers, double work) : workers_(workers), left_(work) {}
  [[nodiscard]] int32_t count() const override { return workers_.count(); }
  void run(int32_t parts, double weight,
           const std::function<void(int32_t i, int32_t worker)>& part) override {
    weight = std::min(weight, left_);
    left_ -= weight;
    workers_.run(parts, weight, part);
  }
  void expect(double weight) override { workers_.expect(weight); }
  /// Asks for what is left over.
  void finish() {
    run(1, left_, [](int32_t, int32_t) {});
  }

 private:
  Workers& workers_;
  double left_;
};

}  // namespace velmora::burst

#endif  // VELMORA_SRC_BURST_ALIGNMENT_METERED_WORKERS_H
