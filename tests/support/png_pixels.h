// Reading PNG files back for the drawing tests: decoded by cairo (libpng) into 8-bit RGBA rows
// with straight alpha.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

namespace pluvo::testing {

struct Rgba {
  std::uint8_t r = 0, g = 0, b = 0, a = 0;
  bool operator==(const Rgba&) const = default;
};

struct DecodedPng {
  int width = 0;
  int height = 0;
  bool hasAlpha = false;     // the file's own colour type: RGBA rather than RGB
  std::vector<Rgba> pixels;  // row by row
  Rgba at(int x, int y) const { return pixels[static_cast<size_t>(y) * width + x]; }
};

// Fails the current test (and returns an empty image) when the bytes are not a PNG.
DecodedPng decodePng(std::string_view bytes);

}  // namespace pluvo::testing
