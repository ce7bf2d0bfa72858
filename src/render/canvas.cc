#include "render/canvas.h"

#include <cairo-pdf.h>
#include <cairo-svg.h>
#include <cairo.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <numbers>
#include <utility>

#include "render/png.h"

namespace pluvo::render {

namespace {

constexpr double kMaximumPoints = 4096;

cairo_status_t appendToString(void* closure, const unsigned char* data, unsigned int length) {
  static_cast<std::string*>(closure)->append(reinterpret_cast<const char*>(data), length);
  return CAIRO_STATUS_SUCCESS;
}

// Cairo names SVG groups after a process-wide surface counter ("surface6"); numbering them in
// order of appearance makes the same drawing give the same file on every call, not just on
// every run.
std::string renumberSvgSurfaces(const std::string& svg) {
  constexpr std::string_view kName = "surface";
  std::map<std::string, std::string, std::less<>> numbers;
  std::string out;
  out.reserve(svg.size());
  size_t copied = 0;
  for (size_t at = svg.find(kName); at != std::string::npos; at = svg.find(kName, at + 1)) {
    if (at == 0 || (svg[at - 1] != '"' && svg[at - 1] != '#')) continue;
    size_t digits = at + kName.size(), end = digits;
    while (end < svg.size() && svg[end] >= '0' && svg[end] <= '9') ++end;
    if (end == digits || end >= svg.size() || svg[end] != '"') continue;
    std::string original = svg.substr(digits, end - digits);
    auto [entry, added] = numbers.try_emplace(original, std::to_string(numbers.size() + 1));
    out.append(svg, copied, digits - copied);
    out += entry->second;
    copied = end;
  }
  out.append(svg, copied, std::string::npos);
  return out;
}

// Cairo's SVG writer has no place for a title: put <title> and <desc> first inside <svg>.
std::string withSvgTitle(std::string svg, const ImageMetadata& metadata) {
  svg = renumberSvgSurfaces(svg);
  if (metadata.title.empty() && metadata.description.empty()) return svg;
  size_t open = svg.find("<svg");
  size_t end = open == std::string::npos ? open : svg.find('>', open);
  if (end == std::string::npos) return svg;
  std::string inserted = "\n";
  if (!metadata.title.empty()) inserted += "<title>" + escapeXml(metadata.title) + "</title>\n";
  if (!metadata.description.empty()) {
    inserted += "<desc>" + escapeXml(metadata.description) + "</desc>\n";
  }
  svg.insert(end + 1, inserted);
  return svg;
}

std::string number(double value) {
  char buffer[32];
  std::snprintf(buffer, sizeof buffer, "%g", value);
  return buffer;
}

}  // namespace

std::optional<ImageFormat> parseImageFormat(std::string_view name) {
  if (name == "png") return ImageFormat::png;
  if (name == "svg") return ImageFormat::svg;
  if (name == "pdf") return ImageFormat::pdf;
  return std::nullopt;
}

std::string_view imageFormatName(ImageFormat format) {
  switch (format) {
    case ImageFormat::png:
      return "png";
    case ImageFormat::svg:
      return "svg";
    case ImageFormat::pdf:
      return "pdf";
  }
  return "png";
}

std::string escapeXml(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (char c : text) {
    switch (c) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '"':
        out += "&quot;";
        break;
      case '\'':
        out += "&apos;";
        break;
      default:
        out += c;
    }
  }
  return out;
}

namespace {

// Who frees a lent buffer: the pool when it takes it back, otherwise the surface's last holder.
struct LentPixels {
  unsigned char* data = nullptr;
  size_t capacity = 0;
  bool returned = false;
};
const cairo_user_data_key_t kLentPixels{};

void freeUnlessReturned(void* lent) {
  auto* pixels = static_cast<LentPixels*>(lent);
  if (!pixels->returned) std::free(pixels->data);
  delete pixels;
}

}  // namespace

SurfacePool::~SurfacePool() { std::free(kept_); }

