#include "read_picture.h"

#include <sys/mman.h>
#include <unistd.h>

#include <string>

#include "errors.h"
#include "formats/exif.h"
#include "harness.h"
#include "size_limits.h"
#include "status.h"

namespace velmora::fuzz {
namespace {

using namespace tool;

// Frames of a clip that are read.
constexpr int kFrames = 4;

// A file without a name.
class MemoryFile {
 public:
  explicit MemoryFile(std::span<const uint8_t> bytes) : descriptor_(memfd_create("input", 0)) {
    const auto size = static_cast<ssize_t>(bytes.size());
    require(descriptor_ >= 0 && ::write(descriptor_, bytes.data(), bytes.size()) == size,
            "a file in memory can be made");
  }
  ~MemoryFile() { close(descriptor_); }
  MemoryFile(const MemoryFile&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;

  [[nodiscard]] std::string path() const { return "/dev/fd/" + std::to_string(descriptor_); }

 private:
  int descriptor_;
};

bool holds(const Plane& plane, Size size) {
  return plane.size == size &&
         plane.samples.size() == std::size_t(size.width) * std::size_t(size.height);
}

void check(const Picture& picture, const StreamInfo& info) {
  require(sizeFault(picture.size()).empty(), "a picture is within the limits of size");
  require(picture.size() == info.size, "a picture has the size that was announced");
  require(picture.grey == info.grey, "a picture has colour as announced");
  const Size chroma = chromaSize(picture.size());
  require(holds(picture.y, info.size) && holds(picture.u, chroma) && holds(picture.v, chroma),
          "the planes of a picture are whole");
  require(picture.alpha.samples.empty() || holds(picture.alpha, info.size), "alpha is whole");
}

}  // namespace

void readPicture(std::span<const uint8_t> bytes, OpenReader open) {
  allowedPixels = 1 << 20;
  status().setLevel(Status::Level::quiet);
  const MemoryFile file(bytes);
  try {
    const auto reader = open(std::make_unique<ByteSource>(file.path()));
    Picture picture;
    for (int i = 0; i < kFrames && reader->next(picture); ++i)
      check(picture, reader->info());
    // The metadata as each output would have it.
    const Size size = {2 * reader->info().size.width, 2 * reader->info().size.height};
    for (const FileFormat format :
         {FileFormat::png, FileFormat::jpeg, FileFormat::tiff, FileFormat::webp, FileFormat::y4m}) {
      const StreamInfo output = outputInfo(reader->info(), size, format);
      require(output.size == size, "an output has the size asked for");
      lossesOf(output);
    }
  } catch (const Failure&) {
  }
}

}  // namespace velmora::fuzz
