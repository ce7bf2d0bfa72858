#include "render/png.h"

#include <cairo.h>
#include <libdeflate.h>

#include <bit>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string_view>
#include <vector>

namespace pluvo::render {

namespace {

struct CompressorDeleter {
  void operator()(libdeflate_compressor* c) const { libdeflate_free_compressor(c); }
};

void appendBigEndian(std::string& out, std::uint32_t value) {
  out += static_cast<char>(value >> 24);
  out += static_cast<char>(value >> 16);
  out += static_cast<char>(value >> 8);
  out += static_cast<char>(value);
}

// length, type, data, CRC-32 of type and data.
void appendChunk(std::string& out, std::string_view type, std::string_view data) {
  appendBigEndian(out, static_cast<std::uint32_t>(data.size()));
  size_t typeAt = out.size();
  out += type;
  out += data;
  std::uint32_t crc = libdeflate_crc32(0, out.data() + typeAt, type.size() + data.size());
  appendBigEndian(out, crc);
}

cairo_status_t appendToString(void* closure, const unsigned char* data, unsigned int length) {
  static_cast<std::string*>(closure)->append(reinterpret_cast<const char*>(data), length);
  return CAIRO_STATUS_SUCCESS;
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
  const size_t stride = static_cast<size_t>(cairo_image_surface_get_stride(surface));
  unsigned char* data = cairo_image_surface_get_data(surface);
  if (width <= 0 || height <= 0 || !data) return fail("PNG encoding needs a non-empty image");
  if (options.compressionLevel < 0 || options.compressionLevel > 12) {
    return fail("PNG encoding failed: no compressor at level " +
                std::to_string(options.compressionLevel) + "; give 0 to 12");
  }
  const size_t w = static_cast<size_t>(width), h = static_cast<size_t>(height);

  std::unique_ptr<unsigned char[]> copied, straight;
  // The rows are packed in the surface's own buffer when the caller gives up its pixels; every
  // packed row is shorter than a row of 32-bit pixels and each byte is written only after the
  // pixels under it were read, so packing from the top left never overwrites an unread pixel.
  unsigned char* source = data;
  if (!options.overwriteSurface) {
    copied = std::make_unique_for_overwrite<unsigned char[]>(stride * h);
    std::memcpy(copied.get(), data, stride * h);
    source = copied.get();
  }
  auto pixelRow = [&](size_t y) {
    return reinterpret_cast<const std::uint32_t*>(source + y * stride);
  };
  // Each row: filter type 0 ("none": flat fields of colour compress best as they are), then the
  // pixels. The filter byte goes in last, as it may sit on the row's first pixel.
  const unsigned char* raw = source;
  size_t rawSize = 0;
  bool opaque = true;
  if (options.oneBit) {
    const size_t rowBytes = 1 + (w + 7) / 8;
    for (size_t y = 0; y < h; ++y) {
      const std::uint32_t* pixels = pixelRow(y);
      unsigned char* out = source + rowBytes * y;
      unsigned bits = 0;
      for (size_t x = 0; x < w; ++x) {
        std::uint32_t p = pixels[x];
        unsigned luma = (299 * ((p >> 16) & 0xff) + 587 * ((p >> 8) & 0xff) + 114 * (p & 0xff));
        bits = bits << 1 | (luma >= 128 * 1000 ? 1u : 0u);
        if (x % 8 == 7) out[1 + x / 8] = static_cast<unsigned char>(bits), bits = 0;
      }
      if (w % 8 != 0) out[1 + w / 8] = static_cast<unsigned char>(bits << (8 - w % 8));
      out[0] = 0;
    }
    rawSize = rowBytes * h;
  } else {
    // Widgets are opaque and written as RGB. The first row that is not (the lock card's rounded
    // corners: its first row) turns the image into straight-alpha RGBA, in a buffer of its own:
    // the rows above it are read back from their RGB, the rest from the pixels.
    const size_t rowBytes = 1 + w * 3;
    size_t y = 0;
    for (; y < h; ++y) {
      const std::uint32_t* pixels = pixelRow(y);
      if (format == CAIRO_FORMAT_ARGB32) {
        std::uint32_t alphas = 0xff000000u;
        for (size_t x = 0; x < w; ++x) alphas &= pixels[x];
        if ((alphas >> 24) != 0xff) break;
      }
      unsigned char* out = source + rowBytes * y;
      // Each pixel but the row's last as one 4-byte store of R, G, B and a byte the next pixel
      // overwrites; that byte may lie on the next pixel, so it is read first.
      std::uint32_t p = pixels[0];
      for (size_t x = 0; x + 1 < w; ++x) {
        const std::uint32_t next = pixels[x + 1];
        const std::uint32_t rgb =
            std::endian::native == std::endian::little ? __builtin_bswap32(p) >> 8 : p << 8;
        std::memcpy(out + 1 + 3 * x, &rgb, 4);
        p = next;
      }
      out[3 * w - 2] = static_cast<unsigned char>(p >> 16);
      out[3 * w - 1] = static_cast<unsigned char>(p >> 8);
      out[3 * w] = static_cast<unsigned char>(p);
      out[0] = 0;
    }
    rawSize = rowBytes * h;
    if (y < h) {
      opaque = false;
      const size_t rgbaBytes = 1 + w * 4;
      straight = std::make_unique_for_overwrite<unsigned char[]>(rgbaBytes * h);
      for (size_t above = 0; above < y; ++above) {
        const unsigned char* in = source + rowBytes * above + 1;
        unsigned char* out = straight.get() + rgbaBytes * above;
        *out++ = 0;
        for (size_t x = 0; x < w; ++x, in += 3, out += 4) {
          out[0] = in[0], out[1] = in[1], out[2] = in[2], out[3] = 0xff;
        }
      }
      for (; y < h; ++y) {
        const std::uint32_t* pixels = pixelRow(y);
        unsigned char* out = straight.get() + rgbaBytes * y;
        *out++ = 0;
        for (size_t x = 0; x < w; ++x, out += 4) {
          std::uint32_t p = pixels[x];
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
        }
      }
      raw = straight.get();
      rawSize = rgbaBytes * h;
    }
  }

  // One compressor a level and thread, kept: allocating one costs its hash tables each time.
  thread_local std::unique_ptr<libdeflate_compressor, CompressorDeleter> compressors[13];
  auto& compressor = compressors[options.compressionLevel];
  if (!compressor) compressor.reset(libdeflate_alloc_compressor(options.compressionLevel));
  if (!compressor) return fail("PNG encoding failed: out of memory for the compressor");
  // The compressed image's buffer stays with the thread too, grown and never cleared: only the
  // pages compressed images fill (a few hundred kilobytes) become resident, and stay so.
  thread_local std::unique_ptr<unsigned char[]> compressed;
  thread_local size_t compressedCapacity = 0;
  const size_t bound = libdeflate_zlib_compress_bound(compressor.get(), rawSize);
  if (compressedCapacity < bound) {
    compressed = std::make_unique_for_overwrite<unsigned char[]>(bound);
    compressedCapacity = bound;
  }
  size_t size = libdeflate_zlib_compress(compressor.get(), raw, rawSize, compressed.get(), bound);
  if (size == 0) return fail("PNG encoding failed: the image did not compress");

  std::string header;
  appendBigEndian(header, static_cast<std::uint32_t>(width));
  appendBigEndian(header, static_cast<std::uint32_t>(height));
  header += options.oneBit ? '\x01' : '\x08';                    // bit depth
  header += options.oneBit ? '\x00' : opaque ? '\x02' : '\x06';  // grey, RGB or RGBA
  header += std::string(3, '\0');  // deflate, adaptive filtering, no interlace
  std::string png;
  png.reserve(8 + 25 + options.description.size() + 30 + size + 24);
  png.assign("\x89PNG\r\n\x1a\n", 8);
  appendChunk(png, "IHDR", header);
  if (!options.description.empty()) {
    // iTXt: keyword, no compression, language "en", no translated keyword, UTF-8 text.
    std::string text("Description\0\0\0en\0\0", 18);
    text += options.description;
    appendChunk(png, "iTXt", text);
  }
  appendChunk(png, "IDAT", std::string_view(reinterpret_cast<const char*>(compressed.get()), size));
  appendChunk(png, "IEND", {});
  return png;
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