cairo_surface_t* SurfacePool::take(int format, int width, int height) {
  const auto pixels = static_cast<cairo_format_t>(format);
  const int stride = cairo_format_stride_for_width(pixels, width);
  if (stride <= 0 || width <= 0 || height <= 0) {
    return cairo_image_surface_create(pixels, width, height);
  }
  const size_t bytes = static_cast<size_t>(stride) * static_cast<size_t>(height);
  if (!kept_ || capacity_ < bytes) {
    std::free(std::exchange(kept_, nullptr));
    // Cache-line aligned, as pixman's own buffers are; left uninitialised until cleared below.
    kept_ = static_cast<unsigned char*>(std::aligned_alloc(64, (bytes + 63) / 64 * 64));
    capacity_ = kept_ ? bytes : 0;
    if (!kept_) return cairo_image_surface_create(pixels, width, height);
  }
  // As a fresh surface is: every pixel transparent black.
  std::memset(kept_, 0, bytes);
  cairo_surface_t* surface =
      cairo_image_surface_create_for_data(kept_, pixels, width, height, stride);
  auto* lent = new LentPixels{.data = kept_, .capacity = capacity_};
  if (cairo_surface_set_user_data(surface, &kLentPixels, lent, freeUnlessReturned) !=
      CAIRO_STATUS_SUCCESS) {
    delete lent;
    cairo_surface_destroy(surface);
    return cairo_image_surface_create(pixels, width, height);
  }
  kept_ = nullptr;
  return surface;
}

void SurfacePool::give(cairo_surface_t* surface) {
  auto* lent = static_cast<LentPixels*>(cairo_surface_get_user_data(surface, &kLentPixels));
  // Taken back only when nothing else holds the surface (a pattern made from it, say).
  if (lent && !kept_ && cairo_surface_get_reference_count(surface) == 1) {
    lent->returned = true;
    kept_ = lent->data;
    capacity_ = lent->capacity;
  }
  cairo_surface_destroy(surface);
}

Expected<Canvas> Canvas::create(ImageFormat format, Size size, double scale,
                                std::optional<EPaper> epaper, SurfacePool* surfaces) {
  if (auto fonts = loadFonts(); !fonts) return std::unexpected(fonts.error());
  if (!(size.width >= 1 && size.height >= 1 && size.width <= kMaximumPoints &&
        size.height <= kMaximumPoints)) {
    return fail("cannot draw at " + number(size.width) + "x" + number(size.height) +
                " points; give a size between 1 and 4096");
  }
  if (!(scale >= 0.25 && scale <= 8)) {
    return fail("cannot draw at scale " + number(scale) + "; give a scale from 0.25 to 8");
  }
  if (epaper && format != ImageFormat::png) return fail("e-paper pictures are PNG only");
  if (epaper && epaper->panel &&
      !(epaper->panel->first >= 16 && epaper->panel->second >= 16 && epaper->panel->first <= 4096 &&
        epaper->panel->second <= 4096)) {
    return fail("cannot fit a panel of " + std::to_string(epaper->panel->first) + "x" +
                std::to_string(epaper->panel->second) + " pixels; give 16 to 4096 each");
  }
  Canvas canvas;
  canvas.format_ = format;
  canvas.size_ = size;
  canvas.scale_ = format == ImageFormat::png ? scale : 1;
  canvas.epaper_ = epaper.has_value();
  if (format == ImageFormat::png) canvas.surfaces_ = surfaces;
  auto newSurface = [&](cairo_format_t pixels, int width, int height) {
    return surfaces ? surfaces->take(pixels, width, height)
                    : cairo_image_surface_create(pixels, width, height);
  };
  double offsetX = 0, offsetY = 0;
  switch (format) {
    case ImageFormat::png:
      if (epaper && epaper->panel) {
        auto [width, height] = *epaper->panel;
        canvas.scale_ = std::min(width / size.width, height / size.height);
        offsetX = (width - size.width * canvas.scale_) / 2;
        offsetY = (height - size.height * canvas.scale_) / 2;
        canvas.surface_ = newSurface(CAIRO_FORMAT_RGB24, width, height);
      } else {
        canvas.surface_ = newSurface(epaper ? CAIRO_FORMAT_RGB24 : CAIRO_FORMAT_ARGB32,
                                     static_cast<int>(std::ceil(size.width * scale - 1e-9)),
                                     static_cast<int>(std::ceil(size.height * scale - 1e-9)));
      }
      break;
    case ImageFormat::svg:
      canvas.stream_ = std::make_unique<std::string>();
      canvas.surface_ = cairo_svg_surface_create_for_stream(appendToString, canvas.stream_.get(),
                                                            size.width, size.height);
      cairo_svg_surface_restrict_to_version(canvas.surface_, CAIRO_SVG_VERSION_1_2);
      break;
    case ImageFormat::pdf:
      canvas.stream_ = std::make_unique<std::string>();
      canvas.surface_ = cairo_pdf_surface_create_for_stream(appendToString, canvas.stream_.get(),
                                                            size.width, size.height);
      break;
  }
  if (cairo_surface_status(canvas.surface_) != CAIRO_STATUS_SUCCESS) {
    return fail(std::string("cannot create the drawing surface: ") +
                cairo_status_to_string(cairo_surface_status(canvas.surface_)));
  }
  canvas.cr_ = cairo_create(canvas.surface_);
  if (canvas.epaper_) {
    cairo_set_source_rgb(canvas.cr_, 1, 1, 1);  // paper, margins included
    cairo_paint(canvas.cr_);
  }
  cairo_translate(canvas.cr_, offsetX, offsetY);
  cairo_scale(canvas.cr_, canvas.scale_, canvas.scale_);
  return canvas;
}

