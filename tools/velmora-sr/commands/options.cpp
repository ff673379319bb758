// Options that several subcommands share.
#include "commands/commands.h"

namespace velmora::tool {

void addInputOptions(CLI::App& command, FrameOptions& options) {
  command
      .add_option("--input-size", options.inputSize,
                  "Raw input: size of its frames in pixels. Needless for names that end in "
                  "_wWIDTH_hHEIGHT_fCODE.yuv (CODE 4 NV12, 5 NV21, 0 I420)")
      ->type_name("WxH");
  command
      .add_option("--input-format", options.inputFormat,
                  "Raw input: nv12, nv21 or i420; taken from the name where it ends so")
      ->type_name("FORMAT");
}

void addOutputOptions(CLI::App& command, FrameOptions& options) {
  command
      .add_option(
          "-o,--output", options.output,
          "Output file, or - for standard output. The extension tells the format: .png, "
          ".jpg, .tiff, .webp, .y4m, .nv12, .nv21, .i420, or .yuv for the raw format of the input")
      ->type_name("FILE")
      ->required();
  command
      .add_option(
          "--output-format", options.outputFormat,
          "png, jpeg, tiff, webp, y4m, nv12, nv21 or i420, whatever the name says; y4m for -")
      ->type_name("FORMAT");
  command.add_option("--quality", options.quality, "JPEG or WebP quality, 1 to 100 (95)")
      ->type_name("N");
}

void addFolderOptions(CLI::App& command, OutputFolder& folder, const char* help,
                      const char* nameHelp, const char* jobsHelp) {
  auto* output = command.get_option("--output")->required(false);
  auto* path =
      command.add_option("--output-dir", folder.path, help)->type_name("DIR")->excludes(output);
  command.add_option("--name", folder.pattern, nameHelp)->type_name("NAME")->needs(path);
  command.add_option("--jobs", folder.jobs, jobsHelp)->type_name("N")->needs(path);
}

void addGeometryOptions(CLI::App& command, FrameOptions& options) {
  auto* scale =
      command.add_option("--scale", options.scale, "Output size as a multiple of the region's (2)")
          ->type_name("F");
  command.add_option("--size", options.size, "Output size in pixels")
      ->type_name("WxH")
      ->excludes(scale);
  command
      .add_option("--region", options.region,
                  "Part of the input to enlarge: first column and row, last column and row, "
                  "counted from 0 (the whole picture)")
      ->type_name("X0,Y0,X1,Y1");
}

void addBurstOptions(CLI::App& command, BurstOptions& options, const std::string& defaultEffort) {
  command
      .add_option("--sharpened", options.sharpened,
                  "By how much the camera sharpened the frames, -0.6 (blurred) to 1; auto goes by "
                  "the file: 0.3 for a JPEG, 0.45 or 0 where its Exif says so, 0.15 for others "
                  "(auto)")
      ->type_name("auto|AMOUNT");
  command
      .add_option(
          "--effort", options.effort,
          "normal, or fast: about half the time, a little less quality (" + defaultEffort + ")")
      ->type_name("EFFORT");
  command
      .add_option("--threads", options.threads,
                  "Threads of the burst stage, 1 to 64 (one for each processor); the output is the "
                  "same with any number")
      ->type_name("N");
}

void addTuningOptions(CLI::App& command, FrameOptions& options) {
  command.add_option("--config", options.tuning.configuration, "XML configuration of the library")
      ->type_name("FILE");
  command
      .add_option("--kernel", options.tuning.kernels,
                  "Kernel file, see 'velmora-sr kernels' (the built-in one)")
      ->type_name("FILE");
}

}  // namespace velmora::tool
