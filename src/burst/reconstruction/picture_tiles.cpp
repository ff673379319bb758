#include "burst/reconstruction/picture_tiles.h"

#include <algorithm>
#include <vector>

#include "burst/reconstruction/tile_sums.h"

namespace velmora::burst {
namespace {

struct Tile {
  const PictureTask* task;
  Rect wanted;  ///< of the grid
};

// What restoration of a part needs around it.
Rect restoredFrom(const PictureTask& task, const Rect& wanted) {
  if (!task.plan) return wanted;
  return grown(wanted, restorationHalo(*task.plan), task.job->geometry.size());
}

std::vector<Tile> tilesOf(std::span<const PictureTask> tasks, Size tile) {
  std::vector<Tile> tiles;
  for (const PictureTask& task : tasks) {
    const Size grid = task.job->geometry.size();
    for (int32_t top = 0; top < grid.height; top += tile.height) {
      for (int32_t left = 0; left < grid.width; left += tile.width) {
        tiles.push_back({&task,
                         {left, top, std::min(left + tile.width, grid.width),
                          std::min(top + tile.height, grid.height)}});
      }
    }
  }
  return tiles;
}

// Large tiles, since what lies around a tile is worked out with it; but so many that threads end
// at about the same time. Still larger ones win nothing: caches hold less of them.
Size defaultTile(std::span<const PictureTask> tasks, int32_t workers) {
  Size tile = {1024, 512};
  const Size grid = tasks[0].job->geometry.size();
  const auto tilesIn = [&](Size size) {
    return int64_t{(grid.width + size.width - 1) / size.width} *
           ((grid.height + size.height - 1) / size.height);
  };
  while (workers > 1 && tile.width * tile.height > 256 * 128 && tilesIn(tile) < 4 * workers)
    (tile.width > tile.height ? tile.width : tile.height) /= 2;
  return tile;
}

/// The scratch of one worker.
struct Worker {
  std::vector<TileSums> sums;  ///< one
  std::vector<Restorer> restorers;
  PlaneBuffer<int16_t> restored;
  Buffer<uint8_t> row;
};

// Rows of the target that a part of the grid makes.
void writePart(const PlaneJob& job, Plane<const int16_t> samples, const Rect& part,
               const TargetPlane& target, uint8_t* row) {
  const int32_t fx = job.geometry.x.factor;
  const int32_t fy = job.geometry.y.factor;
  const int32_t left = part.left / fx;
  const int32_t width = part.width() / fx;
  for (int32_t y = 0; y < part.height() / fy; ++y) {
    uint8_t* out = target.row(part.top / fy + y) + left * target.step;
    uint8_t* bytes = target.step == 1 ? out : row;
    if (fx * fy == 1) {
      reconstructionFunctions().roundRow(samples.row(y), width, bytes);
    } else {
      // The mean of two or four samples, rounded once: their number is a power of two.
      const int32_t shift = kFractionBits + (fx - 1) + (fy - 1);
      for (int32_t x = 0; x < width; ++x) {
        int32_t sum = 1 << (shift - 1);
        for (int32_t v = 0; v < fy; ++v) {
          for (int32_t h = 0; h < fx; ++h)
            sum += samples.row(fy * y + v)[fx * x + h];
        }
        bytes[x] = static_cast<uint8_t>(std::clamp(sum >> shift, 0, 255));
      }
    }
    if (target.step == 1) continue;
    for (int32_t x = 0; x < width; ++x)
      out[x * target.step] = row[x];
  }
}

}  // namespace

void makePicture(Memory& memory, Workers& workers, std::span<const PictureTask> tasks, Size tile,
                 double progressWeight) {
  if (tile.width == 0) tile = defaultTile(tasks, workers.count());
  const std::vector<Tile> tiles = tilesOf(tasks, tile);
  const Buffer<TilePlan> plans(memory, tiles.size());
  workers.run(static_cast<int32_t>(tiles.size()), 0, [&](int32_t i, int32_t) {
    const auto index = static_cast<std::size_t>(i);
    const Tile& t = tiles[index];
    plans[index] = planTile(*t.task->job, restoredFrom(*t.task, t.wanted));
  });
  // How much scratch a tile needs: the largest of all.
  TileSizes largest;
  for (std::size_t i = 0; i < tiles.size(); ++i)
    largest.include(tileSizes(*tiles[i].task->job, plans[i]));
  std::vector<Worker> scratch;
  for (int32_t i = 0; i < workers.count(); ++i) {
    Worker& worker = scratch.emplace_back();
    worker.sums.emplace_back(memory, largest);
    worker.restored = PlaneBuffer<int16_t>(memory, tile);
    worker.row = Buffer<uint8_t>(memory, static_cast<std::size_t>(tile.width));
    for (const PictureTask& task : tasks) {
      if (!task.plan) continue;
      const int32_t halo = restorationHalo(*task.plan);
      const Size grid = task.job->geometry.size();
      worker.restorers.emplace_back(memory, *task.plan,
                                    Size{std::min(tile.width + 2 * halo, grid.width),
                                         std::min(tile.height + 2 * halo, grid.height)});
    }
  }
  const auto restorerOf = [&](const PictureTask* task) {
    std::size_t index = 0;
    for (const PictureTask* t = tasks.data(); t != task; ++t) {
      if (t->plan) ++index;
    }
    return index;
  };
  workers.run(static_cast<int32_t>(tiles.size()), progressWeight, [&](int32_t i, int32_t w) {
    const Tile& t = tiles[static_cast<std::size_t>(i)];
    const PlaneJob& job = *t.task->job;
    Worker& worker = scratch[static_cast<std::size_t>(w)];
    const TilePlan& plan = plans[static_cast<std::size_t>(i)];
    const Rect& window = plan.sums[job.iterations.count];
    const TileSums::Result sum = worker.sums[0].run(job, plan);
    Plane<const int16_t> samples = sum.samples;
    if (t.task->plan) {
      Plane<int16_t> out = worker.restored.plane();
      out.size = {t.wanted.width(), t.wanted.height()};
      worker.restorers[restorerOf(t.task)].run(
          {sum.samples, sum.frames, window.left, window.top, job.geometry.size(), t.wanted}, out);
      samples = out;
    }
    writePart(job, samples, t.wanted, t.task->target, worker.row.data());
  });
}

}  // namespace velmora::burst
