// The demonstration as a page for a browser.
#ifndef VELMORA_TOOL_DEMO_PAGE_H
#define VELMORA_TOOL_DEMO_PAGE_H

#include <cstdint>
#include <span>
#include <string>

namespace velmora::tool {

/// Groups of three bytes as four characters, padded with '=' (RFC 4648).
std::string base64(std::span<const uint8_t> bytes);

/// One row of the table: what was measured, PSNR and SSIM as text.
struct PageRow {
  std::string name, psnr, ssim;
};

/// An HTML document that needs no other file. `png` is a whole PNG file, shown below the table;
/// `introduction` and `remark` are plain text without markup, above and below.
std::string page(const std::string& introduction, std::span<const PageRow> rows,
                 const std::string& remark, std::span<const uint8_t> png);

}  // namespace velmora::tool

#endif  // VELMORA_TOOL_DEMO_PAGE_H