Expected<Canvas> Canvas::onto(cairo_t* cr, Size size) {
  if (auto fonts = loadFonts(); !fonts) return std::unexpected(fonts.error());
  if (cr == nullptr || cairo_status(cr) != CAIRO_STATUS_SUCCESS) {
    return fail("cannot draw onto a context in error");
  }
  Canvas canvas;
  canvas.size_ = size;
  canvas.finished_ = true;  // nothing to encode
  canvas.cr_ = cairo_reference(cr);
  // The device's pixels per point, for the hairlines that snap to pixels.
  double x = 1, y = 0;
  cairo_user_to_device_distance(cr, &x, &y);
  canvas.scale_ = std::hypot(x, y);
  cairo_save(canvas.cr_);
  return canvas;
}

Canvas::Canvas(Canvas&& other) noexcept
    : format_(other.format_),
      size_(other.size_),
      scale_(other.scale_),
      surface_(std::exchange(other.surface_, nullptr)),
      cr_(std::exchange(other.cr_, nullptr)),
      stream_(std::move(other.stream_)),
      finished_(other.finished_),
      epaper_(other.epaper_),
      surfaces_(other.surfaces_),
      marks_(other.marks_),
      knockouts_(other.knockouts_) {}

Canvas& Canvas::operator=(Canvas&& other) noexcept {
  if (this != &other) {
    release();
    format_ = other.format_;
    size_ = other.size_;
    scale_ = other.scale_;
    surface_ = std::exchange(other.surface_, nullptr);
    cr_ = std::exchange(other.cr_, nullptr);
    stream_ = std::move(other.stream_);
    finished_ = other.finished_;
    epaper_ = other.epaper_;
    surfaces_ = other.surfaces_;
    marks_ = other.marks_;
    knockouts_ = other.knockouts_;
  }
  return *this;
}

Canvas::~Canvas() { release(); }

void Canvas::release() {
  if (cr_ && !surface_ && finished_) cairo_restore(cr_);  // a context of the caller's
  if (cr_) cairo_destroy(std::exchange(cr_, nullptr));
  if (!surface_) return;
  if (surfaces_) {
    surfaces_->give(std::exchange(surface_, nullptr));
  } else {
    cairo_surface_destroy(std::exchange(surface_, nullptr));
  }
}

cairo_surface_t* Canvas::imageSurface() const {
  return format_ == ImageFormat::png ? surface_ : nullptr;
}

Canvas::Saved::Saved(Canvas& canvas) : canvas_(canvas) { cairo_save(canvas_.cr_); }
Canvas::Saved::~Saved() { cairo_restore(canvas_.cr_); }

void Canvas::translate(double dx, double dy) { cairo_translate(cr_, dx, dy); }
void Canvas::scaleBy(double sx, double sy) { cairo_scale(cr_, sx, sy); }

void Canvas::rotate(Point centre, double degrees) {
  cairo_translate(cr_, centre.x, centre.y);
  cairo_rotate(cr_, degrees * std::numbers::pi / 180);
  cairo_translate(cr_, -centre.x, -centre.y);
}

void Canvas::clip(Rect rect) {
  cairo_rectangle(cr_, rect.x, rect.y, rect.width, rect.height);
  cairo_clip(cr_);
}

void Canvas::clip(const Path& path) {
  applyPath(path);
  cairo_clip(cr_);
}

void Canvas::beginLayer() { cairo_push_group(cr_); }

