#include "activity_render/painter.h"

#include <algorithm>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "render/logo.h"
#include "render/path.h"
#include "render/symbols.h"
#include "render/text.h"

namespace pluvo::activity_render {

namespace {

using activity::TextBlock;
using activity::TextRun;

constexpr std::string_view kBoxBar = "\u2502";

render::Font fontAt(const render::Font& font, double scale = 1) {
  render::Font scaled = font;
  scaled.size *= scale;
  return scaled;
}

// The pieces of a text between its box-drawing bars; a bar stands between each two pieces.
std::vector<std::string_view> piecesBetweenBars(std::string_view text) {
  std::vector<std::string_view> pieces;
  for (size_t from = 0;;) {
    size_t bar = text.find(kBoxBar, from);
    pieces.push_back(text.substr(from, bar == std::string_view::npos ? bar : bar - from));
    if (bar == std::string_view::npos) return pieces;
    from = bar + kBoxBar.size();
  }
}

double textWidth(std::string_view text, const render::Font& font) {
  const std::vector<std::string_view> pieces = piecesBetweenBars(text);
  double width = static_cast<double>(pieces.size() - 1) * kBoxBarAdvance * font.size;
  for (std::string_view piece : pieces) {
    if (!piece.empty()) width += render::layoutText(piece, font).width();
  }
  return width;
}

struct LineMetrics {
  double ascent = 0;
  double descent = 0;
  double height() const { return ascent + descent; }
};

// Ascent and descent of the font's line box: they depend on the font alone, not on the text.
LineMetrics lineMetrics(const render::Font& font) {
  render::TextLine line = render::layoutText("0", font);
  return {line.baseline(), line.descent()};
}

struct Drawn {
  double advance = 0;
  bool cut = false;  // the run reached `maxWidth`: nothing may follow it
};

// Draws one run with its baseline's left end at `origin`. With a `maxWidth`, the run ends in "…"
// where it would pass it.
Drawn drawRun(render::Canvas& canvas, std::string_view text, const render::Font& font,
              render::Color color, render::Point origin, const LineMetrics& metrics,
              double maxWidth = std::numeric_limits<double>::infinity()) {
  double x = origin.x;
  const std::vector<std::string_view> pieces = piecesBetweenBars(text);
  for (size_t i = 0; i < pieces.size(); ++i) {
    if (i > 0) {
      const double advance = kBoxBarAdvance * font.size;
      if (x + advance - origin.x > maxWidth) {
        // No room for the bar: the line still ends in "…" where it fits, never silently.
        render::TextLine ellipsis = render::layoutText("\u2026", font);
        if (x + ellipsis.width() - origin.x <= maxWidth)
          canvas.drawText(ellipsis, {x, origin.y}, color);
        return {x - origin.x, true};
      }
      const double thickness = kBoxBarThickness * font.size;
      render::Canvas::Marks glyph(canvas);  // a character's stroke, solid on e-paper
      canvas.fillRect(
          {x + (advance - thickness) / 2, origin.y - metrics.ascent, thickness, metrics.height()},
          color);
      x += advance;
    }
    if (pieces[i].empty()) continue;
    render::TextLine line =
        render::layoutText(pieces[i], font, {.maxWidth = std::max(0.0, maxWidth - (x - origin.x))});
    canvas.drawText(line, {x, origin.y}, color);
    x += line.width();
    if (line.truncated()) return {x - origin.x, true};
  }
  return {x - origin.x, false};
}

// Where a styled text may break, coarsest first: the copy line's bar between its facts, the
// middle dot inside a fact ("0.35″ · 3–5 PM"), and the blank between words. A break drops its
// glue whole: a bar or dot that ended a line ("85% chance 4 PM │") would read as a fact left
// out, and one that began the next would hang in front of it; the line break alone separates.
enum class Break { bar = 0, dot = 1, space = 2 };
constexpr int kBreakLevels = 3;
// How much larger a finer break must keep the text to be taken over a coarser one.
constexpr double kFinerBreakGain = 1.15;

// A piece of a styled text: words and the glue between them, each in its run's paint.
struct Piece {
  std::string text;
  size_t run = 0;
  std::optional<Break> glue;  // nullopt: words, drawn and never broken
  double width = 0;           // at the nominal size
};

bool isBarRun(const TextRun& run) {
  std::string bare;
  for (char c : run.text) {
    if (c != ' ') bare += c;
  }
  return bare == kBoxBar;
}

// The runs cut into words and glue; widths measured at `font`.
std::vector<Piece> piecesOf(const std::vector<TextRun>& runs, const render::Font& font) {
  constexpr std::string_view kDot = " \u00b7 ";
  std::vector<Piece> pieces;
  auto add = [&](std::string_view text, size_t run, std::optional<Break> glue) {
    if (text.empty()) return;
    pieces.push_back({std::string(text), run, glue, textWidth(text, font)});
  };
  for (size_t r = 0; r < runs.size(); ++r) {
    std::string_view text = runs[r].text;
    if (isBarRun(runs[r])) {
      add(text, r, Break::bar);
      continue;
    }
    while (!text.empty()) {
      const size_t dot = text.find(kDot);
      const size_t space = text.find(' ');
      if (space == std::string_view::npos) {
        add(text, r, std::nullopt);
        break;
      }
      add(text.substr(0, space), r, std::nullopt);
      if (dot == space) {
        add(kDot, r, Break::dot);
        text.remove_prefix(space + kDot.size());
      } else {
        add(" ", r, Break::space);
        text.remove_prefix(space + 1);
      }
    }
  }
  return pieces;
}

// A line: the indices of its pieces; the glue it was broken at is on neither line.
using Line = std::vector<size_t>;
using Lines = std::vector<Line>;

// The pieces broken greedily at glue of `level` or coarser into lines no wider than `maxWidth` at
// `scale` (widths are proportional to the size: hinting is off); nothing when a stretch between
// two such breaks does not fit on a line or more than `maxLines` lines are needed.
std::optional<Lines> breakLines(const std::vector<Piece>& pieces, int level, double scale,
                                double maxWidth, int maxLines) {
  const double room = maxWidth / scale + 1e-9;
  // Stretches between allowed breaks, with the glue before each.
  struct Stretch {
    std::optional<size_t> glue;
    std::vector<size_t> pieces;
    double width = 0;
  };
  std::vector<Stretch> stretches(1);
  for (size_t i = 0; i < pieces.size(); ++i) {
    const Piece& piece = pieces[i];
    if (piece.glue && static_cast<int>(*piece.glue) <= level) {
      stretches.push_back({i, {}, 0});
      continue;
    }
    stretches.back().pieces.push_back(i);
    stretches.back().width += piece.width;
  }
  Lines lines;
  double used = 0;
  for (const Stretch& stretch : stretches) {
    if (stretch.width > room) return std::nullopt;
    const double glue = stretch.glue ? pieces[*stretch.glue].width : 0;
    if (!lines.empty() && used + glue + stretch.width <= room) {
      if (stretch.glue) lines.back().push_back(*stretch.glue);
      used += glue;
    } else {
      if (static_cast<int>(lines.size()) == maxLines) return std::nullopt;
      lines.emplace_back();
      used = 0;
    }
    lines.back().insert(lines.back().end(), stretch.pieces.begin(), stretch.pieces.end());
    used += stretch.width;
  }
  return lines;
}

struct Fit {
  Lines lines;
  double scale = 1;
  bool truncated = false;
};

// The largest scale from `minScale` to 1 at which the text fits with breaks of `level`; nothing
// when it does not fit even at `minScale`. Fewer lines are needed as the scale falls, so the
// largest scale is found by halving the interval.
std::optional<Fit> largestFit(const std::vector<Piece>& pieces, int level, double minScale,
                              double width, int maxLines) {
  if (auto lines = breakLines(pieces, level, 1, width, maxLines)) {
    return Fit{std::move(*lines), 1, false};
  }
  auto smallest = breakLines(pieces, level, minScale, width, maxLines);
  if (!smallest) return std::nullopt;
  Fit best{std::move(*smallest), minScale, false};
  double high = 1;
  for (int i = 0; i < 24; ++i) {
    const double middle = (best.scale + high) / 2;
    if (auto lines = breakLines(pieces, level, middle, width, maxLines)) {
      best = {std::move(*lines), middle, false};
    } else {
      high = middle;
    }
  }
  return best;
}

// The whole text at the largest scale down to the minimum at which it fits, as SwiftUI's
// minimum scale factor does; never a fact left out. Lines break between facts where that is
// enough; inside a fact (at its dot, then between words) only when that keeps the text at least
// 15% larger: about two points of a 14-point line are worth more than an unbroken phrase, less is
// not. When nothing fits, everything at the minimum scale, the last line cut with "…".
Fit fit(const TextBlock& text, const std::vector<Piece>& pieces) {
  const double minScale = std::clamp(text.minScaleFactor, 0.01, 1.0);
  const int maxLines = std::max(1, text.maxLines);
  const double width = text.frame.width;
  std::optional<Fit> best;
  for (int level = 0; level < kBreakLevels; ++level) {
    auto candidate = largestFit(pieces, level, minScale, width, maxLines);
    if (candidate && (!best || candidate->scale > best->scale * kFinerBreakGain)) {
      best = std::move(candidate);
    }
  }
  if (best) return std::move(*best);
  // Words fill the lines before the last at the minimum scale; the last line takes the rest.
  Fit cut{Lines(1), minScale, true};
  const double room = width / minScale;
  double used = 0;
  for (size_t i = 0; i < pieces.size(); ++i) {
    const bool breakable = pieces[i].glue.has_value();
    if (breakable && static_cast<int>(cut.lines.size()) < maxLines) {
      double next = 0;
      for (size_t j = i + 1; j < pieces.size() && !pieces[j].glue; ++j) next += pieces[j].width;
      if (used + pieces[i].width + next > room && used > 0) {
        cut.lines.emplace_back();
        used = 0;
        continue;
      }
    }
    cut.lines.back().push_back(i);
    used += pieces[i].width;
  }
  return cut;
}

// The fit's lines as runs: consecutive pieces of one run joined again.
TextFitting asRuns(const TextBlock& text, const std::vector<Piece>& pieces, const Fit& f) {
  TextFitting fitting{{}, f.scale, f.truncated};
  for (const Line& line : f.lines) {
    std::vector<TextRun>& runs = fitting.lines.emplace_back();
    std::optional<size_t> last;
    auto append = [&](std::string_view piece, size_t run) {
      if (piece.empty()) return;
      if (last && *last == run) {
        runs.back().text += piece;
      } else {
        runs.push_back({std::string(piece), text.runs[run].color});
      }
      last = run;
    };
    for (size_t i : line) append(pieces[i].text, pieces[i].run);
  }
  return fitting;
}

void paintLabel(render::Canvas& canvas, const activity::ChartLabel& label) {
  canvas.drawTextAt(render::layoutText(label.text, fontAt(label.font)), label.origin, label.color);
}

render::Path toPath(const std::vector<activity::PathElement>& elements) {
  render::Path path;
  for (const activity::PathElement& e : elements) {
    switch (e.kind) {
      case activity::PathElement::Kind::kMove:
        path.moveTo(e.to);
        break;
      case activity::PathElement::Kind::kLine:
        path.lineTo(e.to);
        break;
      case activity::PathElement::Kind::kCubic:
        path.curveTo(e.control1, e.control2, e.to);
        break;
    }
  }
  return path;
}

struct ItemPainter {
  render::Canvas& canvas;

