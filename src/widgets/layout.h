// The placed-element list of the medium and large widgets: a layout decides where everything
// goes and returns it as plain elements (frame, role, text, style); painting walks the list, the
// accessibility text is read from it, and tests check it without drawing a pixel.
//
// Frames are in points, in the widget's coordinates (origin top-left). A text element's frame is
// its line box (ascent plus descent at the size it is drawn, after shrinking to fit); a symbol's
// frame is the box of its glyph (a turned arrow: the square it turns in); a shape's frame bounds
// its path. Elements are painted in list order, so backgrounds come first.
//
// Accessibility: an element with a non-empty `accessibilityLabel` is spoken; the widget's text
// is those labels in list order, joined by ", ". Groups whose parts are spoken as one (a day's
// rain line) are a `group` element carrying the label, placed before its silent parts.
//
//   WidgetLayout layout = layoutWidget(constants, shown, entryDate, deviceZone, {0, 0, 364, 382});
//   paintLayout(canvas, layout);
//   layout.accessibilityText();  // "Pluvo, Galveston, TX, as of 3:05p, Today, ..."
//   layout.find(ElementRole::nowMarker);
//
// Thread safety: a layout holds text laid out on the calling thread; paint it on that thread.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "render/canvas.h"
#include "render/color.h"
#include "render/geometry.h"
#include "render/path.h"
#include "render/text.h"
#include "widgets/catalogue.h"

namespace pluvo::widgets {

// What an element is in the widget; tests and the accessibility text go by it.
enum class ElementRole {
  // Header.
  brandMark,
  place,
  dataAge,
  metricLegend,  // a legend swatch or name for a chart overlay
  // Current block of the today layout.
  currentTemperature,
  currentCondition,
  // A day row (or the today layout's day facts).
  rowGroup,  // silent frame of a whole day row, carries the row's spoken summary
  dayLabel,
  dateLabel,
  conditionIcon,
  high,
  highLabel,
  low,
  lowLabel,
  windArrow,
  windSpeed,
  rainLineGroup,  // the rain line's one accessibility element
  rainDrop,
  rainChance,
  rainAmount,
  rainDetail,
  metricValue,
  rowSeparator,
  emptyNote,  // "No more days in this forecast"
  // The hourly chart of a day.
  chartPlate,
  chartNight,
  chartPlateEdge,  // the plate's outline, so that a dark night never reads as the chart's end
  chartObserved,
  chartGrid,
  chartRainBar,
  chartTemperatureLine,
  chartOverlay,
  chartSolunar,
  chartHourLabel,
  nowMarker,
  // No usable day.
  unavailableMessage,
};
std::string_view elementRoleName(ElementRole role);

enum class ElementKind {
  text,           // `line` drawn with its line box's top-left at the frame's origin
  symbol,         // `text` names the symbol, drawn beside text of `style.pointSize`, centred
  conditionIcon,  // `text` names the symbol, WidgetConditionIcon of `style.pointSize`
  brandMark,      // the PluvoLogoMark, fitted in the frame
  fill,           // `path` filled (the frame, rounded by `style.cornerRadius`, when empty)
  stroke,         // `path` stroked
  hatch,          // the frame hatched: 45-degree lines `style.pitch` apart (render::Canvas)
  group,          // draws nothing: an accessibility element over its parts
};

struct ElementStyle {
  render::Color color;       // text colour, symbol tint, fill or stroke colour
  render::Font font;         // text: as drawn, after shrinking
  bool multicolour = false;  // symbols and icons: the palette's colours instead of `color`
  double pointSize = 0;      // symbols: the text size they sit beside; icons: their size
  double rotation = 0;       // symbols: degrees clockwise about the frame's centre
  double lineWidth = 1;      // strokes and hatches
  double pitch = 0;          // hatches: points between lines along x
  render::LineCap cap = render::LineCap::round;
  std::vector<double> dashes;
  double cornerRadius = 0;  // fills of the frame
  // Fills: when set, painting is clipped to this rectangle rounded by `clipRadius`.
  std::optional<render::Rect> clip;
  double clipRadius = 0;
};

struct PlacedElement {
  ElementRole role = ElementRole::place;
  ElementKind kind = ElementKind::text;
  render::Rect frame;
  std::string text;  // the text shown, or the symbol's name
  ElementStyle style;
  int row = -1;  // the day row it belongs to (0 = the first row shown); -1 outside the rows
  render::Path path;
  std::string accessibilityLabel;
  std::shared_ptr<const render::TextLine> line;  // text elements: ready to draw

  bool isTextOrSymbol() const {
    return kind == ElementKind::text || kind == ElementKind::symbol ||
           kind == ElementKind::conditionIcon || kind == ElementKind::brandMark;
  }
};

struct WidgetLayout {
  LayoutKind kind = LayoutKind::mediumToday;
  render::Rect frame;    // the whole widget
  render::Rect content;  // inside the paddings; every element lies in it
  std::vector<PlacedElement> elements;
  int dayRows = 0;  // day rows shown (the today layout: 1)
  bool unavailable = false;

  // The labels of the spoken elements, in order, joined by ", ".
  std::string accessibilityText() const;
  // Every element of `role`, in list order.
  std::vector<const PlacedElement*> findAll(ElementRole role) const;
  // The first element of `role`, or nullptr.
  const PlacedElement* find(ElementRole role) const;
};

// Paints every element in order (not the background: the root view paints that).
void paintLayout(render::Canvas& canvas, const WidgetLayout& layout);

// --- Building elements -----------------------------------------------------------------------

// A text element with its line box's top-left at `topLeft`.
PlacedElement textElement(ElementRole role, render::TextLine line, render::Point topLeft,
                          render::Color color, int row = -1);
// A symbol drawn beside text of `pointSize`, centred on `centre`, tinted (or multicolour when
// `tint` is absent), turned by `rotation` degrees.
PlacedElement symbolElement(ElementRole role, std::string_view name, render::Point centre,
                            double pointSize, std::optional<render::Color> tint, int row = -1,
                            double rotation = 0);
PlacedElement fillElement(ElementRole role, render::Rect frame, render::Color color,
                          double cornerRadius = 0, int row = -1);
PlacedElement pathFillElement(ElementRole role, render::Path path, render::Color color,
                              int row = -1);
PlacedElement strokeElement(ElementRole role, render::Path path, render::Color color,
                            double lineWidth, int row = -1);
PlacedElement groupElement(ElementRole role, render::Rect frame, std::string label, int row = -1);

// The smallest rectangle holding both.
render::Rect unionRect(render::Rect a, render::Rect b);
// True when the interiors of the two rectangles meet (touching edges do not count).
bool rectsOverlap(render::Rect a, render::Rect b, double tolerance = 0.01);

}  // namespace pluvo::widgets