void Canvas::endLayer(double opacity) {
  cairo_pop_group_to_source(cr_);
  // On e-paper a layer prints whole or not at all, as its marks do.
  if (epaper_) opacity = opacity >= 0.3 ? 1 : 0;
  cairo_paint_with_alpha(cr_, opacity);
}

Color Canvas::deviceColor(Color color) const {
  // Cairo truncates components to 8 bits in images (0.035 becomes 8, not 9); give it the
  // nearest 8-bit value so the navy is exactly #090e1b.
  if (format_ != ImageFormat::png) return color;
  return {color.red8() / 255.0, color.green8() / 255.0, color.blue8() / 255.0, color.alpha};
}

void Canvas::setColor(Color color) {
  Color c = deviceColor(color);
  cairo_set_source_rgba(cr_, c.red, c.green, c.blue, c.alpha);
}

namespace {

// Lightness of a colour over the widgets' navy ground, 0 (the ground or darker) ... 1 (white):
// the ink it becomes on paper.
double inkTone(Color c) {
  const Color ground = palette::widgetBackground;
  auto over = [&](double v, double g) { return v * c.alpha + g * (1 - c.alpha); };
  auto luma = [](double r, double g, double b) { return 0.299 * r + 0.587 * g + 0.114 * b; };
  const double groundLuma = luma(ground.red, ground.green, ground.blue);
  const double l =
      luma(over(c.red, ground.red), over(c.green, ground.green), over(c.blue, ground.blue));
  return std::clamp((l - groundLuma) / (1 - groundLuma), 0.0, 1.0);
}

constexpr double kSolidInkTone = 0.3;  // marks from this tone print, lighter ones do not
constexpr double kAreaInkTone = 0.1;   // areas below this tone are paper

}  // namespace

bool Canvas::setInk(Color color, Use use) {
  if (!epaper_) {
    setColor(color);
    return true;
  }
  if (knockouts_ > 0) {
    cairo_set_source_rgb(cr_, 1, 1, 1);
    return true;
  }
  const double tone = inkTone(color);
  if (use == Use::mark || marks_ > 0) {
    if (tone < kSolidInkTone) return false;
    cairo_set_source_rgb(cr_, 0, 0, 0);
    return true;
  }
  if (tone < kAreaInkTone) {
    if (color.alpha < 0.9) return false;  // a faint wash over what is drawn: leave it
    cairo_set_source_rgb(cr_, 1, 1, 1);
    return true;
  }
  // An ordered 4x4 (Bayer) dot pattern as dense as the tone, on the device's pixel grid.
  static constexpr int kBayer[4][4] = {
      {0, 8, 2, 10}, {12, 4, 14, 6}, {3, 11, 1, 9}, {15, 7, 13, 5}};
  cairo_surface_t* tile = cairo_image_surface_create(CAIRO_FORMAT_RGB24, 4, 4);
  unsigned char* data = cairo_image_surface_get_data(tile);
  const int stride = cairo_image_surface_get_stride(tile);
  for (int y = 0; y < 4; ++y) {
    for (int x = 0; x < 4; ++x) {
      const bool ink = tone * 16 > kBayer[y][x] + 0.5;
      reinterpret_cast<std::uint32_t*>(data + y * stride)[x] = ink ? 0x000000 : 0xffffff;
    }
  }
  cairo_surface_mark_dirty(tile);
  cairo_pattern_t* pattern = cairo_pattern_create_for_surface(tile);
  cairo_surface_destroy(tile);
  cairo_pattern_set_extend(pattern, CAIRO_EXTEND_REPEAT);
  cairo_pattern_set_filter(pattern, CAIRO_FILTER_NEAREST);
  cairo_matrix_t userToDevice;
  cairo_get_matrix(cr_, &userToDevice);
  cairo_pattern_set_matrix(pattern, &userToDevice);
  cairo_set_source(cr_, pattern);
  cairo_pattern_destroy(pattern);
  return true;
}

void Canvas::applyPath(const Path& path) {
  cairo_new_path(cr_);
  for (const Path::Element& e : path.elements()) {
    switch (e.verb) {
      case Path::Verb::move:
        cairo_move_to(cr_, e.points[0].x, e.points[0].y);
        break;
      case Path::Verb::line:
        cairo_line_to(cr_, e.points[0].x, e.points[0].y);
        break;
      case Path::Verb::curve:
        cairo_curve_to(cr_, e.points[0].x, e.points[0].y, e.points[1].x, e.points[1].y,
                       e.points[2].x, e.points[2].y);
        break;
      case Path::Verb::close:
        cairo_close_path(cr_);
        break;
    }
  }
}

