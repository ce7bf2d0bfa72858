// The e-paper profile: a drawn PNG turned into a 1-bit picture for an e-paper panel.
//
// The widgets are drawn light on a navy ground; e-paper is black ink on white, and a large dark
// area ghosts when the panel refreshes. So the picture is inverted to its luminance, stretched so
// the lightest ground is paper white, then dithered with a 4x4 ordered (Bayer) matrix: a coloured
// area of rain colour (the palette's blues: the bars) becomes a regular dot pattern as dense as
// its tone, inside a solid outline, instead of a solid grey; everything else (text, rain figures,
// curves, temperatures, symbols) prints solid black from 30% tone and not at all below, so faint
// hairlines (grid lines, separators, night shading) vanish instead of breaking into speckle.
//
// With a panel size the picture is scaled (bilinear, aspect kept) to fit the panel, centred on
// white, before dithering, so the dots are panel pixels. The result is a 1-bit greyscale PNG.
#include <cairo.h>
#include <png.h>

#include <algorithm>
#include <cstring>
#include <iostream>
#include <memory>
#include <vector>

#include "commands.h"

namespace pluvo::cli {

namespace {

struct PngReader {
  const std::string& bytes;
  size_t offset = 0;
};

cairo_status_t readChunk(void* closure, unsigned char* data, unsigned int length) {
  auto* reader = static_cast<PngReader*>(closure);
  if (reader->offset + length > reader->bytes.size()) return CAIRO_STATUS_READ_ERROR;
  std::memcpy(data, reader->bytes.data() + reader->offset, length);
  reader->offset += length;
  return CAIRO_STATUS_SUCCESS;
}

using Surface = std::unique_ptr<cairo_surface_t, decltype(&cairo_surface_destroy)>;
using Context = std::unique_ptr<cairo_t, decltype(&cairo_destroy)>;

std::optional<std::pair<int, int>> parsePanel(std::string_view text) {
  auto panel = parseDimensions<int>(text);
  if (!panel || panel->first < 16 || panel->second < 16 || panel->first > 4096 ||
      panel->second > 4096) {
    return std::nullopt;
  }
  return panel;
}

void appendBytes(png_structp png, png_bytep data, png_size_t length) {
  static_cast<std::string*>(png_get_io_ptr(png))->append(reinterpret_cast<char*>(data), length);
}

// Writes rows of 0 (black) / 1 (white) values as a 1-bit greyscale PNG.
std::string encodeOneBit(const std::vector<unsigned char>& bits, int width, int height) {
  std::string out;
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  png_infop info = png_create_info_struct(png);
  if (setjmp(png_jmpbuf(png))) {
    png_destroy_write_struct(&png, &info);
    return {};
  }
  png_set_write_fn(png, &out, appendBytes, nullptr);
  png_set_IHDR(png, info, width, height, 1, PNG_COLOR_TYPE_GRAY, PNG_INTERLACE_NONE,
               PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  png_write_info(png, info);
  std::vector<unsigned char> row((width + 7) / 8);
  for (int y = 0; y < height; ++y) {
    std::fill(row.begin(), row.end(), 0);
    for (int x = 0; x < width; ++x) {
      if (bits[size_t(y) * width + x])
        row[x / 8] = static_cast<unsigned char>(row[x / 8] | (0x80 >> (x % 8)));
    }
    png_write_row(png, row.data());
  }
  png_write_end(png, info);
  png_destroy_write_struct(&png, &info);
  return out;
}

}  // namespace

bool checkProfile(const std::string& profile, const std::string& panel) {
  if (profile != "color" && profile != "eink") {
    std::cerr << "pluvo-widget: --profile \"" << profile
              << "\" is not a profile; use color (the default) or eink (1-bit, for e-paper)\n";
    return false;
  }
  if (!panel.empty() && !parsePanel(panel)) {
    std::cerr << "pluvo-widget: --panel \"" << panel
              << "\" is not WIDTHxHEIGHT in pixels; common panels are 800x480, 640x384 and "
                 "296x128\n";
    return false;
  }
  return true;
}

std::string applyProfile(const std::string& profile, const std::string& png,
                         const std::string& panel) {
  if (profile != "eink") return png;
  PngReader reader{png};
  Surface source(cairo_image_surface_create_from_png_stream(readChunk, &reader),
                 cairo_surface_destroy);
  if (cairo_surface_status(source.get()) != CAIRO_STATUS_SUCCESS) return png;
  int width = cairo_image_surface_get_width(source.get());
  int height = cairo_image_surface_get_height(source.get());

  // Everything composited over the navy ground onto an opaque surface, scaled to the panel.
  const auto target = parsePanel(panel);
  const int outWidth = target ? target->first : width;
  const int outHeight = target ? target->second : height;
  Surface flat(cairo_image_surface_create(CAIRO_FORMAT_RGB24, outWidth, outHeight),
               cairo_surface_destroy);
  Context cr(cairo_create(flat.get()), cairo_destroy);
  cairo_set_source_rgb(cr.get(), 9 / 255.0, 14 / 255.0, 27 / 255.0);
  cairo_paint(cr.get());
  if (target) {
    const double scale = std::min(double(outWidth) / width, double(outHeight) / height);
    cairo_translate(cr.get(), (outWidth - width * scale) / 2, (outHeight - height * scale) / 2);
    cairo_scale(cr.get(), scale, scale);
  }
  cairo_set_source_surface(cr.get(), source.get(), 0, 0);
  cairo_pattern_set_filter(cairo_get_source(cr.get()), CAIRO_FILTER_GOOD);
  cairo_paint(cr.get());
  cairo_surface_flush(flat.get());

  // Inverted luminance, 0 = paper white ... 255 = full ink.
  const unsigned char* data = cairo_image_surface_get_data(flat.get());
  const int stride = cairo_image_surface_get_stride(flat.get());
  std::vector<int> ink(size_t(outWidth) * outHeight);
  std::vector<bool> rain(ink.size());
  int lowest = 255;
  for (int y = 0; y < outHeight; ++y) {
    const auto* row = reinterpret_cast<const uint32_t*>(data + size_t(y) * stride);
    for (int x = 0; x < outWidth; ++x) {
      const uint32_t p = row[x];
      const int luminance =
          (299 * ((p >> 16) & 0xff) + 587 * ((p >> 8) & 0xff) + 114 * (p & 0xff)) / 1000;
      const int value = 255 - luminance;
      ink[size_t(y) * outWidth + x] = value;
      // The palette's rain colours are the blues: bars, rain figures and chance curves.
      const int r = (p >> 16) & 0xff, g = (p >> 8) & 0xff, b = p & 0xff;
      rain[size_t(y) * outWidth + x] = b > r + 60 && b >= g;
      lowest = std::min(lowest, value);
    }
  }
  // The ground is the most common tone (the navy, much ink after inversion): it and anything darker
  // read as paper, and the scale is stretched from it to the lightest thing drawn.
  std::vector<int> histogram(256);
  for (int v : ink) ++histogram[v];
  const int ground = int(std::max_element(histogram.begin(), histogram.end()) - histogram.begin());
  const int span = std::max(1, ground - lowest);

  // A rain-coloured pixel belongs to an area (a bar) when rain colour reaches k pixels away on
  // all four sides; otherwise it is part of a stroke (a figure, a curve) and prints solid.
  const int k = std::max(2, std::min(outWidth, outHeight) / 100);
  auto isRain = [&](int x, int y) {
    return x >= 0 && y >= 0 && x < outWidth && y < outHeight && rain[size_t(y) * outWidth + x];
  };
  auto inArea = [&](int x, int y) {
    return isRain(x - k, y) && isRain(x + k, y) && isRain(x, y - k) && isRain(x, y + k);
  };

  static constexpr int kBayer[4][4] = {
      {0, 8, 2, 10}, {12, 4, 14, 6}, {3, 11, 1, 9}, {15, 7, 13, 5}};
  std::vector<unsigned char> bits(ink.size());
  for (int y = 0; y < outHeight; ++y) {
    for (int x = 0; x < outWidth; ++x) {
      const int v = ink[size_t(y) * outWidth + x];
      // 0 ink at the ground, 255 where the drawing was lightest (text).
      const int tone = std::clamp((ground - v) * 255 / span, 0, 255);
      // Rain colours become a dot pattern as dense as their tone; everything else (text, the
      // temperature line, symbols) prints solid from 30% up and not at all below.
      const bool black = rain[size_t(y) * outWidth + x] && inArea(x, y)
                             ? tone > 24 && tone * 17 / 256 > kBayer[y % 4][x % 4]
                             : tone > 77;
      bits[size_t(y) * outWidth + x] = black ? 0 : 1;
    }
  }
  std::string out = encodeOneBit(bits, outWidth, outHeight);
  return out.empty() ? png : out;
}

}  // namespace pluvo::cli
