// Pictures of one thing side by side, with labels.
#ifndef VELMORA_TOOL_DEMO_COMPARISON_H
#define VELMORA_TOOL_DEMO_COMPARISON_H

#include <span>
#include <string>

#include "demo/canvas.h"
#include "picture.h"

namespace velmora::tool {

/// One column of the comparison.
struct Panel {
  std::string title;
  std::string detail;  ///< a second line, may be empty
  const Picture* picture = nullptr;
};

/// One row: the top-left corner of a part of all pictures, in pixels of the largest.
struct Detail {
  int left = 0;
  int top = 0;
};

/// Every panel is a column, every detail a row of parts of `part` pixels, shown `zoom` times as
/// large. Of a picture that is a whole factor smaller than the largest the same part is shown, with
/// pixels larger by that factor.
Canvas sideBySide(std::span<const Panel> panels, std::span<const Detail> details, Size part,
                  int zoom);

}  // namespace velmora::tool

#endif  // VELMORA_TOOL_DEMO_COMPARISON_H
