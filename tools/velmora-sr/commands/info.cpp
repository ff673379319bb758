// velmora-sr info: what a picture, a kernel file or a configuration file holds.
#include <algorithm>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "commands/commands.h"
#include "engine/configuration_file.h"
#include "engine/kernel_file.h"
#include "errors.h"
#include "formats/foreign.h"
#include "frame_io.h"
#include "status.h"
#include "streams.h"
#include "velmora_sr/kernel_tables.h"

namespace velmora::tool {
namespace {

constexpr const char* kHelp =
    "Pictures and clips: format, size, frames. Kernel files: phases, the sums of the rows, and "
    "which built-in rule they follow. Configuration files: the thresholds that the library takes "
    "from them, and which are defaults.";

constexpr std::size_t kLargestFile = std::size_t{64} << 20;
constexpr std::size_t kStartBytes = 4096;

std::string line(const std::string& key, const std::string& value) {
  return key + std::string(key.size() < 14 ? 14 - key.size() : 1, ' ') + value + "\n";
}

// --- Kernel files ---

int16_t int16At(const std::vector<uint8_t>& bytes, std::size_t offset) {
  return static_cast<int16_t>(bytes[offset] | bytes[offset + 1] << 8);
}

/// A table that the library made for its caller.
class MadeTable {
 public:
  MadeTable(int16_t** rows, int count) : rows_(rows), count_(count) {
    if (rows == nullptr) throw Failure("out of memory while making kernels to compare with");
  }
  ~MadeTable() {
    for (int i = 0; i < count_; ++i)
      delete[] rows_[i];
    delete[] rows_;
  }
  MadeTable(const MadeTable&) = delete;
  MadeTable& operator=(const MadeTable&) = delete;
  const int16_t* row(int i) const { return rows_[i]; }

