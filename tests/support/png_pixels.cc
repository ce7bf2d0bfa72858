#include "support/png_pixels.h"

#include <gtest/gtest.h>
#include <spng.h>

#include <memory>

namespace pluvo::testing {

DecodedPng decodePng(std::string_view bytes) {
  DecodedPng image;
  std::unique_ptr<spng_ctx, decltype(&spng_ctx_free)> ctx(spng_ctx_new(0), spng_ctx_free);
  spng_set_png_buffer(ctx.get(), bytes.data(), bytes.size());
  spng_ihdr header{};
  size_t size = 0;
  if (spng_get_ihdr(ctx.get(), &header) != 0 ||
      spng_decoded_image_size(ctx.get(), SPNG_FMT_RGBA8, &size) != 0) {
    ADD_FAILURE() << "not a PNG";
    return image;
  }
  image.width = static_cast<int>(header.width);
  image.height = static_cast<int>(header.height);
  image.hasAlpha = header.color_type == SPNG_COLOR_TYPE_TRUECOLOR_ALPHA;
  image.pixels.resize(size / 4);
  if (spng_decode_image(ctx.get(), image.pixels.data(), size, SPNG_FMT_RGBA8, 0) != 0) {
    ADD_FAILURE() << "the PNG does not decode";
    image.pixels.clear();
  }
  return image;
}

}  // namespace pluvo::testing
