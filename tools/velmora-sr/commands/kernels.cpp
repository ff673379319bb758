// velmora-sr kernels: writes a kernel file by the rules that the built-in tables follow.
#include <cstdint>
#include <memory>
#include <vector>

#include "commands/commands.h"
#include "errors.h"
#include "interrupt.h"
#include "output_file.h"
#include "status.h"
#include "velmora_sr/kernel_tables.h"

namespace velmora::tool {
namespace {

constexpr const char* kHelp =
    "The file holds the phase count as a 32-bit number, then N x N rows of 17 16-bit numbers for "
    "two frames, N rows of 4 for the luma and N rows of 4 for the chroma of one frame, all "
    "little-endian. 50 phases give the built-in tables.";

// What the built-in tables are made with.
constexpr int kTaps = 4;
constexpr int kOrder = 2;
constexpr float kSharpness = 0.2f;
constexpr int kMaxPhases = 1024;

// A table that the library made for its caller.
class Table {
 public:
  Table(int16_t** rows, int count, int values) : rows_(rows), count_(count), values_(values) {
    if (rows == nullptr) throw Failure("out of memory while making the kernels");
  }
  ~Table() {
    for (int i = 0; i < count_; ++i)
      delete[] rows_[i];
    delete[] rows_;
  }
  Table(const Table&) = delete;
  Table& operator=(const Table&) = delete;

  void append(std::vector<uint8_t>& bytes) const {
    for (int i = 0; i < count_; ++i) {
      for (int k = 0; k < values_; ++k) {
        const auto value = static_cast<uint16_t>(rows_[i][k]);
        bytes.push_back(static_cast<uint8_t>(value & 0xFF));
        bytes.push_back(static_cast<uint8_t>(value >> 8));
      }
    }
  }

 private:
  int16_t** rows_;
  int count_;
  int values_;
};

std::vector<uint8_t> kernelFile(int phases) {
  std::vector<uint8_t> bytes;
  for (int shift = 0; shift < 32; shift += 8)
    bytes.push_back(static_cast<uint8_t>(phases >> shift));
  G_QUANTIZATION = phases;  // no tables are installed, so nobody else reads it
  Table(CreateLanczosLUT2D(kTaps, kOrder, kSharpness), phases * phases, kTaps * kTaps + 1)
      .append(bytes);
  Table(CreateLanczosLUT1D(kTaps, kOrder, kSharpness), phases, kTaps).append(bytes);
  Table(CreateLanczosLUT1D(kTaps, kOrder, 0), phases, kTaps).append(bytes);
  return bytes;
}

struct Options {
  std::string phases;
  std::string output;
};

void run(const Options& options) {
  const int phases = parseNumber("--phases", options.phases, 1, kMaxPhases);
  OutputFile file(options.output);
  file.write(kernelFile(phases));
  interrupt::check();
  file.commit();
  status().note(file.name() + ": kernels of " + std::to_string(phases) + " phases");
}

}  // namespace

void addKernels(CLI::App& app) {
  auto options = std::make_shared<Options>();
  CLI::App* command =
      app.add_subcommand("kernels", "Write a kernel file by the rules of the built-in tables");
  command->footer(kHelp);
  command
      ->add_option("--phases", options->phases,
                   "Sub-pixel phases per pixel, 1 to 1024; 50 are built in")
      ->type_name("N")
      ->required();
  command->add_option("-o,--output", options->output, "Kernel file, or - for standard output")
      ->type_name("FILE")
      ->required();
  command->callback([options] { run(*options); });
}

}  // namespace velmora::tool
