// PNG encoding of a drawn image surface.
//
// `encodePng` is the product's encoder: rows unfiltered (the widgets are flat fields of colour,
// which deflate finds as repeats three bytes back) and compressed in one call by libdeflate at
// level 1. On the small widget at scale 3 it measured about 7 times faster than cairo's own
// writer (zlib at its default level with adaptive filters) and its files are smaller; zlib at
// level 1 through libspng or libpng stayed under 5 times faster (bench/render_bench.cc). An
// opaque image (every widget: the navy covers it) is written as 8-bit RGB; one with transparency
// as 8-bit RGBA with straight (not premultiplied) alpha. The optional description travels as an
// iTXt "Description" chunk, UTF-8. The compressor and the compressed image's buffer are kept by
// each thread from image to image (allocating them each time pages them in again).
//
// `encodePngWithCairo` is cairo's writer, kept for the comparison in the benchmark.
//
//   Expected<std::string> bytes = encodePng(surface, {.description = "Pluvo, Houston, TX"});
//
// Thread safety: the surface must not be drawn on while it is encoded; calls on different
// threads are independent.
#pragma once

#include <string>

#include "base/error.h"

using cairo_surface_t = struct _cairo_surface;

namespace pluvo::render {

struct PngOptions {
  std::string description;   // empty: no text chunk
  int compressionLevel = 1;  // libdeflate's 0-12
  // 1-bit greyscale (an e-paper picture): a pixel is white when its luminance is at least half.
  bool oneBit = false;
  // The caller gives up the surface's pixels: the rows are packed in its own buffer, which holds
  // garbage afterwards (paint it all before drawing on it again). Otherwise they are copied first.
  bool overwriteSurface = false;
};

// `surface` must be a cairo image surface in CAIRO_FORMAT_ARGB32 or CAIRO_FORMAT_RGB24.
Expected<std::string> encodePng(cairo_surface_t* surface, const PngOptions& options = {});

Expected<std::string> encodePngWithCairo(cairo_surface_t* surface);

}  // namespace pluvo::render
