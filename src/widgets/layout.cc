#include "widgets/layout.h"

#include <algorithm>
#include <cmath>

#include "render/logo.h"
#include "render/symbols.h"
#include "widgets/daily_blocks.h"

namespace pluvo::widgets {

std::string_view elementRoleName(ElementRole role) {
  switch (role) {
    case ElementRole::brandMark:
      return "brandMark";
    case ElementRole::place:
      return "place";
    case ElementRole::dataAge:
      return "dataAge";
    case ElementRole::metricLegend:
      return "metricLegend";
    case ElementRole::currentTemperature:
      return "currentTemperature";
    case ElementRole::currentCondition:
      return "currentCondition";
    case ElementRole::rowGroup:
      return "rowGroup";
    case ElementRole::dayLabel:
      return "dayLabel";
    case ElementRole::dateLabel:
      return "dateLabel";
    case ElementRole::conditionIcon:
      return "conditionIcon";
    case ElementRole::high:
      return "high";
    case ElementRole::highLabel:
      return "highLabel";
    case ElementRole::low:
      return "low";
    case ElementRole::lowLabel:
      return "lowLabel";
    case ElementRole::windArrow:
      return "windArrow";
    case ElementRole::windSpeed:
      return "windSpeed";
    case ElementRole::rainLineGroup:
      return "rainLineGroup";
    case ElementRole::rainDrop:
      return "rainDrop";
    case ElementRole::rainChance:
      return "rainChance";
    case ElementRole::rainAmount:
      return "rainAmount";
    case ElementRole::rainDetail:
      return "rainDetail";
    case ElementRole::metricValue:
      return "metricValue";
    case ElementRole::rowSeparator:
      return "rowSeparator";
    case ElementRole::emptyNote:
      return "emptyNote";
    case ElementRole::chartPlate:
      return "chartPlate";
    case ElementRole::chartNight:
      return "chartNight";
    case ElementRole::chartPlateEdge:
      return "chartPlateEdge";
    case ElementRole::chartObserved:
      return "chartObserved";
    case ElementRole::chartGrid:
      return "chartGrid";
    case ElementRole::chartRainBar:
      return "chartRainBar";
    case ElementRole::chartTemperatureLine:
      return "chartTemperatureLine";
    case ElementRole::chartOverlay:
      return "chartOverlay";
    case ElementRole::chartSolunar:
      return "chartSolunar";
    case ElementRole::chartHourLabel:
      return "chartHourLabel";
    case ElementRole::nowMarker:
      return "nowMarker";
    case ElementRole::unavailableMessage:
      return "unavailableMessage";
  }
  return "element";
}

std::string WidgetLayout::accessibilityText() const {
  std::string text;
  for (const PlacedElement& e : elements) {
    if (e.accessibilityLabel.empty()) continue;
    if (!text.empty()) text += ", ";
    text += e.accessibilityLabel;
  }
  return text;
}

std::vector<const PlacedElement*> WidgetLayout::findAll(ElementRole role) const {
  std::vector<const PlacedElement*> found;
  for (const PlacedElement& e : elements) {
    if (e.role == role) found.push_back(&e);
  }
  return found;
}

const PlacedElement* WidgetLayout::find(ElementRole role) const {
  for (const PlacedElement& e : elements) {
    if (e.role == role) return &e;
  }
  return nullptr;
}

namespace {

render::Path framePath(const PlacedElement& e) {
  render::Path path;
  if (e.style.cornerRadius > 0) {
    path.addRoundedRect(e.frame, e.style.cornerRadius);
  } else {
    path.addRect(e.frame);
  }
  return path;
}

void paintElement(render::Canvas& canvas, const PlacedElement& e) {
  switch (e.kind) {
    case ElementKind::text:
      if (e.line) canvas.drawTextAt(*e.line, {e.frame.x, e.frame.y}, e.style.color);
      return;
    case ElementKind::symbol: {
      render::Canvas::Saved saved(canvas);
      if (e.style.rotation != 0) canvas.rotate(e.frame.center(), e.style.rotation);
      render::SymbolStyle style;
      if (!e.style.multicolour) style.tint = e.style.color;
      render::drawSymbol(canvas, e.text, e.frame.center(), e.style.pointSize, style);
      return;
    }
    case ElementKind::conditionIcon:
      drawConditionIcon(canvas, e.text, {e.frame.x, e.frame.y}, e.style.pointSize, e.frame.width);
      return;
    case ElementKind::brandMark:
      render::drawPluvoLogoMark(canvas, e.frame);
      return;
    case ElementKind::fill: {
      render::Canvas::Saved saved(canvas);
      if (e.style.clip) {
        render::Path clip;
        clip.addRoundedRect(*e.style.clip, e.style.clipRadius);
        canvas.clip(clip);
      }
      canvas.fillPath(e.path.empty() ? framePath(e) : e.path, e.style.color);
      return;
    }
    case ElementKind::stroke: {
      render::Canvas::Saved saved(canvas);
      if (e.style.clip) canvas.clip(*e.style.clip);
      canvas.strokePath(e.path, {.color = e.style.color,
                                 .width = e.style.lineWidth,
                                 .cap = e.style.cap,
                                 .join = render::LineJoin::round,
                                 .dashes = e.style.dashes});
      return;
    }
    case ElementKind::hatch:
      canvas.fillHatch(e.frame, e.style.pitch, e.style.lineWidth, e.style.color);
      return;
    case ElementKind::group:
      return;
  }
}

}  // namespace

void paintLayout(render::Canvas& canvas, const WidgetLayout& layout) {
  for (const PlacedElement& e : layout.elements) paintElement(canvas, e);
}

PlacedElement textElement(ElementRole role, render::TextLine line, render::Point topLeft,
                          render::Color color, int row) {
  PlacedElement e;
  e.role = role;
  e.kind = ElementKind::text;
  e.frame = {topLeft.x, topLeft.y, line.width(), line.height()};
  e.text = line.text();
  e.style.color = color;
  e.style.font.size = line.fontSize();
  e.row = row;
  e.line = std::make_shared<const render::TextLine>(std::move(line));
  return e;
}

PlacedElement symbolElement(ElementRole role, std::string_view name, render::Point centre,
                            double pointSize, std::optional<render::Color> tint, int row,
                            double rotation) {
  PlacedElement e;
  e.role = role;
  e.kind = ElementKind::symbol;
  render::Size size = render::symbolSize(name, pointSize);
  if (rotation != 0) {
    // The glyph turns about its centre: any turn stays inside the circle through its corners.
    double side = std::hypot(size.width, size.height);
    size = {side, side};
  }
  e.frame = render::Rect::centred(centre, size);
  e.text = std::string(name);
  e.style.pointSize = pointSize;
  e.style.rotation = rotation;
  e.style.multicolour = !tint;
  if (tint) e.style.color = *tint;
  e.row = row;
  return e;
}

PlacedElement fillElement(ElementRole role, render::Rect frame, render::Color color,
                          double cornerRadius, int row) {
  PlacedElement e;
  e.role = role;
  e.kind = ElementKind::fill;
  e.frame = frame;
  e.style.color = color;
  e.style.cornerRadius = cornerRadius;
  e.row = row;
  return e;
}

PlacedElement pathFillElement(ElementRole role, render::Path path, render::Color color, int row) {
  PlacedElement e;
  e.role = role;
  e.kind = ElementKind::fill;
  e.frame = path.bounds();
  e.path = std::move(path);
  e.style.color = color;
  e.row = row;
  return e;
}

PlacedElement strokeElement(ElementRole role, render::Path path, render::Color color,
                            double lineWidth, int row) {
  PlacedElement e;
  e.role = role;
  e.kind = ElementKind::stroke;
  // The outline reaches half the line's width beyond the path.
  e.frame = path.bounds().inset(-lineWidth / 2);
  e.path = std::move(path);
  e.style.color = color;
  e.style.lineWidth = lineWidth;
  e.row = row;
  return e;
}

PlacedElement groupElement(ElementRole role, render::Rect frame, std::string label, int row) {
  PlacedElement e;
  e.role = role;
  e.kind = ElementKind::group;
  e.frame = frame;
  e.accessibilityLabel = std::move(label);
  e.row = row;
  return e;
}

render::Rect unionRect(render::Rect a, render::Rect b) {
  double x0 = std::min(a.minX(), b.minX()), y0 = std::min(a.minY(), b.minY());
  double x1 = std::max(a.maxX(), b.maxX()), y1 = std::max(a.maxY(), b.maxY());
  return {x0, y0, x1 - x0, y1 - y0};
}

bool rectsOverlap(render::Rect a, render::Rect b, double tolerance) {
  return a.minX() < b.maxX() - tolerance && b.minX() < a.maxX() - tolerance &&
         a.minY() < b.maxY() - tolerance && b.minY() < a.maxY() - tolerance;
}

}  // namespace pluvo::widgets
