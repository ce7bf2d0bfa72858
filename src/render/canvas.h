// The drawing surface of every widget and Live Activity picture: Cairo underneath, one drawing
// code for PNG, SVG and PDF.
//
// Coordinates are points with the origin at the top-left corner; a PNG is drawn at `scale`
// pixels per point (the phone's 3x by default), SVG and PDF stay vector in points. `finish`
// returns the encoded bytes (the caller writes the file) with the image's accessibility text
// embedded: <title> and <desc> in SVG, Title and Subject metadata in PDF, an iTXt Description
// chunk in PNG. PNGs are encoded by render/png.h.
//
//   Expected<Canvas> canvas = Canvas::create(ImageFormat::png, {170, 170}, 3);
//   canvas->fillRect({0, 0, 170, 170}, palette::widgetBackground);
//   TextLine t = layoutText("74°", {.size = 39, .weight = FontWeight::black});
//   canvas->drawText(t, {14, 60}, named::white);  // (14, 60) is on the baseline
//   {
//     Canvas::Saved saved(*canvas);
//     canvas->rotate({100, 100}, 45);
//     canvas->fillPath(arrow, named::white);
//   }
//   Expected<std::string> png = canvas->finish({.title = "Pluvo Forecast", .description = "..."});
//
// Output is deterministic: the same drawing gives byte-identical PNGs and SVGs on every run (PDFs
// too, given `ImageMetadata::date`).
//
// E-paper: a PNG canvas created with `EPaper` draws the same calls as black ink on white paper
// and encodes a 1-bit greyscale PNG, optionally fitted (aspect kept, centred) into a panel's
// pixels, so that the dots are the panel's. Each call decides its ink from its colour's lightness
// over the widgets' navy ground: text, strokes and everything drawn inside `Marks` (symbols,
// the brand mark) print solid black from 30% up and not at all below (faint hairlines vanish
// instead of breaking into speckle); area fills print as an ordered 4x4 dot pattern as dense as
// their tone, and a near-opaque dark fill (the navy ground, a night band) is paper. `Knockout`
// draws paper inside a mark (the brand mark's waves).
//
// Thread safety: one canvas per thread; text laid out on any thread may be drawn on it.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/error.h"
#include "base/instant.h"
#include "render/color.h"
#include "render/geometry.h"
#include "render/path.h"
#include "render/text.h"

using cairo_t = struct _cairo;
using cairo_surface_t = struct _cairo_surface;

namespace pluvo::render {

enum class ImageFormat { png, svg, pdf };

// "png", "svg", "pdf"; nullopt for anything else.
std::optional<ImageFormat> parseImageFormat(std::string_view name);
std::string_view imageFormatName(ImageFormat format);

// What travels inside the encoded image besides the picture.
struct ImageMetadata {
  std::string title;            // SVG <title>, PDF Title; e.g. the widget's display name
  std::string description;      // the accessibility text: SVG <desc>, PDF Subject, PNG Description
  std::optional<Instant> date;  // PDF creation date; absent: the reference date, never the clock
};

struct GradientStop {
  double offset = 0;  // 0 at the start point ... 1 at the end point
  Color color;
};

struct Stroke {
  Color color;
  double width = 1;
  LineCap cap = LineCap::butt;
  LineJoin join = LineJoin::miter;
  double miterLimit = 10;      // as a multiple of the width; cairo's and the phone's default
  std::vector<double> dashes;  // on, off, ... lengths in points; empty: solid
  double dashOffset = 0;
  bool operator==(const Stroke&) const = default;
};

// The e-paper rendering of a PNG canvas (see above).
struct EPaper {
  // Fit into a panel of this many pixels (16 ... 4096 each); else the drawing's size at `scale`.
  std::optional<std::pair<int, int>> panel;
};

// The pixels of PNG drawings kept from one drawing to the next: one buffer, as large as the
// largest drawing yet, lent to one canvas at a time (another canvas meanwhile gets fresh memory).
// A process that draws again and again (the host) then reuses the same pages instead of asking
// the system for megabytes of fresh, zeroed memory each time (a large widget at 3x is 5 MB) and
// keeps no more than one drawing's worth, whatever the sizes it draws. The pixels are cleared to
// transparent before each drawing, so the image is the same as on a fresh surface. Must outlive
// every canvas created with it; one thread at a time.
class SurfacePool {
 public:
  SurfacePool() = default;
  SurfacePool(const SurfacePool&) = delete;
  SurfacePool& operator=(const SurfacePool&) = delete;
  ~SurfacePool();

  // Bytes of pixels kept (0 while lent or before the first drawing).
  size_t keptBytes() const { return kept_ ? capacity_ : 0; }

 private:
  friend class Canvas;
  // A surface of that format and size over the kept pixels, cleared, or a fresh one.
  cairo_surface_t* take(int format, int width, int height);
  // Destroys the surface; its pixels are kept when they were lent and nothing else holds it.
  void give(cairo_surface_t* surface);

