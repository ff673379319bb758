// One call of an entry point of the interpolation: what it reads ends at unreadable pages, what it
// writes is under watch, its log is taken.
#ifndef VELMORA_TESTS_INTERPOLATION_CALL_H
#define VELMORA_TESTS_INTERPOLATION_CALL_H

#include <deque>
#include <span>
#include <vector>

#include "interpolation/handle.h"
#include "interpolation/reference.h"
#include "support/log_capture.h"

namespace velmora::test {

/// What is enlarged: a frame of w x h, by the grid of its luma.
struct Case {
  int w, h;
  Span columns, rows;
};

struct Call;

/// A plane function, or a driver with a format of the frames.
struct EntryPoint {
  const char* name;  ///< as its log lines have it
  int (*function)(Call& call);
  bool luma, chroma;  ///< the planes it writes
  bool fuses;         ///< luma from two frames
  int format;         ///< -1: planes in, planes out

  [[nodiscard]] int passes() const { return (luma ? fuses ? 1 : 2 : 0) + (chroma ? 2 : 0); }
  [[nodiscard]] bool isDriver() const { return format >= 0; }
  [[nodiscard]] std::vector<LogLine> error(const char* text) const {
    return {{6, "NB7UO_ZELK", std::string("NB7UO_ZELK: ") + name + ": " + text + "\n"}};
  }
};
inline void PrintTo(const EntryPoint& entry, std::ostream* out) {
  *out << entry.name << ", format " << entry.format;
}
std::span<const EntryPoint> entryPoints();

struct Call {
  Call(const EntryPoint& entryPoint, const Case& what, const Maps& positions);

  /// Calls it; checks that all blocks come back and that nothing but the output is written.
  int run();
  /// Every pointer that the entry point gets passes here; the one numbered `missing` becomes null.
  template <typename T>
  T* pass(T* pointer) {
    return passed++ == missing ? nullptr : pointer;
  }
  [[nodiscard]] bool untouched() const;
  /// The planes that it writes, or the frame.
  [[nodiscard]] std::vector<Bytes> output() const;
  [[nodiscard]] std::vector<Bytes> expected(const Kernels& kernels) const;

  const EntryPoint& entry;
  Case grid;
  int w = grid.w, h = grid.h, outW = grid.columns.out, outH = grid.rows.out;  // as passed
  int pad = 4;
  int format = entry.format;
  int missing = -1;
  int passed = 0;
  std::vector<LogLine> log = {};
  Handle handle = {};
  Maps maps;
  Image images[4] = {randomImage(grid.w, grid.h, 1), randomImage(grid.w / 2, grid.h / 2, 2),
                     randomImage(grid.w / 2, grid.h / 2, 3), randomImage(grid.w, grid.h, 4)};
  /// Padded Y, U and V of the first frame and Y of the second; or both frames.
  std::deque<PageBuffer<uint8_t>> inputs = {};
  PageBuffer<int32_t> mapX{maps.x}, mapY{maps.y};
  std::deque<Destination> outputs = {};
};

}  // namespace velmora::test

#endif  // VELMORA_TESTS_INTERPOLATION_CALL_H
