// The demonstration as a page for a browser.
#ifndef VELMORA_TOOL_DEMO_PAGE_H
#define VELMORA_TOOL_DEMO_PAGE_H

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "picture.h"

namespace velmora::tool {

/// Groups of three bytes as four characters, padded with '=' (RFC 4648).
std::string base64(std::span<const uint8_t> bytes);

/// One row of the table: what was measured, PSNR, SSIM and how long it took as text.
struct PageRow {
  std::string name, psnr, ssim, time;
};

/// A picture with what it shows; `png` is a whole PNG file.
struct PagePicture {
  std::string caption;
  std::vector<uint8_t> png;
};

/// Two pictures of one thing, one above the other, with a bar to drag between them.
struct PageSlider {
  PagePicture before;
  PagePicture after;
  Size beforeSize;
  Size afterSize;
  int left = 0;  ///< where in `after` the first column and row of `before` lie
  int top = 0;
};

/// Texts are plain, without markup.
struct Page {
  std::string introduction;
  PageSlider slider;
  std::vector<PageRow> rows;
  std::string remark;
  PagePicture comparison;
  std::vector<PagePicture> weights;
};

/// An HTML document that needs no other file, and nothing of the network.
std::string html(const Page& page);

}  // namespace velmora::tool

#endif  // VELMORA_TOOL_DEMO_PAGE_H