  unsigned char* kept_ = nullptr;
  size_t capacity_ = 0;
};

class Canvas {
 public:
  // `size` in points, `scale` in pixels per point (PNG only; 0.25 ... 8). Fails when the fonts
  // are missing (render/text.h), the size is empty or absurd, or cairo cannot make the surface.
  // `epaper`: PNG only. `surfaces`: where a PNG canvas takes its surface from and gives it back.
  static Expected<Canvas> create(ImageFormat format, Size size, double scale = 3,
                                 std::optional<EPaper> epaper = std::nullopt,
                                 SurfacePool* surfaces = nullptr);
  // Draws onto `cr`, a context of the caller's (a window's), whose user space is already points
  // at the device's scale: nothing is encoded (`finish` fails), and `cr` is left as found.
  static Expected<Canvas> onto(cairo_t* cr, Size size);

  Canvas(Canvas&&) noexcept;
  Canvas& operator=(Canvas&&) noexcept;
  ~Canvas();

  ImageFormat format() const { return format_; }
  Size size() const { return size_; }
  double scale() const { return scale_; }
  Rect bounds() const { return {0, 0, size_.width, size_.height}; }
  // The cairo context for drawing this API lacks; user space is points. Leave its state as found.
  cairo_t* cairo() const { return cr_; }
  // The image surface of a PNG canvas (nullptr for SVG and PDF), for tests and benchmarks.
  cairo_surface_t* imageSurface() const;

  bool epaper() const { return epaper_; }

  // What is drawn during its lifetime is a mark (a symbol, the brand mark): solid on e-paper.
  class Marks {
   public:
    explicit Marks(Canvas& canvas) : canvas_(canvas) { ++canvas_.marks_; }
    ~Marks() { --canvas_.marks_; }
    Marks(const Marks&) = delete;
    Marks& operator=(const Marks&) = delete;

   private:
    Canvas& canvas_;
  };
  // What is drawn during its lifetime is cut out of a mark: paper on e-paper, as drawn otherwise.
  class Knockout {
   public:
    explicit Knockout(Canvas& canvas) : canvas_(canvas) { ++canvas_.knockouts_; }
    ~Knockout() { --canvas_.knockouts_; }
    Knockout(const Knockout&) = delete;
    Knockout& operator=(const Knockout&) = delete;

   private:
    Canvas& canvas_;
  };

  // Keeps the drawing state (transform, clip, opacity layers excluded) for its lifetime.
  class Saved {
   public:
    explicit Saved(Canvas& canvas);
    ~Saved();
    Saved(const Saved&) = delete;
    Saved& operator=(const Saved&) = delete;

   private:
    Canvas& canvas_;
  };

  void translate(double dx, double dy);
  void scaleBy(double sx, double sy);
  // Turns what is drawn next by `degrees` clockwise about `centre`.
  void rotate(Point centre, double degrees);
  void clip(Rect rect);
  void clip(const Path& path);

  // Everything drawn between begin and end is composited as one layer at `opacity`, so
  // overlapping parts do not show through each other.
  void beginLayer();
  void endLayer(double opacity);

  void fillRect(Rect rect, Color color);
  void fillRoundedRect(Rect rect, double radius, Color color);
  void fillPath(const Path& path, Color color, bool evenOdd = false);
  // Fills with colours blended along the line from `start` to `end` (padded beyond them).
  void fillPathWithLinearGradient(const Path& path, Point start, Point end,
                                  const std::vector<GradientStop>& stops);
  void strokePath(const Path& path, const Stroke& stroke);
  void strokeLine(Point from, Point to, const Stroke& stroke);
  // Hatches `area`: lines rising to the right at 45 degrees, `pitch` apart along x, one through
  // the area's top-left corner, stroked `lineWidth` wide with butt caps and clipped to the area.
  // A PNG drawing under a plain scale and translation paints it from one repeating tile of five
  // pitches (dozens of antialiased strokes cost milliseconds at 3x; differences stay within a
  // few levels of the stroke's colour); other drawings stroke every line.
  void fillHatch(Rect area, double pitch, double lineWidth, Color color);

  // Draws a line with its baseline's left end at `baselineOrigin`.
  void drawText(const TextLine& line, Point baselineOrigin, Color color);
  // Draws a line with the top-left corner of its line box at `topLeft`.
  void drawTextAt(const TextLine& line, Point topLeft, Color color);

  // Finishes the drawing and returns the encoded file. Call once; drawing afterwards is an error.
  Expected<std::string> finish(const ImageMetadata& metadata = {});

 private:
  Canvas() = default;
  // Destroys the context and destroys the surface or gives it back to its pool.
  void release();
  void applyPath(const Path& path);
  void setColor(Color color);
  Color deviceColor(Color color) const;
  // Sets the source for a call of `color`, on e-paper its ink; false: draw nothing.
  enum class Use { mark, area };
  bool setInk(Color color, Use use);

  ImageFormat format_ = ImageFormat::png;
  Size size_;
  double scale_ = 1;
  cairo_surface_t* surface_ = nullptr;
  cairo_t* cr_ = nullptr;
  // SVG and PDF bytes, written by cairo as it goes; on the heap so the stream closure stays put.
  std::unique_ptr<std::string> stream_;
  bool finished_ = false;
  bool epaper_ = false;
  SurfacePool* surfaces_ = nullptr;
  int marks_ = 0;
  int knockouts_ = 0;
};

// "&", "<", ">" and quotes written as entities: fit for XML, and for HTML text and attributes.
std::string escapeXml(std::string_view text);

}  // namespace pluvo::render
