#include "support/png_pixels.h"

#include <cairo.h>
#include <gtest/gtest.h>

#include <cstring>

namespace pluvo::testing {

namespace {

struct Reader {
  std::string_view bytes;
  size_t at = 0;
};

cairo_status_t readFrom(void* closure, unsigned char* data, unsigned int length) {
  auto* reader = static_cast<Reader*>(closure);
  if (reader->bytes.size() - reader->at < length) return CAIRO_STATUS_READ_ERROR;
  std::memcpy(data, reader->bytes.data() + reader->at, length);
  reader->at += length;
  return CAIRO_STATUS_SUCCESS;
}

}  // namespace

DecodedPng decodePng(std::string_view bytes) {
  // Cairo reads through libpng: a decoder independent of the encoder under test.
  DecodedPng image;
  Reader reader{bytes};
  cairo_surface_t* surface = cairo_image_surface_create_from_png_stream(readFrom, &reader);
  if (cairo_surface_status(surface) != CAIRO_STATUS_SUCCESS) {
    ADD_FAILURE() << "not a PNG: " << cairo_status_to_string(cairo_surface_status(surface));
    cairo_surface_destroy(surface);
    return image;
  }
  image.width = cairo_image_surface_get_width(surface);
  image.height = cairo_image_surface_get_height(surface);
  image.hasAlpha = cairo_image_surface_get_format(surface) == CAIRO_FORMAT_ARGB32;
  const int stride = cairo_image_surface_get_stride(surface);
  const unsigned char* data = cairo_image_surface_get_data(surface);
  for (int y = 0; y < image.height; ++y) {
    for (int x = 0; x < image.width; ++x) {
      std::uint32_t p;
      std::memcpy(&p, data + static_cast<size_t>(y) * stride + static_cast<size_t>(x) * 4, 4);
      unsigned a = image.hasAlpha ? p >> 24 : 0xff;
      auto straight = [&](unsigned c) {
        return static_cast<std::uint8_t>(a == 0 ? 0 : (c * 255 + a / 2) / a);
      };
      image.pixels.push_back({straight((p >> 16) & 0xff), straight((p >> 8) & 0xff),
                              straight(p & 0xff), static_cast<std::uint8_t>(a)});
    }
  }
  cairo_surface_destroy(surface);
  return image;
}

}  // namespace pluvo::testing
