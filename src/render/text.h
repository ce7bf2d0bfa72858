// Single lines of text in Inter, the widgets' stand-in for the phone's system font, laid out the
// way the product's text views behave: one line, shrunk to fit its width down to a minimum scale
// factor, then cut with an ellipsis.
//
// The fonts are Inter's own files (Debian fonts-inter), read straight from their folder and shaped
// with HarfBuzz, so the same text gives the same pixels whatever fonts the machine has. Weights use
// the product's names: semibold 600, bold 700, heavy 800, black 900. `monospacedDigits` turns on
// Inter's tabular figures ("tnum") for the digits, so numbers do not jump as they change. Large
// sizes stay in Inter's text cut: its display cut would be one more face to load in a process
// that has 20 MB to start, draw and exit. Hinting is off and glyph positions are not rounded, so a
// line's width grows exactly in proportion to its size at every scale and in every format.
//
// Units: points. A line box is the font's ascent plus descent (about 1.21 x the size); `baseline`
// is the distance from the top of the line box to the baseline, for first-baseline alignment.
//
//   TextLine place = layoutText("Houston, TX", {.size = 10.2, .weight = FontWeight::semibold},
//                               {.maxWidth = 120, .minimumScaleFactor = 0.66});
//   place.width();      // <= 120
//   canvas.drawText(place, {x, top + place.baseline()}, palette::widgetSecondaryText);
//
// Thread safety: any thread may lay out and draw text; the fonts are loaded once per process and
// shared. A TextLine is a plain value.
#pragma once

#include <limits>
#include <string>
#include <string_view>
#include <vector>

#include "base/error.h"
#include "render/geometry.h"

using cairo_t = struct _cairo;

namespace pluvo::render {

enum class FontWeight {
  regular = 400,
  medium = 500,
  semibold = 600,
  bold = 700,
  heavy = 800,
  black = 900,
};

struct Font {
  double size = 17;  // points
  FontWeight weight = FontWeight::regular;
  bool monospacedDigits = false;  // tabular figures
  bool operator==(const Font&) const = default;
};

// How a line may adapt to its width.
struct TextFit {
  double maxWidth = std::numeric_limits<double>::infinity();
  // The smallest fraction of the nominal size the text may shrink to before it is truncated.
  double minimumScaleFactor = 1;
};

// A laid-out line, ready to be drawn (Canvas::drawText) and measured.
class TextLine {
 public:
  // An empty line: no size, draws nothing.
  TextLine();
  TextLine(TextLine&&) noexcept;
  TextLine& operator=(TextLine&&) noexcept;
  ~TextLine();

  const std::string& text() const { return text_; }
  double width() const { return width_; }
  double height() const { return height_; }
  double baseline() const { return baseline_; }
  double descent() const { return height_ - baseline_; }
  // The size the line is drawn at: the nominal size, or less when it was shrunk to fit.
  double fontSize() const { return fontSize_; }
  // True when even the minimum size did not fit and the end was replaced by "…".
  bool truncated() const { return truncated_; }
  // Height of the capital letters above the baseline at the drawn size.
  double capHeight() const;

 private:
  friend TextLine layoutText(std::string_view, const Font&, const TextFit&);
  friend class Canvas;
  // One shaped glyph: `x` from the line's start, `y` below the baseline, in points; `cluster` is
  // the byte in `shown_` it comes from (PDF keeps the text searchable through it).
  struct Glyph {
    unsigned index;
    unsigned cluster;
    double x, y;
  };
  // Draws the glyphs in the current source, the line box's top-left corner at `topLeft`.
  void show(cairo_t* cr, Point topLeft) const;

  std::string text_;
  std::string shown_;  // the text drawn: `text_`, or its cut with "…"
  std::vector<Glyph> glyphs_;
  FontWeight weight_ = FontWeight::regular;
  double width_ = 0;
  double height_ = 0;
  double baseline_ = 0;
  double fontSize_ = 0;
  bool truncated_ = false;
};

TextLine layoutText(std::string_view text, const Font& font, const TextFit& fit = {});

// Checks, once per process, that Inter is installed where the program looks for it and builds
// the font configuration; later calls return the first answer. The error names the folder and
// the Debian package to install.
Expected<void> loadFonts();

// The folder the program's font configuration reads Inter from.
std::string_view fontFolder();

}  // namespace pluvo::render
