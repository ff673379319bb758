#include "demo/page.h"

#include <string_view>

namespace velmora::tool {

std::string base64(std::span<const uint8_t> bytes) {
  constexpr std::string_view kDigits =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string result;
  result.reserve((bytes.size() + 2) / 3 * 4);
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    const std::size_t count = bytes.size() - i < 3 ? bytes.size() - i : 3;
    uint32_t group = 0;
    for (std::size_t k = 0; k < 3; ++k)
      group = group << 8 | (k < count ? bytes[i + k] : 0u);
    for (std::size_t k = 0; k < 4; ++k)
      result += k <= count ? kDigits[group >> (18 - 6 * k) & 63] : '=';
  }
  return result;
}

std::string page(const std::string& introduction, std::span<const PageRow> rows,
                 const std::string& remark, std::span<const uint8_t> png) {
  std::string html =
      "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
      "<title>velmora-sr demo</title>\n<style>\n"
      "body { font: 16px/1.5 sans-serif; margin: 2rem; color: #1e2026; background: #fafaf8; }\n"
      "table { border-collapse: collapse; margin: 1rem 0; }\n"
      "th, td { padding: 0.2rem 1.2rem 0.2rem 0; text-align: right; }\n"
      "th:first-child, td:first-child { text-align: left; }\n"
      "img { max-width: 100%; image-rendering: pixelated; }\n"
      "</style>\n</head>\n<body>\n<h1>Noisy frames in, one larger and cleaner picture "
      "out</h1>\n<p>" +
      introduction + "</p>\n<table>\n<tr><th></th><th>PSNR, dB</th><th>SSIM</th></tr>\n";
  for (const PageRow& row : rows)
    html +=
        "<tr><td>" + row.name + "</td><td>" + row.psnr + "</td><td>" + row.ssim + "</td></tr>\n";
  html += "</table>\n<p>" + remark +
          "</p>\n<img alt=\"Details side by side\" src=\"data:image/png;base64," + base64(png) +
          "\">\n</body>\n</html>\n";
  return html;
}

}  // namespace velmora::tool