 private:
  int16_t** rows_;
  int count_;
};

/// One line on a table of the file: the range of its row sums, and whether it is the rule's.
std::string describeTable(const std::vector<uint8_t>& bytes, std::size_t offset, int rows,
                          int values, const MadeTable& rule) {
  int low = std::numeric_limits<int>::max();
  int high = std::numeric_limits<int>::min();
  bool asRule = true;
  bool sumsFit = true;
  const int taps = values == 17 ? 16 : values;
  for (int i = 0; i < rows; ++i) {
    int sum = 0;
    for (int k = 0; k < values; ++k) {
      const int16_t value = int16At(bytes, offset + 2 * (static_cast<std::size_t>(i) * values + k));
      if (k < taps) sum += value;
      if (k == 16) sumsFit = sumsFit && value == sum;
      asRule = asRule && value == rule.row(i)[k];
    }
    low = std::min(low, sum);
    high = std::max(high, sum);
  }
  std::string text = std::to_string(rows) + " rows, sums " + std::to_string(low) + " to " +
                     std::to_string(high) + " (4096 is 1.0)";
  if (!sumsFit) text += ", weights are NOT the sums of the taps";
  return text + (asRule ? ", as the built-in rule makes them" : ", not the built-in rule's");
}

std::string describeKernels(const std::vector<uint8_t>& bytes, int phases) {
  G_QUANTIZATION = phases;  // no tables are installed, so nobody else reads it
  const int pairs = phases * phases;
  const std::size_t sharp = 4 + static_cast<std::size_t>(pairs) * 34;
  const std::size_t plain = sharp + static_cast<std::size_t>(phases) * 8;
  return line("kind", "kernel file") +
         line("phases", std::to_string(phases) + (phases == 50 ? " (as built in)" : "")) +
         line("two frames", describeTable(bytes, 4, pairs, 17,
                                          MadeTable(CreateLanczosLUT2D(4, 2, 0.2f), pairs))) +
         line("luma", describeTable(bytes, sharp, phases, 4,
                                    MadeTable(CreateLanczosLUT1D(4, 2, 0.2f), phases))) +
         line("chroma", describeTable(bytes, plain, phases, 4,
                                      MadeTable(CreateLanczosLUT1D(4, 2, 0), phases)));
}

// --- Configuration files ---

std::string describeThreshold(const ConfigurationFile::Threshold& threshold) {
  const std::string value = std::to_string(threshold.value);
  if (!threshold.text) return value + " (default: no " + threshold.path + ")";
  return value + " (from \"" + *threshold.text + "\")";
}

std::string describeConfiguration(const std::vector<uint8_t>& bytes) {
  const ConfigurationFile file = readConfiguration(bytes);
  std::string text =
      line("kind", "configuration file") + line("LowThr", describeThreshold(file.low)) +
      line("HighThr", describeThreshold(file.high)) +
      line("taken", std::to_string(file.taken.low) + " and " + std::to_string(file.taken.high));
  for (const std::string& fault : file.faults)
    text += line("note", fault);
  for (const std::string& element : file.unknown)
    text += line("note", element + " is unknown and means nothing");
  return text;
}

// --- Pictures ---

std::string describePicture(const StreamInfo& info) {
  std::string text =
      line("kind", isPictureFormat(info.format) ? "picture" : "frames") +
      line("format", name(info.format)) +
      line("size", std::to_string(info.size.width) + "x" + std::to_string(info.size.height));
  text += line("range", info.range == Range::full ? "full (0..255)" : "limited (16..235)");
  if (info.grey) text += line("colour", "none: grey");
  if (info.transparent) text += line("transparency", "yes");
  if (info.depth > 8)
    text += line("depth", std::to_string(info.depth) + " bits, of which 8 are used");
  if (info.frames) text += line("frames", std::to_string(*info.frames));
  if (!info.y4mParameters.empty()) text += line("parameters", info.y4mParameters);
  const Metadata& metadata = info.metadata;
  if (!metadata.iccProfile.empty()) {
    text += line("profile", std::to_string(metadata.iccProfile.size()) + " bytes of ICC");
  }
  if (!metadata.exif.empty()) {
    text += line("Exif", std::to_string(metadata.exif.size()) + " bytes");
  }
  if (!metadata.xmp.empty()) text += line("XMP", std::to_string(metadata.xmp.size()) + " bytes");
  if (const auto& resolution = metadata.resolution) {
    text += line("resolution",
                 format("%.5g x %.5g per inch", resolution->x * 0.0254, resolution->y * 0.0254));
  }
  return text;
}

struct Options {
  std::string path;
  FrameOptions frames;
};

void run(const Options& options) {
  std::unique_ptr<ByteSource> source;
  if (const auto reader = openHeader(options.frames.input(options.path), source)) {
    printData(describePicture(reader->info()));
    return;
  }
  // Neither a picture nor a clip; what else may be read is small.
  const auto ahead = source->peek(kStartBytes);
  const std::vector<uint8_t> start(ahead.begin(), ahead.end());
  if (readKernelFile(start).phases != 0) {
    const std::vector<uint8_t> bytes = source->readAll(kLargestFile);
    const KernelFile kernels = readKernelFile(bytes);
    if (!kernels.fault.empty()) throw Failure(source->name() + ": " + kernels.fault);
    printData(describeKernels(bytes, kernels.phases));
    return;
  }
  if (!looksLikeXml(start)) throw foreignContent(*source);
  printData(describeConfiguration(source->readAll(kLargestFile)));
}

}  // namespace
void addInfo(CLI::App& app) {
  auto options = std::make_shared<Options>();
  CLI::App* command = app.add_subcommand(
      "info", "Tell what a picture, a kernel file or a configuration file holds");
  command->footer(kHelp);
  command->add_option("FILE", options->path, "The file, or - for a clip on standard input")
      ->required();
  addInputOptions(*command, options->frames);
  command->callback([options] { run(*options); });
}

}  // namespace velmora::tool
