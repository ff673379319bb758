#include "burst/reconstruction/source_restoration.h"

#include <algorithm>
#include <vector>

namespace velmora::burst {
namespace {

constexpr int32_t kTile = 512;

RestorationPlan planOf(const SourceTask& task, bool fast) {
  RestorationPlan plan;
  plan.fast = fast;
  plan.fine = true;
  plan.wiener16 = task.wiener16;
  // White noise is the same in all coefficients.
  plan.noise[0].of8.fill(static_cast<float>(task.sigma));
  plan.noise[0].of16.fill(static_cast<float>(task.sigma));
  return plan;
}

struct Worker {
  PlaneBuffer<int16_t> window;
  std::vector<Restorer> restorers;
};

}  // namespace

void restoreSources(Memory& memory, Workers& workers, std::span<const SourceTask> tasks, bool fast,
                    double progressWeight) {
  struct Tile {
    std::size_t task;
    Rect wanted;
  };
  std::vector<RestorationPlan> plans;
  std::vector<Tile> tiles;
  int32_t halo = 0;
  for (std::size_t t = 0; t < tasks.size(); ++t) {
    plans.push_back(planOf(tasks[t], fast));
    halo = std::max(halo, restorationHalo(plans.back()));
    const Rect& part = tasks[t].part;
    for (int32_t top = part.top; top < part.bottom; top += kTile) {
      for (int32_t left = part.left; left < part.right; left += kTile) {
        tiles.push_back(
            {t,
             {left, top, std::min(left + kTile, part.right), std::min(top + kTile, part.bottom)}});
      }
    }
  }
  const Size largest = {kTile + 2 * halo, kTile + 2 * halo};
  std::vector<Worker> scratch;
  for (int32_t i = 0; i < workers.count(); ++i) {
    Worker& worker = scratch.emplace_back();
    worker.window = PlaneBuffer<int16_t>(memory, largest);
    for (const RestorationPlan& plan : plans)
      worker.restorers.emplace_back(memory, plan, largest);
  }
  workers.run(static_cast<int32_t>(tiles.size()), progressWeight, [&](int32_t i, int32_t w) {
    const Tile& tile = tiles[static_cast<std::size_t>(i)];
    const SourceTask& task = tasks[tile.task];
    Worker& worker = scratch[static_cast<std::size_t>(w)];
    const Rect window = grown(tile.wanted, halo, task.plane);
    Plane<int16_t> samples = worker.window.plane();
    readSamples(*task.source, window, samples.data, samples.pitch);
    samples.size = {window.width(), window.height()};
    Plane<int16_t> out = task.restored->plane();
    out.data = out.row(tile.wanted.top - task.part.top) + (tile.wanted.left - task.part.left);
    out.size = {tile.wanted.width(), tile.wanted.height()};
    worker.restorers[tile.task].run({samples, {}, window.left, window.top, task.plane, tile.wanted},
                                    out);
  });
}

}  // namespace velmora::burst
