// velmora-sr demo: a scene of the tool's own, reduced, enlarged again and compared with the truth.
#include <array>
#include <filesystem>
#include <memory>
#include <system_error>

#include "commands/commands.h"
#include "demo/comparison.h"
#include "demo/reference.h"
#include "demo/scene.h"
#include "engine/enlarger.h"
#include "errors.h"
#include "formats/png.h"
#include "interrupt.h"
#include "size_limits.h"
#include "status.h"
#include "streams.h"

namespace velmora::tool {
namespace {

constexpr const char* kHelp =
    "Writes into DIR (made if missing): truth.png, the scene; frame.png, the scene at half its "
    "size, as a camera with fewer pixels sees it; enlarged.png, the frame enlarged by the library; "
    "bicubic.png, the frame enlarged by plain bicubic interpolation; comparison.png, details of "
    "all four side by side. Prints the PSNR of both against the truth.";

// Borders weigh little in a photo and are not what the comparison is about.
constexpr int kMargin = 4;

struct Quality {
  double luma, blue, red;
};

Quality qualityOf(const Picture& picture, const Picture& truth) {
  return {psnr(picture.y, truth.y, kMargin), psnr(picture.u, truth.u, kMargin),
          psnr(picture.v, truth.v, kMargin)};
}

std::string line(const char* what, const Quality& quality) {
  return format("%-24s %8.2f %8.2f %8.2f\n", what, quality.luma, quality.blue, quality.red);
}

void savePicture(const std::filesystem::path& path, const Picture& picture) {
  const auto writer = createPng(path.string());
  writer->write(picture);
  writer->finish();
  interrupt::check();
}

void makeFolder(const std::string& folder) {
  std::error_code error;
  std::filesystem::create_directories(folder, error);
  if (error || !std::filesystem::is_directory(folder)) {
    throw Failure(folder + ": cannot make this folder: " +
                  (error ? error.message() : "a file of this name is in the way"));
  }
}

void run(const std::string& folder) {
  makeFolder(folder);
  const std::filesystem::path base(folder);

  const Picture truth = sceneTruth();
  interrupt::check();
  const Size frameSize = {truth.size().width / 2, truth.size().height / 2};
  const Picture frame = areaReduced(truth, frameSize);
  interrupt::check();

  Picture enlarged;
  Enlarger(frameSize, wholeOf(frameSize), truth.size(), {}).enlarge(frame, enlarged);
  const Picture bicubic = bicubicEnlarged(frame, truth.size());
  const Quality ours = qualityOf(enlarged, truth);
  const Quality plain = qualityOf(bicubic, truth);

  savePicture(base / "truth.png", truth);
  savePicture(base / "frame.png", frame);
  savePicture(base / "enlarged.png", enlarged);
  savePicture(base / "bicubic.png", bicubic);

  const std::array panels = {
      Panel{"Low resolution", text(frameSize) + ", the input", &frame},
      Panel{"Plain bicubic", format("PSNR %.2f dB", plain.luma), &bicubic},
      Panel{"velmora-sr", format("PSNR %.2f dB", ours.luma), &enlarged},
      Panel{"Truth", text(truth.size()), &truth},
  };
  const std::array details = {Detail{12, 126}, Detail{660, 20}, Detail{640, 420}, Detail{40, 660}};
  const Canvas comparison = sideBySide(panels, details, {200, 132}, 2);
  writeRgbPng((base / "comparison.png").string(), comparison.size(), comparison.rgb());

  if (!status().quiet()) {
    printData(format("%s enlarged to %s, PSNR in dB against the truth:\n", text(frameSize).c_str(),
                     text(truth.size()).c_str()));
    printData(format("%-24s %8s %8s %8s\n", "", "Y", "U", "V"));
    printData(line("plain bicubic", plain));
    printData(line("velmora-sr, one frame", ours));
    printData(format("gain in luma %+28.2f\n", ours.luma - plain.luma));
    printData("side by side: " + (base / "comparison.png").string() + "\n");
  }
}

}  // namespace

void addDemo(CLI::App& app) {
  auto folder = std::make_shared<std::string>();
  CLI::App* command =
      app.add_subcommand("demo", "Show what the library does, on a scene that the tool draws");
  command->footer(kHelp);
  command->add_option("DIR", *folder, "Folder for the pictures")->required();
  command->callback([folder] { run(*folder); });
}

}  // namespace velmora::tool
