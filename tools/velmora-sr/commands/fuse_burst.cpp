// velmora-sr fuse by the burst stage: any number of frames, of which the best eight go in.
#include <chrono>
#include <string>
#include <utility>

#include "colour.h"
#include "commands/fuse.h"
#include "engine/burst_fuser.h"
#include "engine/enlarger.h"
#include "engine/sharpness.h"
#include "formats/png.h"
#include "interrupt.h"
#include "size_limits.h"
#include "status.h"

namespace velmora::tool {
namespace {

// The index of the reference; nothing when the sharpest is asked for.
std::optional<std::size_t> wantedReference(const FuseOptions& options) {
  if (options.reference == "best") return std::nullopt;
  if (options.reference.empty()) return 0;
  const int count = static_cast<int>(options.inputs.size());
  return static_cast<std::size_t>(parseNumber("--reference", options.reference, 1, count) - 1);
}

struct Frames {
  std::vector<StreamInfo> infos;
  std::vector<BurstFrame> frames;
};

// One after the other, so that no more than the best and one are held.
Frames readFrames(const FuseOptions& options, std::optional<std::size_t> reference) {
  const bool choose = !reference || options.inputs.size() > VELMORA_SR_BURST_FRAMES;
  Frames all;
  FuseFrame first;
  for (const std::string& path : options.inputs) {
    const bool isFirst = all.frames.empty();
    FuseFrame frame = readFuseFrame(options, path, isFirst ? nullptr : &first);
    BurstFrame taken;
    taken.file = frame.reader->name();
    taken.picture = std::move(frame.picture);
    if (choose) taken.sharpness = sharpnessOf(taken.picture.y);
    all.infos.push_back(frame.reader->info());
    all.frames.push_back(std::move(taken));
    leaveLeastSharpOut(all.frames, reference);
    if (isFirst) first.reader = std::move(frame.reader);
    interrupt::check();
  }
  return all;
}

std::vector<NamedFile> masksOf(const FuseOptions& options) {
  std::vector<NamedFile> masks;
  if (options.mask.empty()) return masks;
  for (std::size_t i = 1; i <= options.inputs.size(); ++i)
    masks.push_back({"--mask", numbered(options.mask, i)});
  return masks;
}

Picture drawn(Plane weights) {
  Picture picture(weights.size);
  picture.grey = true;
  picture.y = std::move(weights);
  return picture;
}

std::string summary(const BurstResult& result, std::size_t asked) {
  return std::to_string(result.used) + " of " + std::to_string(asked) + " frames " +
         (result.used > 1 ? "fused" : "used, the reference alone") +
         format("; noise %.2f", result.noise);
}

}  // namespace

std::string numbered(const std::string& path, std::size_t number) {
  const std::size_t dot = path.rfind('.');
  return path.substr(0, dot) + "-" + std::to_string(number) + path.substr(dot);
}

void fuseWithBurst(const FuseOptions& options) {
  const auto start = std::chrono::steady_clock::now();
  const std::vector<NamedFile> masks = masksOf(options);
  std::vector<NamedFile> outputs = masks;
  outputs.push_back({"--json", options.json});
  options.frames.requireSeparate(outputs, options.inputFiles());
  const OutputRequest request = options.frames.outputRequest();
  const std::optional<std::size_t> wanted = wantedReference(options);
  Frames all = readFrames(options, wanted);
  const std::size_t reference = wanted ? *wanted : sharpest(all.frames);
  const StreamInfo& in = all.infos[reference];
  const FileFormat format = outputFormat(request, in.format);
  for (BurstFrame& frame : all.frames)
    convertRange(frame.picture, all.frames[reference].picture.range);

  const Region region = options.frames.regionIn(in.size);
  const Size size = options.frames.outputSize(region);
  BurstSettings settings = options.burst.settings(in, region, size);
  settings.showProgress = true;
  BurstResult result = fuseBurst(all.frames, reference, settings, !masks.empty());

  result.picture.alpha = enlargedAlpha(all.frames[reference].picture, region, size, Tuning());
  const StreamInfo out = outputInfo(in, size, format);
  const auto writer = openOutput(request, out);
  std::vector<std::unique_ptr<FrameWriter>> maskWriters;
  for (const NamedFile& mask : masks)
    maskWriters.push_back(createPng(mask.path));
  writer->write(result.picture);
  for (std::size_t i = 0; i < maskWriters.size(); ++i)
    maskWriters[i]->write(drawn(std::move(result.weights[i])));
  writer->finish();
  for (const auto& mask : maskWriters)
    mask->finish();

  const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
  for (std::size_t i = 0; i < result.verdicts.size(); ++i) {
    const FrameVerdict& verdict = result.verdicts[i];
    status().done([&] {
      return "frame " + std::to_string(i + 1) + ", " + verdict.file + ": " + verdictText(verdict);
    });
  }
  status().done([&] {
    return result.verdicts[reference].file + ": " + summary(result, all.frames.size()) + "; " +
           text(region.size()) + " to " + text(size) + tool::format(", %.2f s", time.count()) +
           lossesOf(out);
  });
  writeFusionJson(options,
                  {"burst", options.frames.output, region, size, result.noise, result.verdicts});
  if (options.strict) requireAllUsed(result.verdicts);
}

}  // namespace velmora::tool