void Canvas::fillRect(Rect rect, Color color) {
  if (!setInk(color, Use::area)) return;
  cairo_new_path(cr_);
  cairo_rectangle(cr_, rect.x, rect.y, rect.width, rect.height);
  cairo_fill(cr_);
}

void Canvas::fillRoundedRect(Rect rect, double radius, Color color) {
  Path path;
  path.addRoundedRect(rect, radius);
  fillPath(path, color);
}

void Canvas::fillPath(const Path& path, Color color, bool evenOdd) {
  if (!setInk(color, Use::area)) return;
  applyPath(path);
  cairo_set_fill_rule(cr_, evenOdd ? CAIRO_FILL_RULE_EVEN_ODD : CAIRO_FILL_RULE_WINDING);
  cairo_fill(cr_);
  cairo_set_fill_rule(cr_, CAIRO_FILL_RULE_WINDING);
}

void Canvas::fillPathWithLinearGradient(const Path& path, Point start, Point end,
                                        const std::vector<GradientStop>& stops) {
  if (epaper_) {
    // Printed in the ink of its middle colour.
    Color middle = stops.empty() ? Color{} : stops[stops.size() / 2].color;
    if (!setInk(middle, Use::area)) return;
    applyPath(path);
    cairo_fill(cr_);
    return;
  }
  cairo_pattern_t* gradient = cairo_pattern_create_linear(start.x, start.y, end.x, end.y);
  for (const GradientStop& stop : stops) {
    Color c = deviceColor(stop.color);
    cairo_pattern_add_color_stop_rgba(gradient, stop.offset, c.red, c.green, c.blue, c.alpha);
  }
  cairo_set_source(cr_, gradient);
  applyPath(path);
  cairo_fill(cr_);
  cairo_pattern_destroy(gradient);
}

void Canvas::strokePath(const Path& path, const Stroke& stroke) {
  if (!setInk(stroke.color, Use::mark)) return;
  applyPath(path);
  cairo_set_line_width(cr_, stroke.width);
  cairo_set_line_cap(cr_, stroke.cap == LineCap::round    ? CAIRO_LINE_CAP_ROUND
                          : stroke.cap == LineCap::square ? CAIRO_LINE_CAP_SQUARE
                                                          : CAIRO_LINE_CAP_BUTT);
  cairo_set_line_join(cr_, stroke.join == LineJoin::round   ? CAIRO_LINE_JOIN_ROUND
                           : stroke.join == LineJoin::bevel ? CAIRO_LINE_JOIN_BEVEL
                                                            : CAIRO_LINE_JOIN_MITER);
  cairo_set_miter_limit(cr_, stroke.miterLimit);
  cairo_set_dash(cr_, stroke.dashes.data(), static_cast<int>(stroke.dashes.size()),
                 stroke.dashOffset);
  cairo_stroke(cr_);
  cairo_set_dash(cr_, nullptr, 0, 0);
  cairo_set_miter_limit(cr_, 10);
}

