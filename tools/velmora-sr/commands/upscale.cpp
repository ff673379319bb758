// velmora-sr upscale: every frame of the input enlarged by itself.
#include <chrono>
#include <memory>
#include <optional>

#include "commands/commands.h"
#include "engine/enlarger.h"
#include "errors.h"
#include "interrupt.h"
#include "size_limits.h"
#include "status.h"

namespace velmora::tool {
namespace {

constexpr const char* kHelp =
    "IN is a PNG, JPEG or Y4M (8 bits, 4:2:0), found by its content, or raw NV12, NV21 or I420 "
    "frames; - reads standard input. The first and last columns and rows of the input land on the "
    "first and last of the output. Nothing is cropped: odd and small pictures are continued "
    "mirrored for the library and cut to size afterwards.\n"
    "Pictures and raw frames are taken as full-range BT.601 (JPEG) YUV with 4:2:0 chroma; a Y4M "
    "keeps its range and its header. Grey pictures stay grey, colour profiles go along. A PNG's "
    "transparent parts are laid "
    "over white; a JPEG is turned upright as its camera noted. Of a clip that goes into a PNG or "
    "JPEG the first frame is taken.";

struct Options {
  std::string input;
  FrameOptions frames;
};

void run(const Options& options) {
  const auto start = std::chrono::steady_clock::now();
  const FrameOptions& frames = options.frames;
  frames.check();
  const Tuning tuning = readTuning(frames.tuning);
  const OutputRequest request = frames.outputRequest();
  const auto reader = openInput(frames.input(options.input));
  const StreamInfo& in = reader->info();
  const FileFormat format = outputFormat(request, in.format);
  const Region region = frames.regionIn(in.size);
  const Size size = frames.outputSize(region);
  if (size.width < region.size().width || size.height < region.size().height) {
    status().warn(text(region.size()) + " becomes " + text(size) +
                  ", which is smaller: fine detail will alias, since nothing is filtered away");
  }

  StreamInfo out = in;
  out.size = size;
  out.format = format;
  const auto writer = openOutput(request, format, out);
  Enlarger enlarger(in.size, region, size, tuning);
  Picture picture;
  Picture enlarged;
  long count = 0;
  while (reader->next(picture)) {
    if (count == 1 && isPictureFormat(format)) {
      status().warn(reader->name() + " holds more than one frame; a " + name(format) +
                    " takes the first (write .y4m to keep all)");
      break;
    }
    enlarger.enlarge(picture, enlarged);
    interrupt::check();
    writer->write(enlarged);
    interrupt::check();
    status().progress(++count, in.frames);
  }
  writer->finish();

  const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
  status().done([&] {
    return reader->name() + ": " + text(region.size()) + " to " + text(size) +
           (count > 1 ? ", " + std::to_string(count) + " frames" : "") +
           tool::format(", %.2f s", time.count());
  });
}

}  // namespace

void addUpscale(CLI::App& app) {
  auto options = std::make_shared<Options>();
  CLI::App* command =
      app.add_subcommand("upscale", "Enlarge a picture, or every frame of a clip by itself");
  command->footer(kHelp);
  command->add_option("IN", options->input, "Picture or clip, - for standard input")->required();
  addOutputOptions(*command, options->frames);
  addGeometryOptions(*command, options->frames);
  addInputOptions(*command, options->frames);
  addTuningOptions(*command, options->frames);
  command->callback([options] { run(*options); });
}

}  // namespace velmora::tool
