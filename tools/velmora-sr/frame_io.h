// Frames in and frames out, whatever the file format: the formats implement these two interfaces.
#ifndef VELMORA_TOOL_FRAME_IO_H
#define VELMORA_TOOL_FRAME_IO_H

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "metadata.h"
#include "picture.h"
#include "timings.h"

namespace velmora::tool {

enum class FileFormat { png, jpeg, tiff, webp, y4m, nv12, nv21, i420 };

/// The name users know a format by: "PNG", "JPEG", "Y4M", "NV12", ...
const char* name(FileFormat format);
/// A format that can hold the alpha of a picture.
bool holdsAlpha(FileFormat format);
/// A format that holds one picture rather than a row of frames.
bool isPictureFormat(FileFormat format);
bool isRawFormat(FileFormat format);

/// What a reader knows before the first frame.
struct StreamInfo {
  Size size;
  FileFormat format = FileFormat::png;
  Range range = Range::full;
  bool grey = false;
  bool transparent = false;          ///< the format can tell; sure when the first frame is read
  int depth = 8;                     ///< bits of a sample as stored; pictures have 8
  std::optional<long> frames;        ///< where the file tells
  std::optional<int> exifSharpness;  ///< JPEG: 0 as usual, 1 less, 2 more
  Metadata metadata;                 ///< pictures: what goes along
  std::string y4mParameters;         ///< Y4M: the header's fields besides size, separated by blanks
};

class FrameReader {
 public:
  virtual ~FrameReader() = default;
  [[nodiscard]] const StreamInfo& info() const { return info_; }
  /// The name of the file for messages.
  [[nodiscard]] virtual const std::string& name() const = 0;
  /// Reads the next frame; false at the end. Throws InputBroken for damaged data.
  bool next(Picture& picture) {
    const timings::Step step("read");
    if (!ahead_) return readFrame(picture);
    picture = std::move(*ahead_);
    ahead_.reset();
    return true;
  }
  /// Passes the next frame over; false at the end. Throws InputBroken for damaged data.
  bool skip() {
    const timings::Step step("read");
    if (!ahead_) return skipFrame();
    ahead_.reset();
    return true;
  }
  /// Reads the first frame now, for next() to deliver: a file that lacks what its header promises
  /// is found out before anybody makes room for its size.
  void readAhead() {
    Picture first;
    if (readFrame(first)) ahead_ = std::move(first);
  }

 protected:
  StreamInfo info_;

 private:
  virtual bool readFrame(Picture& picture) = 0;
  virtual bool skipFrame() {
    Picture ignored;
    return readFrame(ignored);
  }

  std::optional<Picture> ahead_;
};

class FrameWriter {
 public:
  virtual ~FrameWriter() = default;
  /// All frames of one writer have one size.
  void write(const Picture& picture) {
    const timings::Step step("write");
    writeFrame(picture);
  }
  /// Puts the finished file in place; without this nothing is left.
  void finish() {
    const timings::Step step("finish the file");
    commit();
  }

 private:
  virtual void writeFrame(const Picture& picture) = 0;
  virtual void commit() = 0;
};

/// Where frames come from, as the options say.
struct InputRequest {
  std::string path;                     ///< "-" for standard input
  std::optional<Size> rawSize;          ///< --input-size
  std::optional<FileFormat> rawFormat;  ///< --input-format
};

class ByteSource;

/// Opens a file and reads its header, known by its content (PNG, JPEG, Y4M), or takes it as raw
/// frames when the request or the file's name says so. For other content returns nothing, and gives
/// `source` to the caller with nothing taken from it.
std::unique_ptr<FrameReader> openHeader(const InputRequest& request,
                                        std::unique_ptr<ByteSource>& source);

/// Opens the file as openHeader does, and reads the first frame ahead. Throws Failure for other
/// content.
std::unique_ptr<FrameReader> openInput(const InputRequest& request);

/// Where frames go, as the options say.
struct OutputRequest {
  std::string path;                  ///< "-" for standard output
  std::optional<FileFormat> format;  ///< --output-format
  int jpegQuality = 95;
};

/// The format an output gets: the one asked for, else the one the name's extension tells, else Y4M
/// for "-"; ".yuv" keeps the layout of a raw input. Throws UsageError when nothing tells.
FileFormat outputFormat(const OutputRequest& request, FileFormat input);

/// What becomes of an input: frames of this size in a file of this format, with the metadata that
/// such a file can hold, brought up to date.
StreamInfo outputInfo(const StreamInfo& input, Size size, FileFormat format);

/// Opens an output; `info` describes the frames to come.
std::unique_ptr<FrameWriter> openOutput(const OutputRequest& request, const StreamInfo& info);

/// What the status line says of an output that lacks parts of its input: "; not kept: Exif, XMP",
/// or nothing.
std::string lossesOf(const StreamInfo& output);

}  // namespace velmora::tool

#endif  // VELMORA_TOOL_FRAME_IO_H
