// PNG encoding of a drawn image surface.
//
// `encodePng` is the product's encoder: libspng at zlib level 1 without row filters, which
// measured about 10 times faster than cairo's own writer (zlib's default level, adaptive filters)
// on a widget at scale 3, for files about 1.2 times the size (see bench/render_bench.cc). Rows are
// converted and compressed one at a time, so no copy of the whole image is made. An
// opaque image (every widget: the navy background covers it) is written as 8-bit RGB; one with
// transparency as 8-bit RGBA with straight (not premultiplied) alpha. The optional description
// travels as an iTXt "Description" chunk, UTF-8.
//
// `encodePngWithCairo` is cairo's writer, kept for the comparison in the benchmark.
//
//   Expected<std::string> bytes = encodePng(surface, {.description = "Pluvo, Houston, TX"});
//
// Thread safety: the surface must not be drawn on while it is encoded; otherwise reentrant.
#pragma once

#include <string>

#include "platform/error.h"

using cairo_surface_t = struct _cairo_surface;

namespace pluvo::render {

struct PngOptions {
  std::string description;   // empty: no text chunk
  int compressionLevel = 1;  // zlib's 0-9
};

// `surface` must be a cairo image surface in CAIRO_FORMAT_ARGB32 or CAIRO_FORMAT_RGB24.
Expected<std::string> encodePng(cairo_surface_t* surface, const PngOptions& options = {});

Expected<std::string> encodePngWithCairo(cairo_surface_t* surface);

}  // namespace pluvo::render
