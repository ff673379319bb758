#include "burst/reconstruction/reconstruction.h"

#include <algorithm>
#include <chrono>
#include <numeric>
#include <vector>

#include "burst/reconstruction/noise_tables.h"
#include "burst/reconstruction/picture_tiles.h"
#include "burst/reconstruction/source_restoration.h"

namespace velmora::burst {
namespace {

// Progress is counted in about the nanoseconds that one thread takes.
constexpr double kSumCost = 6;           // a sample, a frame and a pass of the grid
constexpr double kRestorationCost = 40;  // a sample of the picture
constexpr double kFineRestorationCost = 4 * kRestorationCost;

double samplesOf(Size size) {
  return static_cast<double>(size.width) * size.height;
}

struct Work {
  double noise = 0;
  double sources = 0;
  double tiles = 0;
};
Work workOf(const Rules& rules, const ReconstructionSettings& settings) {
  Work work;
  const double region = samplesOf({settings.region.width(), settings.region.height()});
  const double picture = samplesOf(settings.output);
  for (int32_t p = 0; p < kPlanes; ++p) {
    const PlaneRule& rule = rules.planes[p];
    const double share = p == 0 ? 1 : 0.25;
    const double perFrame = kSumCost * (1 + rule.iterations.count);
    const double grid = picture * rules.factorX * rules.factorY;
    work.tiles += share * grid * perFrame * rules.frames;
    if (!rule.restored) continue;
    if (rules.frames == 1) {
      work.sources += share * region * kFineRestorationCost;
    } else {
      work.tiles += share * grid * kRestorationCost;
      if (p < 2) work.noise += 65536 * perFrame * rules.frames * (rules.frames + 1) / 2;
    }
  }
  return work;
}

// The reference and the others in an order that does not depend on theirs in `frames`.
std::vector<const Contribution*> inOrder(std::span<const Contribution> frames, int32_t count) {
  std::vector<const Contribution*> order;
  for (const Contribution& frame : frames)
    order.push_back(&frame);
  std::sort(order.begin() + 1, order.end(), [](const Contribution* a, const Contribution* b) {
    if (a->motion->homography != b->motion->homography)
      return a->motion->homography.h < b->motion->homography.h;
    if (a->gain != b->gain) return a->gain < b->gain;
    return a->bias < b->bias;
  });
  order.resize(static_cast<std::size_t>(count));
  return order;
}

/// What luma and chroma do not share.
struct PlaneKind {
  GridGeometry geometry;
  Size source = {};
  BoxSums box;
  Buffer<uint16_t> steps;
  std::vector<FrameGrids> grids;
  std::vector<Levels> levels;
  NoiseTables unitNoise;
};

PlaneKind planeKind(Memory& memory, Workers& workers, const ReconstructionSettings& settings,
                    const Rules& rules, const SumTables& tables,
                    std::span<const Contribution* const> frames, bool chroma) {
  PlaneKind kind;
  const Rect& region = settings.region;
  kind.geometry = {
      gridAxis(region.left, region.width(), settings.output.width, rules.factorX, chroma),
      gridAxis(region.top, region.height(), settings.output.height, rules.factorY, chroma), chroma};
  kind.source = frames[0]->frame->planes[chroma ? 1 : 0].size;
  kind.box = BoxSums(memory, kind.geometry.x.side(), kind.geometry.y.side());
  kind.steps = stepTable(memory, tables, rules.planes[chroma ? 1 : 0].iterations.step);
  for (const Contribution* frame : frames) {
    kind.grids.push_back(frameGrids(memory, workers, kind.geometry, *frame->motion, kind.source));
    kind.levels.push_back(matchedLevels(frame->gain, frame->bias, chroma));
  }
  return kind;
}

PlaneJob planeJob(const PlaneKind& kind, const SumTables& tables, const PlaneRule& rule,
                  std::span<const Contribution* const> frames, std::size_t plane) {
  PlaneJob job;
  job.geometry = kind.geometry;
  job.source = kind.source;
  job.tables = &tables;
  job.box = &kind.box;
  job.steps = &kind.steps;
  job.iterations = rule.iterations;
  const double amount = 1024 * rule.sharpened;
  job.sharpened = static_cast<int32_t>(amount + (amount < 0 ? -0.5 : 0.5));
  job.frames = static_cast<int32_t>(frames.size());
  job.alone = frames.size() == 1;
  for (std::size_t k = 0; k < frames.size(); ++k) {
    job.frame[k].grids = &kind.grids[k];
    job.frame[k].source.bytes = frames[k]->frame->planes[plane];
    job.frame[k].source.levels = &kind.levels[k];
    if (frames[k]->weights != nullptr) job.frame[k].weights = frames[k]->weights->half.plane();
  }
  return job;
}

// A frame that is alone is restored before it is enlarged; jobs then read what that has left.
void restoreFrame(Memory& memory, Workers& workers, const Rules& rules, bool fast, double weight,
                  std::span<PlaneJob> jobs, std::span<PlaneBuffer<int16_t>> restored) {
  std::vector<SourceTask> tasks;
  for (std::size_t p = 0; p < jobs.size(); ++p) {
    const PlaneJob& job = jobs[p];
    if (!rules.planes[p].restored) continue;
    const Size grid = job.geometry.size();
    Rect part = planTile(job, {0, 0, grid.width, grid.height}).windows[0];
    // What is read beyond the plane mirrors what lies as far inside.
    constexpr int32_t kMirrored = 8;
    part = grown(part, kMirrored, job.source);
    restored[p] = PlaneBuffer<int16_t>(memory, {part.width(), part.height()});
    tasks.push_back({&job.frame[0].source, job.source, part, rules.planes[p].sigma,
                     rules.planes[p].wiener16, &restored[p]});
  }
  if (tasks.empty()) return;
  restoreSources(memory, workers, tasks, fast, weight);
  std::size_t next = 0;
  for (std::size_t p = 0; p < jobs.size(); ++p) {
    if (!rules.planes[p].restored) continue;
    const SourceTask& task = tasks[next++];
    Plane<const int16_t> samples = restored[p].plane();
    samples.data -= task.part.top * samples.pitch + task.part.left;
    samples.size = task.plane;
    jobs[p].frame[0].source = {{}, nullptr, samples, false, 0};
  }
}

class Stopwatch {
 public:
  [[nodiscard]] double milliseconds() const {
    const std::chrono::duration<double, std::milli> elapsed = Clock::now() - start_;
    return elapsed.count();
  }

