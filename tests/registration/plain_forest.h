// The kd-tree forest and its search once more, written for clarity alone: nodes in a vector, one
// function each, no kernels. What the library builds and finds must equal it exactly.
#ifndef VELMORA_TESTS_REGISTRATION_PLAIN_FOREST_H
#define VELMORA_TESTS_REGISTRATION_PLAIN_FOREST_H

#include <array>
#include <cstdint>
#include <utility>
#include <vector>

namespace velmora::test {

using Descriptor = std::array<int32_t, 64>;

class PlainForest {
 public:
  struct Node {
    int32_t feature;
    int32_t value;
    int low;  ///< index of the child in nodes(); -1 in a leaf
    int high;
  };
  struct Neighbours {
    std::array<int32_t, 2> points = {0, 0};
    std::array<int32_t, 2> distances = {INT32_MAX, INT32_MAX};
  };

  explicit PlainForest(const std::vector<Descriptor>& points) : points_(points) {
    uint64_t state = UINT64_MAX;
    std::vector<int> order(points.size());
    for (std::size_t i = 0; i < order.size(); ++i)
      order[i] = static_cast<int>(i);
    for (int tree = 0; tree < 4; ++tree) {
      for (std::size_t i = 1; i < order.size(); ++i) {
        state = (state & 0xFFFFFFFF) * 4164903690u + (state >> 32);
        std::swap(order[i], order[(state & 0xFFFFFFFF) % (i + 1)]);
      }
      roots_.push_back(points.empty() ? -1 : build(order, 0, order.size()));
    }
  }

  [[nodiscard]] const std::vector<Node>& nodes() const { return nodes_; }
  [[nodiscard]] int root(std::size_t tree) const { return roots_[tree]; }

  /// The two nearest points; [1] is the nearest.
  [[nodiscard]] Neighbours search(const Descriptor& query) const {
    Neighbours found;
    std::vector<bool> seen(points_.size(), false);
    std::vector<std::pair<int32_t, int>> branches;  // bound, node
    std::vector<bool> taken;
    int checks = 0;
    const auto descend = [&](int at, int32_t bound) {
      while (nodes_[index(at)].low >= 0) {
        const Node& node = nodes_[index(at)];
        const int64_t difference = wrap(int64_t{query[index(node.feature)]} - node.value);
        const int32_t other = wrap(bound + ((difference * difference) >> 23));
        if (other < found.distances[0] && branches.size() < 2 * points_.size()) {
          branches.emplace_back(other, difference < 0 ? node.high : node.low);
          taken.push_back(false);
        }
        at = difference < 0 ? node.low : node.high;
      }
      const int32_t point = nodes_[index(at)].feature;
      if (seen[index(point)] || checks == 32) return;
      seen[index(point)] = true;
      ++checks;
      insert(found, distance(points_[index(point)], query), point);
    };
    for (const int root : roots_) {
      if (root >= 0) descend(root, 0);
    }
    for (;;) {
      std::size_t best = branches.size();
      for (std::size_t i = 0; i < branches.size(); ++i) {
        if (taken[i]) continue;
        if (best == branches.size() || branches[i].first < branches[best].first) best = i;
      }
      if (checks > 31 || best == branches.size()) break;
      taken[best] = true;
      const auto [bound, node] = branches[best];
      descend(node, bound);
    }
    return found;
  }

  static int32_t distance(const Descriptor& a, const Descriptor& b) {
    int64_t sum = 0;
    for (std::size_t d = 0; d < 64; ++d) {
      const int64_t reduced = wrap(int64_t{a[d]} - b[d]) >> 8;
      sum = wrap(sum + wrap(reduced * reduced));
    }
    return wrap(sum);
  }

 private:
  static std::size_t index(int i) { return static_cast<std::size_t>(i); }
  static int32_t wrap(int64_t value) { return static_cast<int32_t>(value); }

  static void insert(Neighbours& found, int32_t distance, int32_t point) {
    if (distance < found.distances[1]) {
      found.points = {found.points[1], point};
      found.distances = {found.distances[1], distance};
    } else if (distance < found.distances[0]) {
      found.points[0] = point;
      found.distances[0] = distance;
    }
  }

  int build(std::vector<int>& order, std::size_t begin, std::size_t end) {
    const int self = static_cast<int>(nodes_.size());
    nodes_.push_back({order[begin], 0, -1, -1});
    const std::size_t count = end - begin;
    if (count == 1) return self;

    const std::size_t samples = count < 101 ? count : 101;
    int feature = 0;
    int32_t cut = 0;
    int32_t widest = 0;
    for (int d = 0; d < 64; ++d) {
      int32_t sum = 0;
      for (std::size_t i = 0; i < samples; ++i)
        sum = wrap(int64_t{sum} + value(order[begin + i], d));
      const int32_t mean = sum / static_cast<int32_t>(samples);
      int32_t variance = 0;
      for (std::size_t i = 0; i < samples; ++i) {
        const int64_t off = wrap(int64_t{value(order[begin + i], d)} - mean) >> 12;
        variance = wrap(variance + off * off);
      }
      if (d == 0 || variance > widest) {
        widest = variance;
        feature = d;
        cut = mean;
      }
    }
    const auto split = [&](std::size_t first, int64_t limit) {
      std::size_t left = first;
      std::size_t right = end;
      for (;;) {
        while (left < right && value(order[left], feature) < limit)
          ++left;
        while (left < right && value(order[right - 1], feature) >= limit)
          --right;
        if (left == right) return left;
        std::swap(order[left++], order[--right]);
      }
    };
    const std::size_t below = split(begin, cut) - begin;
    const std::size_t notAbove = split(begin + below, int64_t{cut} + 1) - begin;
    std::size_t low = count / 2;
    if (below > low) {
      low = below;
    } else if (notAbove <= low) {
      low = notAbove;
    }
    if (below == count || notAbove == 0) low = count / 2;

    const int lowChild = build(order, begin, begin + low);
    const int highChild = build(order, begin + low, end);
    nodes_[index(self)] = {feature, cut, lowChild, highChild};
    return self;
  }

  [[nodiscard]] int32_t value(int point, int d) const { return points_[index(point)][index(d)]; }

  const std::vector<Descriptor>& points_;
  std::vector<Node> nodes_;
  std::vector<int> roots_;
};

}  // namespace velmora::test

#endif  // VELMORA_TESTS_REGISTRATION_PLAIN_FOREST_H
