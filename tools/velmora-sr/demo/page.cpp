#include "demo/page.h"

#include <string_view>

#include "status.h"

namespace velmora::tool {
namespace {

// The picture before lies over that after, cut off at --at; the bar is an invisible slider over
// both, so that it works by touch and by keys, too.
constexpr const char* kHead = R"(<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<title>velmora-sr demo</title>
<style>
body { font: 16px/1.5 sans-serif; margin: 2rem; color: #1e2026; background: #fafaf8; }
table { border-collapse: collapse; margin: 1rem 0; }
th, td { padding: 0.2rem 1.2rem 0.2rem 0; text-align: right; }
th:first-child, td:first-child { text-align: left; }
figure { margin: 1rem 0; }
img { max-width: 100%; image-rendering: pixelated; }
.row { display: flex; gap: 1rem; }
.slider { position: relative; overflow: hidden; max-width: 100%; }
.slider img { position: absolute; max-width: none; image-rendering: auto; }
.slider .before { left: 0; top: 0; width: 100%; clip-path: inset(0 calc(100% - var(--at)) 0 0); }
.slider .bar { position: absolute; left: var(--at); top: 0; bottom: 0; width: 2px; background: #fff;
  box-shadow: 0 0 3px #000; }
.slider span { position: absolute; bottom: 0.6rem; padding: 0 0.6rem; color: #fff;
  background: #1e2026b0; }
.slider span:first-of-type { left: 0.6rem; }
.slider span:last-of-type { right: 0.6rem; }
.slider input { position: absolute; left: 0; top: 0; width: 100%; height: 100%; margin: 0; opacity: 0;
  cursor: ew-resize; }
.slider:focus-within { outline: 2px solid #4a78c8; }
</style>
</head>
<body>
<h1>Noisy frames in, one larger and cleaner picture out</h1>
)";

std::string image(const PagePicture& picture, const std::string& attributes) {
  return "<img " + attributes + "alt=\"" + picture.caption + "\" src=\"data:image/png;base64," +
         base64(picture.png) + "\">\n";
}

std::string figure(const PagePicture& picture) {
  return "<figure>\n" + image(picture, "") + "<figcaption>" + picture.caption +
         "</figcaption>\n</figure>\n";
}

// Sizes are shares of the frame's, which may be narrower than the pictures.
std::string sliderOf(const PageSlider& slider) {
  const Size shown = slider.beforeSize;
  const auto percent = [](int part, int whole) { return 100.0 * part / whole; };
  return format(
             "<figure class=\"slider\" style=\"--at: 50%%; width: %dpx; aspect-ratio: %d / %d\">\n",
             shown.width, shown.width, shown.height) +
         image(slider.after,
               format("style=\"left: %.4f%%; top: %.4f%%; width: %.4f%%\" ",
                      -percent(slider.left, shown.width), -percent(slider.top, shown.height),
                      percent(slider.afterSize.width, shown.width))) +
         image(slider.before, "class=\"before\" ") + "<div class=\"bar\"></div>\n<span>" +
         slider.before.caption + "</span>\n<span>" + slider.after.caption +
         "</span>\n<input type=\"range\" min=\"0\" max=\"100\" step=\"0.1\" value=\"50\" "
         "aria-label=\"How much is shown of the picture before\" "
         "oninput=\"this.parentNode.style.setProperty('--at', this.value + '%')\">\n</figure>\n";
}

}  // namespace

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

std::string html(const Page& page) {
  std::string html = kHead;
  html += sliderOf(page.slider) + "<p>" + page.introduction + "</p>\n" +
          "<table>\n<tr><th></th><th>PSNR, dB</th><th>SSIM</th><th>time, ms</th></tr>\n";
  for (const PageRow& row : page.rows)
    html += "<tr><td>" + row.name + "</td><td>" + row.psnr + "</td><td>" + row.ssim + "</td><td>" +
            row.time + "</td></tr>\n";
  html +=
      "</table>\n<p>" + page.remark + "</p>\n" + figure(page.comparison) + "<div class=\"row\">\n";
  for (const PagePicture& picture : page.weights)
    html += figure(picture);
  html += "</div>\n</body>\n</html>\n";
  return html;
}

}  // namespace velmora::tool
