#include "render/png.h"

#include <cairo.h>
#include <spng.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

namespace pluvo::render {

namespace {

struct SpngDeleter {
  void operator()(spng_ctx* context) const { spng_ctx_free(context); }
};

cairo_status_t appendToString(void* closure, const unsigned char* data, unsigned int length) {
  static_cast<std::string*>(closure)->append(reinterpret_cast<const char*>(data), length);
  return CAIRO_STATUS_SUCCESS;
}

Expected<void> checkSpng(int code, const char* step) {
  if (code == 0) return {};
  return fail(std::string("PNG encoding failed while ") + step + ": " + spng_strerror(code));
}

}  // namespace

Expected<std::string> encodePng(cairo_surface_t* surface, const PngOptions& options) {
  cairo_surface_flush(surface);
  cairo_format_t format = cairo_image_surface_get_format(surface);
  if (cairo_surface_status(surface) != CAIRO_STATUS_SUCCESS ||
      (format != CAIRO_FORMAT_ARGB32 && format != CAIRO_FORMAT_RGB24)) {
    return fail("PNG encoding needs an ARGB32 or RGB24 image surface");
  }
  const int width = cairo_image_surface_get_width(surface);
  const int height = cairo_image_surface_get_height(surface);
  const int stride = cairo_image_surface_get_stride(surface);
  const unsigned char* data = cairo_image_surface_get_data(surface);
  if (width <= 0 || height <= 0 || !data) return fail("PNG encoding needs a non-empty image");

  // Cairo keeps native-endian 32-bit pixels, alpha premultiplied; one row at a time is copied
  // into whole words (cairo's stride is a multiple of 4).
  const std::uint32_t forceOpaque = format == CAIRO_FORMAT_RGB24 ? 0xff000000u : 0;
  std::vector<std::uint32_t> row(static_cast<size_t>(width));
  auto loadRow = [&](int y) {
    std::memcpy(row.data(), data + static_cast<size_t>(y) * stride, row.size() * 4);
  };
  bool opaque = true;
  for (int y = 0; y < height && opaque; ++y) {
    loadRow(y);
    std::uint32_t all = 0xffffffffu;
    for (std::uint32_t p : row) all &= p | forceOpaque;
    opaque = (all >> 24) == 0xff;
  }
  const size_t channels = opaque ? 3 : 4;
  std::vector<unsigned char> converted(static_cast<size_t>(width) * channels);
  // One row in PNG order, straight alpha.
  auto convertRow = [&](int y) {
    loadRow(y);
    unsigned char* out = converted.data();
    if (opaque) {
      for (std::uint32_t p : row) {
        out[0] = static_cast<unsigned char>(p >> 16);
        out[1] = static_cast<unsigned char>(p >> 8);
        out[2] = static_cast<unsigned char>(p);
        out += 3;
      }
      return;
    }
    for (std::uint32_t p : row) {
      p |= forceOpaque;
      unsigned a = p >> 24, r = (p >> 16) & 0xff, g = (p >> 8) & 0xff, b = p & 0xff;
      if (a != 0 && a != 0xff) {
        r = (r * 255 + a / 2) / a;
        g = (g * 255 + a / 2) / a;
        b = (b * 255 + a / 2) / a;
      }
      out[0] = static_cast<unsigned char>(r);
      out[1] = static_cast<unsigned char>(g);
      out[2] = static_cast<unsigned char>(b);
      out[3] = static_cast<unsigned char>(a);
      out += 4;
    }
  };

  std::unique_ptr<spng_ctx, SpngDeleter> context(spng_ctx_new(SPNG_CTX_ENCODER));
  if (!context) return fail("PNG encoding failed: out of memory");
  spng_ctx* ctx = context.get();
  spng_ihdr header{};
  header.width = static_cast<std::uint32_t>(width);
  header.height = static_cast<std::uint32_t>(height);
  header.bit_depth = 8;
  header.color_type = opaque ? SPNG_COLOR_TYPE_TRUECOLOR : SPNG_COLOR_TYPE_TRUECOLOR_ALPHA;
  if (auto ok = checkSpng(spng_set_option(ctx, SPNG_ENCODE_TO_BUFFER, 1), "starting"); !ok) {
    return std::unexpected(ok.error());
  }
  spng_set_option(ctx, SPNG_IMG_COMPRESSION_LEVEL, options.compressionLevel);
  // Pictures here are flat fields of colour with anti-aliased edges: deflate finds the repeats
  // of an unfiltered row by itself. Against the "up" filter this measured about 30% faster and
  // 15% smaller, on the lock card (1092x480 RGBA) and on a widget (1092x510 RGB) alike.
  spng_set_option(ctx, SPNG_FILTER_CHOICE, SPNG_FILTER_CHOICE_NONE);
  if (auto ok = checkSpng(spng_set_ihdr(ctx, &header), "writing the header"); !ok) {
    return std::unexpected(ok.error());
  }
  std::string description = options.description;
  char language[] = "en";
  char translated[] = "";
  spng_text text{};
  if (!description.empty()) {
    std::strcpy(text.keyword, "Description");
    text.type = SPNG_ITXT;
    text.length = description.size();
    text.text = description.data();
    text.language_tag = language;
    text.translated_keyword = translated;
    if (auto ok = checkSpng(spng_set_text(ctx, &text, 1), "adding the description"); !ok) {
      return std::unexpected(ok.error());
    }
  }
  // Row by row: each row is converted and compressed while it is still in the cache, and no
  // copy of the whole image is made.
  if (auto ok = checkSpng(spng_encode_image(ctx, nullptr, 0, SPNG_FMT_PNG,
                                            SPNG_ENCODE_PROGRESSIVE | SPNG_ENCODE_FINALIZE),
                          "starting the image");
      !ok) {
    return std::unexpected(ok.error());
  }
  for (int y = 0; y < height; ++y) {
    convertRow(y);
    int code = spng_encode_row(ctx, converted.data(), converted.size());
    if (code == SPNG_EOI && y == height - 1) break;
    if (auto ok = checkSpng(code, "compressing"); !ok) return std::unexpected(ok.error());
  }
  size_t size = 0;
  int error = 0;
  void* png = spng_get_png_buffer(ctx, &size, &error);
  if (!png) return fail(std::string("PNG encoding failed: ") + spng_strerror(error));
  std::string bytes(static_cast<const char*>(png), size);
  std::free(png);
  return bytes;
}

Expected<std::string> encodePngWithCairo(cairo_surface_t* surface) {
  std::string bytes;
  cairo_status_t status = cairo_surface_write_to_png_stream(surface, appendToString, &bytes);
  if (status != CAIRO_STATUS_SUCCESS) {
    return fail(std::string("PNG encoding failed: ") + cairo_status_to_string(status));
  }
  return bytes;
}

}  // namespace pluvo::render
