// The kd-tree forest and its search once more, written for clarity alone: nodes in a vector, one
// function each, no kernels. What the library builds and finds must equal it exactly.
#ifndef VELMORA_TESTS_REGISTRATION_PLAIN_FOREST_H
#define VELMORA_TESTS_REGISTRATION_PLAIN_FOREST_H

#include <algorithm>
#include <array>
#include <cstdint>
#include <numeric>
#include <utility>
#include <vector>

namespace velmora::test {

using Descriptor = std::array<int32_t, 64>;

class PlainForest {
 public:
  struct Node {
    int32_t feature, value;
    int low, high;  ///< indices of the children in nodes(); -1 in a leaf
  };
  struct Neighbours {
    std::array<int32_t, 2> points = {0, 0};
    std::array<int32_t, 2> distances = {INT32_MAX, INT32_MAX};
  };

  explicit PlainForest(const std::vector<Descriptor>& points) : points_(points) {
    uint64_t state = UINT64_MAX;
    std::vector<int> order(points.size());
    std::iota(order.begin(), order.end(), 0);
    for (int tree = 0; tree < 4; ++tree) {
      for (std::size_t i = 1; i < order.size(); ++i) {
        state = (state & 0xFFFFFFFF) * 4164903690u + (state >> 32);
        std::swap(order[i], order[(state & 0xFFFFFFFF) % (i + 1)]);
      }
      roots_.push_back(points.empty() ? -1 : build(order.data(), static_cast<int>(order.size())));
    }
  }

  [[nodiscard]] const std::vector<Node>& nodes() const { return nodes_; }
  [[nodiscard]] int root(std::size_t tree) const { return roots_[tree]; }

  /// The two nearest points; [1] is the nearest.
  [[nodiscard]] Neighbours search(const Descriptor& query) const {
    struct Branch {
      int32_t bound;
      int node;
      bool taken;
    };
    Neighbours found;
    std::vector<bool> seen(points_.size(), false);
    std::vector<Branch> branches;
    int checks = 0;
    const auto descend = [&](int at, int32_t bound) {
      while (nodes_[at].low >= 0) {
        const Node& node = nodes_[at];
        const int64_t difference = wrap(int64_t{query[node.feature]} - node.value);
        const int32_t other = wrap(bound + ((difference * difference) >> 23));
        if (other < found.distances[0] && branches.size() < 2 * points_.size()) {
          branches.push_back({other, difference < 0 ? node.high : node.low, false});
        }
        at = difference < 0 ? node.low : node.high;
      }
      const int32_t point = nodes_[at].feature;
      if (seen[point] || checks == 32) return;
      seen[point] = true;
      ++checks;
      const int32_t distance = distanceOf(points_[point], query);
      if (distance < found.distances[1]) {
        found = {{found.points[1], point}, {found.distances[1], distance}};
      } else if (distance < found.distances[0]) {
        found.points[0] = point;
        found.distances[0] = distance;
      }
    };
    for (const int root : roots_) {
      if (root >= 0) descend(root, 0);
    }
    while (checks < 32) {
      Branch* best = nullptr;
      for (Branch& branch : branches) {
        if (!branch.taken && (best == nullptr || branch.bound < best->bound)) best = &branch;
      }
      if (best == nullptr) break;
      best->taken = true;
      descend(best->node, best->bound);
    }
    return found;
  }

 private:
  static int32_t wrap(int64_t value) { return static_cast<int32_t>(value); }

  static int32_t distanceOf(const Descriptor& a, const Descriptor& b) {
    int64_t sum = 0;
    for (std::size_t d = 0; d < 64; ++d) {
      const int64_t reduced = wrap(int64_t{a[d]} - b[d]) >> 8;
      sum = wrap(sum + wrap(reduced * reduced));
    }
    return wrap(sum);
  }

  /// The tree over a list, which it puts in the order of the leaves.
  int build(int* order, int count) {
    const int self = static_cast<int>(nodes_.size());
    nodes_.push_back({order[0], 0, -1, -1});
    if (count == 1) return self;

    const int samples = std::min(count, 101);
    int feature = 0;
    int32_t cut = 0, widest = 0;
    for (int d = 0; d < 64; ++d) {
      int32_t sum = 0, variance = 0;
      for (int i = 0; i < samples; ++i)
        sum = wrap(int64_t{sum} + points_[order[i]][d]);
      const int32_t mean = sum / samples;
      for (int i = 0; i < samples; ++i) {
        const int64_t off = wrap(int64_t{points_[order[i]][d]} - mean) >> 12;
        variance = wrap(variance + off * off);
      }
      if (d != 0 && variance <= widest) continue;
      widest = variance;
      feature = d;
      cut = mean;
    }
    // Swaps from both ends until all below the limit stand in front.
    const auto split = [&](int left, int64_t limit) {
      for (int right = count;;) {
        while (left < right && points_[order[left]][feature] < limit)
          ++left;
        while (left < right && points_[order[right - 1]][feature] >= limit)
          --right;
        if (left == right) return left;
        std::swap(order[left++], order[--right]);
      }
    };
    const int below = split(0, cut);
    const int notAbove = split(below, int64_t{cut} + 1);
    int low = std::max(below, std::min(notAbove, count / 2));
    if (below == count || notAbove == 0) low = count / 2;

    const int lowChild = build(order, low);
    const int highChild = build(order + low, count - low);
    nodes_[self] = {feature, cut, lowChild, highChild};
    return self;
  }

  const std::vector<Descriptor>& points_;
  std::vector<Node> nodes_;
  std::vector<int> roots_;
};

}  // namespace velmora::test

#endif  // VELMORA_TESTS_REGISTRATION_PLAIN_FOREST_H