 private:
  using Clock = std::chrono::steady_clock;
  Clock::time_point start_ = Clock::now();
};

}  // namespace

double reconstructionWork(int32_t frames, const ReconstructionSettings& settings) {
  const Work work = workOf(rulesOf(frames, settings), settings);
  return work.noise + work.sources + work.tiles;
}

ReconstructionTimes reconstruct(Memory& memory, Workers& workers,
                                std::span<const Contribution> frames,
                                const ReconstructionSettings& settings,
                                const TargetFrame& picture) {
  const Stopwatch whole;
  const Rules rules = rulesOf(static_cast<int32_t>(frames.size()), settings);
  const Work work = workOf(rules, settings);
  const std::vector<const Contribution*> used = inOrder(frames, rules.frames);
  const SumTables tables = sumTables(memory);
  PlaneKind luma = planeKind(memory, workers, settings, rules, tables, used, false);
  PlaneKind chroma = planeKind(memory, workers, settings, rules, tables, used, true);

  PlaneJob jobs[kPlanes];
  for (std::size_t p = 0; p < kPlanes; ++p)
    jobs[p] = planeJob(p == 0 ? luma : chroma, tables, rules.planes[p], used, p);

  ReconstructionTimes times;
  PlaneBuffer<int16_t> restored[kPlanes];
  std::vector<PictureTask> pictures;
  const bool alone = rules.frames == 1;
  if (alone) {
    restoreFrame(memory, workers, rules, settings.fast, work.sources, jobs, restored);
  } else {
    const Stopwatch stopwatch;
    std::vector<NoiseTask> tasks;
    if (rules.planes[0].restored) tasks.push_back({&jobs[0], &luma.unitNoise});
    if (rules.planes[1].restored || rules.planes[2].restored)
      tasks.push_back({&jobs[1], &chroma.unitNoise});
    measureNoise(memory, workers, tasks, work.noise);
    times.noise = stopwatch.milliseconds();
  }
  for (std::size_t p = 0; p < kPlanes; ++p) {
    PictureTask& task = pictures.emplace_back(PictureTask{&jobs[p], {}, picture.planes[p]});
    const PlaneRule& rule = rules.planes[p];
    if (alone || !rule.restored) continue;
    RestorationPlan& plan = task.plan.emplace();
    plan.fast = settings.fast;
    plan.wiener16 = rule.wiener16;
    plan.frames = rules.frames;
    const NoiseTables& unit = p == 0 ? luma.unitNoise : chroma.unitNoise;
    for (std::size_t n = 0; n < static_cast<std::size_t>(rules.frames); ++n)
      plan.noise[n] = scaled(unit[n], rule.sigma);
  }
  makePicture(memory, workers, pictures, settings.tile, work.tiles);
  times.reconstruction = whole.milliseconds() - times.noise;
  return times;
}

}  // namespace velmora::burst
