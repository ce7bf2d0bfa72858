#include "render/png.h"

#include <cairo.h>
#include <libdeflate.h>

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
  const int stride = cairo_image_surface_get_stride(surface);
  const unsigned char* data = cairo_image_surface_get_data(surface);
  if (width <= 0 || height <= 0 || !data) return fail("PNG encoding needs a non-empty image");

  // Cairo keeps native-endian 32-bit pixels with premultiplied alpha.
  auto row = [&](int y) {
    return reinterpret_cast<const std::uint32_t*>(data + static_cast<size_t>(y) * stride);
  };
  // Each row: filter type 0 ("none": flat fields of colour compress best as they are), then the
  // pixels. Widgets are opaque, so RGB is written first while every alpha is ANDed together; at
  // the end of the first row that is not opaque (the lock card's rounded corners: its first row)
  // the image is written again from the top, as straight-alpha RGBA.
  // Every byte of the rows is written, so the buffer starts uninitialised (no 3 MB memset).
  std::unique_ptr<unsigned char[]> raw;
  size_t rawSize = 0;
  auto allocate = [&](size_t rowBytes) {
    rawSize = rowBytes * static_cast<size_t>(height);
    raw = std::make_unique_for_overwrite<unsigned char[]>(rawSize);
  };
  auto rgbRows = [&] {
    const size_t rowBytes = 1 + static_cast<size_t>(width) * 3;
    allocate(rowBytes);
    std::uint32_t alphas = 0xff000000u;
    for (int y = 0; y < height; ++y) {
      const std::uint32_t* pixels = row(y);
      unsigned char* out = raw.get() + rowBytes * static_cast<size_t>(y);
      *out++ = 0;
      for (int x = 0; x < width; ++x, out += 3) {
        std::uint32_t p = pixels[x];
        alphas &= p;
        out[0] = static_cast<unsigned char>(p >> 16);
        out[1] = static_cast<unsigned char>(p >> 8);
        out[2] = static_cast<unsigned char>(p);
      }
      if (format != CAIRO_FORMAT_RGB24 && (alphas >> 24) != 0xff) return false;
    }
    return true;
  };
  auto rgbaRows = [&] {
    const size_t rowBytes = 1 + static_cast<size_t>(width) * 4;
    allocate(rowBytes);
    for (int y = 0; y < height; ++y) {
      const std::uint32_t* pixels = row(y);
      unsigned char* out = raw.get() + rowBytes * static_cast<size_t>(y);
      *out++ = 0;
      for (int x = 0; x < width; ++x, out += 4) {
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
  };
  auto oneBitRows = [&] {
    const size_t rowBytes = 1 + (static_cast<size_t>(width) + 7) / 8;
    allocate(rowBytes);
    for (int y = 0; y < height; ++y) {
      const std::uint32_t* pixels = row(y);
      unsigned char* out = raw.get() + rowBytes * static_cast<size_t>(y);
      std::memset(out, 0, rowBytes);
      for (int x = 0; x < width; ++x) {
        std::uint32_t p = pixels[x];
        unsigned luma = (299 * ((p >> 16) & 0xff) + 587 * ((p >> 8) & 0xff) + 114 * (p & 0xff));
        if (luma >= 128 * 1000) out[1 + x / 8] |= static_cast<unsigned char>(0x80 >> (x % 8));
      }
    }
  };
  const bool opaque = options.oneBit || rgbRows();
  if (options.oneBit) {
    oneBitRows();
  } else if (!opaque) {
    rgbaRows();
  }

  std::unique_ptr<libdeflate_compressor, CompressorDeleter> compressor(
      libdeflate_alloc_compressor(options.compressionLevel));
  if (!compressor)
    return fail("PNG encoding failed: no compressor at level " +
                std::to_string(options.compressionLevel));
  // Left uninitialised: only the pages the compressed image fills become resident.
  const size_t bound = libdeflate_zlib_compress_bound(compressor.get(), rawSize);
  std::unique_ptr<char[]> compressed(new char[bound]);
  size_t size =
      libdeflate_zlib_compress(compressor.get(), raw.get(), rawSize, compressed.get(), bound);
  if (size == 0) return fail("PNG encoding failed: the image did not compress");

  std::string png("\x89PNG\r\n\x1a\n", 8);
  std::string header;
  appendBigEndian(header, static_cast<std::uint32_t>(width));
  appendBigEndian(header, static_cast<std::uint32_t>(height));
  header += options.oneBit ? '\x01' : '\x08';                    // bit depth
  header += options.oneBit ? '\x00' : opaque ? '\x02' : '\x06';  // grey, RGB or RGBA
  header += std::string(3, '\0');  // deflate, adaptive filtering, no interlace
  appendChunk(png, "IHDR", header);
  if (!options.description.empty()) {
    // iTXt: keyword, no compression, language "en", no translated keyword, UTF-8 text.
    std::string text("Description\0\0\0en\0\0", 18);
    text += options.description;
    appendChunk(png, "iTXt", text);
  }
  appendChunk(png, "IDAT", std::string_view(compressed.get(), size));
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