  void operator()(const TextBlock& text) const { paintText(canvas, text); }

  void operator()(const activity::SymbolItem& symbol) const {
    render::drawSymbol(canvas, symbol.name, symbol.frame.center(), symbol.font.size,
                       {.tint = symbol.color});
  }

  void operator()(const activity::ChartItem& chart) const {
    paintMiniChart(canvas, chart.chart, {chart.frame.x, chart.frame.y});
  }

  void operator()(const activity::BrandMarkItem& mark) const {
    render::drawPluvoLogoMark(canvas, mark.frame);
  }

  void operator()(const activity::FrameStroke& frame) const {
    render::Path path;
    path.addRoundedRect(frame.rect, frame.cornerRadius);
    canvas.strokePath(path, {.color = frame.color, .width = frame.lineWidth});
  }
};

}  // namespace

activity::MeasureText fontMeasure() {
  return [](std::string_view text, const activity::Font& font) {
    const render::Font f = fontAt(font);
    const LineMetrics metrics = lineMetrics(f);
    return activity::TextMetrics{textWidth(text, f), metrics.ascent, metrics.descent};
  };
}

void paintMiniChart(render::Canvas& canvas, const activity::MiniChart& chart,
                    render::Point origin) {
  render::Canvas::Saved saved(canvas);
  canvas.translate(origin.x, origin.y);
  // The chart is a picture of its own size: a bar centred on an hour at the span's edge, or the
  // word "now" near it, is cut at the picture's edge as in a bitmap of that size.
  canvas.clip(render::Rect{0, 0, chart.width, chart.height});

  canvas.fillRoundedRect(chart.plate, chart.plateCornerRadius, chart.plateFill);
  const render::Color barColor = chart.barFill;
  for (const activity::MiniChart::Bar& bar : chart.bars) {
    canvas.fillRoundedRect(bar.rect, bar.cornerRadius, barColor);
  }
  if (!chart.probabilityPath.empty()) {
    canvas.strokePath(toPath(chart.probabilityPath), chart.probabilityStroke);
  }
  const render::Stroke tick = chart.tickStroke;
  for (const activity::Segment& segment : chart.ticks) {
    canvas.strokeLine(segment.from, segment.to, tick);
  }
  if (chart.nowMarker) {
    {
      render::Canvas::Saved marker(canvas);
      canvas.strokeLine(chart.nowMarker->line.from, chart.nowMarker->line.to,
                        chart.nowMarker->stroke);
    }
    if (chart.nowMarker->label) paintLabel(canvas, *chart.nowMarker->label);
  }
  for (const auto* label : {&chart.topLabel, &chart.zeroLabel, &chart.peakLabel}) {
    if (*label) paintLabel(canvas, **label);
  }
}

TextFitting fitText(const TextBlock& text) {
  const std::vector<Piece> pieces = piecesOf(text.runs, fontAt(text.font));
  return asRuns(text, pieces, fit(text, pieces));
}

void paintText(render::Canvas& canvas, const TextBlock& text) {
  if (text.runs.empty()) return;
  const TextFitting fitted = fitText(text);
  const render::Font font = fontAt(text.font, fitted.scale);
  const LineMetrics metrics = lineMetrics(font);
  const double right = text.frame.x + text.frame.width;
  double baseline = text.firstBaseline;
  for (size_t l = 0; l < fitted.lines.size(); ++l) {
    const std::vector<TextRun>& line = fitted.lines[l];
    const bool cut = fitted.truncated && l + 1 == fitted.lines.size();
    double width = 0;
    for (const TextRun& run : line) width += textWidth(run.text, font);
    width = std::min(width, text.frame.width);
    double x = text.frame.x;
    if (text.alignment == activity::TextAlignment::kCenter) x += (text.frame.width - width) / 2;
    if (text.alignment == activity::TextAlignment::kTrailing) x += text.frame.width - width;
    for (const TextRun& run : line) {
      const double room = cut ? right - x : std::numeric_limits<double>::infinity();
      const Drawn drawn = drawRun(canvas, run.text, font, run.color, {x, baseline}, metrics, room);
      if (drawn.cut) break;
      x += drawn.advance;
    }
    baseline += metrics.height();
  }
}

void paintScene(render::Canvas& canvas, const activity::Scene& scene) {
  const render::Rect bounds{0, 0, scene.width, scene.height};
  if (scene.backgroundCornerRadius > 0) {
    canvas.fillRoundedRect(bounds, scene.backgroundCornerRadius, scene.background);
  } else {
    canvas.fillRect(bounds, scene.background);
  }
  const ItemPainter painter{canvas};
  for (const activity::Item& item : scene.items) std::visit(painter, item);
}

}  // namespace pluvo::activity_render
