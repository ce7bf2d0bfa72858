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

render::Font fontAt(const activity::Font& font, double scale = 1) {
  return {font.size * scale, static_cast<render::FontWeight>(font.weight), false};
}

render::Point toPoint(activity::Point p) { return {p.x, p.y}; }
render::Rect toRect(const activity::Rect& r) { return {r.x, r.y, r.width, r.height}; }

render::LineCap toCap(activity::LineCap cap) {
  switch (cap) {
    case activity::LineCap::kRound:
      return render::LineCap::round;
    case activity::LineCap::kSquare:
      return render::LineCap::square;
    case activity::LineCap::kButt:
      break;
  }
  return render::LineCap::butt;
}

render::LineJoin toJoin(activity::LineJoin join) {
  switch (join) {
    case activity::LineJoin::kRound:
      return render::LineJoin::round;
    case activity::LineJoin::kBevel:
      return render::LineJoin::bevel;
    case activity::LineJoin::kMiter:
      break;
  }
  return render::LineJoin::miter;
}

render::Stroke toStroke(const activity::StrokeStyle& s) {
  return {.color = colorOf(s.paint),
          .width = s.lineWidth,
          .cap = toCap(s.cap),
          .join = toJoin(s.join),
          .miterLimit = s.miterLimit,
          .dashes = s.dash,
          .dashOffset = s.dashPhase};
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
      if (x + advance - origin.x > maxWidth) return {x - origin.x, true};
      const double thickness = kBoxBarThickness * font.size;
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

bool isSeparator(const TextRun& run) {
  std::string bare;
  for (char c : run.text) {
    if (c != ' ') bare += c;
  }
  return bare == kBoxBar;
}

// A styled text cut into parts at its separator runs: a copy line's facts, which are kept whole.
struct Parts {
  std::vector<std::vector<size_t>> runsOfPart;         // indices into the runs
  std::vector<std::optional<size_t>> separatorBefore;  // the separator run before each part
};

Parts splitIntoParts(const std::vector<TextRun>& runs) {
  Parts parts;
  std::optional<size_t> separator;
  for (size_t i = 0; i < runs.size(); ++i) {
    if (isSeparator(runs[i])) {
      separator = i;
      continue;
    }
    if (parts.runsOfPart.empty() || separator) {
      parts.runsOfPart.emplace_back();
      parts.separatorBefore.push_back(parts.runsOfPart.size() == 1 ? std::nullopt : separator);
      separator.reset();
    }
    parts.runsOfPart.back().push_back(i);
  }
  return parts;
}

// Lines of run indices, each holding whole parts and the separators between them.
using Lines = std::vector<std::vector<size_t>>;

// The first `count` parts broken greedily into lines no wider than `maxWidth` at `scale` (run
// widths are proportional to the size: hinting is off); nothing when a part does not fit on a
// line or more than `maxLines` lines are needed.
std::optional<Lines> breakIntoLines(const Parts& parts, const std::vector<double>& runWidths,
                                    size_t count, double scale, double maxWidth, int maxLines) {
  const double room = maxWidth / scale + 1e-9;
  Lines lines;
  double used = 0;
  for (size_t p = 0; p < count; ++p) {
    double width = 0;
    for (size_t run : parts.runsOfPart[p]) width += runWidths[run];
    if (width > room) return std::nullopt;
    const std::optional<size_t> separator = parts.separatorBefore[p];
    const double separatorWidth = separator ? runWidths[*separator] : 0;
    if (!lines.empty() && used + separatorWidth + width <= room) {
      if (separator) lines.back().push_back(*separator);
      used += separatorWidth;
    } else {
      if (static_cast<int>(lines.size()) == maxLines) return std::nullopt;
      lines.emplace_back();
      used = 0;
    }
    lines.back().insert(lines.back().end(), parts.runsOfPart[p].begin(), parts.runsOfPart[p].end());
    used += width;
  }
  return lines;
}

// Every part at the largest scale that fits; else the most parts that fit at some scale down to
// the minimum, at the largest such scale: a fact is shown whole or not at all, and the text
// shrinks before it loses one. When not even the first part fits, everything on one line at the
// minimum scale, cut with "…".
TextFitting fit(const TextBlock& text, const std::vector<double>& runWidths) {
  const Parts parts = splitIntoParts(text.runs);
  const double minScale = std::clamp(text.minScaleFactor, 0.01, 1.0);
  const int maxLines = std::max(1, text.maxLines);
  const double width = text.frame.width;
  for (size_t count = parts.runsOfPart.size(); count > 0; --count) {
    if (auto lines = breakIntoLines(parts, runWidths, count, 1, width, maxLines)) {
      return {std::move(*lines), 1, false};
    }
    auto smallest = breakIntoLines(parts, runWidths, count, minScale, width, maxLines);
    if (!smallest) continue;
    // Fewer lines are needed as the scale falls, so the largest scale that fits is found by
    // halving the interval.
    double low = minScale, high = 1;
    Lines best = std::move(*smallest);
    for (int i = 0; i < 24; ++i) {
      const double middle = (low + high) / 2;
      if (auto lines = breakIntoLines(parts, runWidths, count, middle, width, maxLines)) {
        low = middle;
        best = std::move(*lines);
      } else {
        high = middle;
      }
    }
    return {std::move(best), low, false};
  }
  Lines all(1);
  for (size_t i = 0; i < text.runs.size(); ++i) all[0].push_back(i);
  return {std::move(all), minScale, true};
}

std::vector<double> widthsOfRuns(const TextBlock& text) {
  const render::Font full = fontAt(text.font);
  std::vector<double> widths;
  widths.reserve(text.runs.size());
  for (const TextRun& run : text.runs) widths.push_back(textWidth(run.text, full));
  return widths;
}

void paintLabel(render::Canvas& canvas, const activity::ChartLabel& label) {
  canvas.drawTextAt(render::layoutText(label.text, fontAt(label.font)), toPoint(label.origin),
                    colorOf(label.paint));
}

render::Path toPath(const std::vector<activity::PathElement>& elements) {
  render::Path path;
  for (const activity::PathElement& e : elements) {
    switch (e.kind) {
      case activity::PathElement::Kind::kMove:
        path.moveTo(toPoint(e.to));
        break;
      case activity::PathElement::Kind::kLine:
        path.lineTo(toPoint(e.to));
        break;
      case activity::PathElement::Kind::kCubic:
        path.curveTo(toPoint(e.control1), toPoint(e.control2), toPoint(e.to));
        break;
    }
  }
  return path;
}

struct ItemPainter {
  render::Canvas& canvas;

  void operator()(const TextBlock& text) const { paintText(canvas, text); }

  void operator()(const activity::SymbolItem& symbol) const {
    render::drawSymbol(canvas, symbol.name, toRect(symbol.frame).center(), symbol.font.size,
                       {.tint = colorOf(symbol.paint)});
  }

  void operator()(const activity::ChartItem& chart) const {
    paintMiniChart(canvas, chart.chart, {chart.frame.x, chart.frame.y});
  }

  void operator()(const activity::BrandMarkItem& mark) const {
    render::drawPluvoLogoMark(canvas, toRect(mark.frame));
  }

  void operator()(const activity::FrameStroke& frame) const {
    render::Path path;
    path.addRoundedRect(toRect(frame.rect), frame.cornerRadius);
    canvas.strokePath(path, {.color = colorOf(frame.paint), .width = frame.lineWidth});
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

render::Color colorOf(const activity::Paint& paint) {
  return render::hexColor(paint.color, render::named::white).opacity(paint.opacity);
}

void paintMiniChart(render::Canvas& canvas, const activity::MiniChart& chart,
                    render::Point origin) {
  render::Canvas::Saved saved(canvas);
  canvas.translate(origin.x, origin.y);
  // The chart is a picture of its own size: a bar centred on an hour at the span's edge, or the
  // word "now" near it, is cut at the picture's edge as in a bitmap of that size.
  canvas.clip(render::Rect{0, 0, chart.width, chart.height});

  canvas.fillRoundedRect(toRect(chart.plate), chart.plateCornerRadius, colorOf(chart.plateFill));
  const render::Color barColor = colorOf(chart.barFill);
  for (const activity::MiniChart::Bar& bar : chart.bars) {
    canvas.fillRoundedRect(toRect(bar.rect), bar.cornerRadius, barColor);
  }
  if (!chart.probabilityPath.empty()) {
    canvas.strokePath(toPath(chart.probabilityPath), toStroke(chart.probabilityStroke));
  }
  const render::Stroke tick = toStroke(chart.tickStroke);
  for (const activity::Segment& segment : chart.ticks) {
    canvas.strokeLine(toPoint(segment.from), toPoint(segment.to), tick);
  }
  if (chart.nowMarker) {
    {
      render::Canvas::Saved marker(canvas);
      canvas.strokeLine(toPoint(chart.nowMarker->line.from), toPoint(chart.nowMarker->line.to),
                        toStroke(chart.nowMarker->stroke));
    }
    if (chart.nowMarker->label) paintLabel(canvas, *chart.nowMarker->label);
  }
  for (const auto* label : {&chart.topLabel, &chart.zeroLabel, &chart.peakLabel}) {
    if (*label) paintLabel(canvas, **label);
  }
}

TextFitting fitText(const TextBlock& text) { return fit(text, widthsOfRuns(text)); }

void paintText(render::Canvas& canvas, const TextBlock& text) {
  if (text.runs.empty()) return;
  const std::vector<double> widths = widthsOfRuns(text);
  const TextFitting fitted = fit(text, widths);
  const render::Font font = fontAt(text.font, fitted.scale);
  const LineMetrics metrics = lineMetrics(font);
  double baseline = text.firstBaseline;
  for (const std::vector<size_t>& line : fitted.lines) {
    double width = 0;
    for (size_t run : line) width += widths[run] * fitted.scale;
    width = std::min(width, text.frame.width);
    double x = text.frame.x;
    if (text.alignment == activity::TextAlignment::kCenter) x += (text.frame.width - width) / 2;
    if (text.alignment == activity::TextAlignment::kTrailing) x += text.frame.width - width;
    const double right = text.frame.x + text.frame.width;
    for (size_t run : line) {
      const double room = fitted.truncated ? right - x : std::numeric_limits<double>::infinity();
      const Drawn drawn = drawRun(canvas, text.runs[run].text, font, colorOf(text.runs[run].paint),
                                  {x, baseline}, metrics, room);
      if (drawn.cut) break;
      x += drawn.advance;
    }
    baseline += metrics.height();
  }
}

void paintScene(render::Canvas& canvas, const activity::Scene& scene) {
  const render::Rect bounds{0, 0, scene.width, scene.height};
  if (scene.backgroundCornerRadius > 0) {
    canvas.fillRoundedRect(bounds, scene.backgroundCornerRadius, colorOf(scene.background));
  } else {
    canvas.fillRect(bounds, colorOf(scene.background));
  }
  const ItemPainter painter{canvas};
  for (const activity::Item& item : scene.items) std::visit(painter, item);
}

}  // namespace pluvo::activity_render