void Canvas::fillHatch(Rect area, double pitch, double lineWidth, Color color) {
  if (!(area.width > 0 && area.height > 0 && pitch > 0 && lineWidth > 0)) return;
  Saved saved(*this);
  clip(area);
  cairo_matrix_t m;
  cairo_get_matrix(cr_, &m);
  // Five pitches make the tile; at the phone's 3x and 3.2-point pitch that is 48 pixels.
  const double tilePixels = 5 * pitch * m.xx;
  const bool tiled = format_ == ImageFormat::png && !epaper_ && m.xy == 0 && m.yx == 0 &&
                     m.xx == m.yy && m.xx > 0 && tilePixels >= 4 && tilePixels <= 1024 &&
                     std::abs(tilePixels - std::round(tilePixels)) < 1e-6;
  if (!tiled) {
    Path lines;
    for (double x = area.minX() - area.height; x < area.maxX(); x += pitch) {
      lines.moveTo({x, area.maxY()});
      lines.lineTo({x + area.height, area.minY()});
    }
    strokePath(lines, {.color = color, .width = lineWidth, .cap = LineCap::butt});
    return;
  }
  // In device pixels the lines are x + y = c + k * pitch * scale; the tile sits on whole pixels
  // so that it is sampled without filtering, and carries the lines' fractional offset.
  double cornerX = area.minX(), cornerY = area.minY();
  cairo_user_to_device(cr_, &cornerX, &cornerY);
  const double tileX = std::floor(cornerX), tileY = std::floor(cornerY);
  const double step = pitch * m.xx;
  const double offset = std::fmod(cornerX - tileX + cornerY - tileY, step);
  const int n = static_cast<int>(std::round(tilePixels));
  cairo_surface_t* tile = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, n, n);
  cairo_t* tileCr = cairo_create(tile);
  // Every line that crosses the tile, those through its corners too, so that the tile repeats
  // without seams.
  for (double c = offset - 2 * step; c <= 2 * n + 2 * step; c += step) {
    cairo_move_to(tileCr, c + n, -n);
    cairo_line_to(tileCr, c - n, n);
  }
  Color ink = deviceColor(color);
  cairo_set_source_rgba(tileCr, ink.red, ink.green, ink.blue, ink.alpha);
  cairo_set_line_width(tileCr, lineWidth * m.xx);
  cairo_set_line_cap(tileCr, CAIRO_LINE_CAP_BUTT);
  cairo_stroke(tileCr);
  cairo_destroy(tileCr);
  cairo_pattern_t* pattern = cairo_pattern_create_for_surface(tile);
  cairo_surface_destroy(tile);
  cairo_pattern_set_extend(pattern, CAIRO_EXTEND_REPEAT);
  cairo_pattern_set_filter(pattern, CAIRO_FILTER_NEAREST);
  cairo_matrix_t toTile;
  cairo_matrix_init_translate(&toTile, -tileX, -tileY);
  cairo_matrix_multiply(&toTile, &m, &toTile);
  cairo_pattern_set_matrix(pattern, &toTile);
  cairo_set_source(cr_, pattern);
  cairo_pattern_destroy(pattern);
  cairo_paint(cr_);
}

void Canvas::strokeLine(Point from, Point to, const Stroke& stroke) {
  Path path;
  path.moveTo(from);
  path.lineTo(to);
  strokePath(path, stroke);
}

void Canvas::drawText(const TextLine& line, Point baselineOrigin, Color color) {
  drawTextAt(line, {baselineOrigin.x, baselineOrigin.y - line.baseline()}, color);
}

void Canvas::drawTextAt(const TextLine& line, Point topLeft, Color color) {
  if (line.glyphs_.empty()) return;
  if (!setInk(color, Use::mark)) return;
  cairo_new_path(cr_);
  line.show(cr_, topLeft);
  cairo_new_path(cr_);
}

Expected<std::string> Canvas::finish(const ImageMetadata& metadata) {
  if (finished_ || !cr_) return fail("the drawing was already finished");
  finished_ = true;
  cairo_status_t status = cairo_status(cr_);
  cairo_destroy(cr_);
  cr_ = nullptr;
  if (status != CAIRO_STATUS_SUCCESS) {
    return fail(std::string("drawing failed: ") + cairo_status_to_string(status));
  }
  if (format_ == ImageFormat::png) {
    // The drawing is done: its pixels are packed into PNG rows where they lie.
    return encodePng(
        surface_,
        {.description = metadata.description, .oneBit = epaper_, .overwriteSurface = true});
  }
  if (format_ == ImageFormat::pdf) {
    if (!metadata.title.empty()) {
      cairo_pdf_surface_set_metadata(surface_, CAIRO_PDF_METADATA_TITLE, metadata.title.c_str());
    }
    if (!metadata.description.empty()) {
      cairo_pdf_surface_set_metadata(surface_, CAIRO_PDF_METADATA_SUBJECT,
                                     metadata.description.c_str());
    }
    std::string date = formatIso8601(metadata.date.value_or(Instant{}));
    cairo_pdf_surface_set_metadata(surface_, CAIRO_PDF_METADATA_CREATE_DATE, date.c_str());
    cairo_pdf_surface_set_metadata(surface_, CAIRO_PDF_METADATA_CREATOR, "pluvo-widget");
  }
  cairo_surface_finish(surface_);
  status = cairo_surface_status(surface_);
  if (status != CAIRO_STATUS_SUCCESS) {
    return fail(std::string("writing the ") + std::string(imageFormatName(format_)) +
                " failed: " + cairo_status_to_string(status));
  }
  std::string bytes = std::move(*stream_);
  if (format_ == ImageFormat::svg) return withSvgTitle(std::move(bytes), metadata);
  return bytes;
}

}  // namespace pluvo::render
