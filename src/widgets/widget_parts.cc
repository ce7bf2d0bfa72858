#include "widgets/widget_parts.h"

#include <algorithm>
#include <cctype>
#include <chrono>
#include <cstdio>

#include "render/logo.h"
#include "widgets/hourly_chart.h"

namespace pluvo::widgets {

namespace {

using render::FontWeight;
using render::Rect;

constexpr double kLogoWidth = 15;
constexpr double kLogoHeight = 16.5;
constexpr double kLogoSpacing = 5;         // mark to place, as in the small widget
constexpr double kHeaderGap = 10;          // place to legend, legend to stamp
constexpr double kLegendSwatch = 7;        // length of a legend's colour stroke
constexpr double kLegendItemGap = 7;       // between legend entries
constexpr double kUnavailableLogo = 24.2;  // the mark's height on the unavailable face

std::optional<date::year_month_day> parseDayKey(std::string_view key) {
  int y = 0;
  unsigned m = 0, d = 0;
  if (key.size() != 10 || std::sscanf(std::string(key).c_str(), "%4d-%2u-%2u", &y, &m, &d) != 3) {
    return std::nullopt;
  }
  date::year_month_day day{date::year{y}, date::month{m}, date::day{d}};
  if (!day.ok()) return std::nullopt;
  return day;
}

std::string upper(std::string text) {
  for (char& c : text) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return text;
}

date::local_seconds localTime(Instant instant, TimeZone zone) {
  return zone->toLocal(instant.sysSeconds());
}

}  // namespace

render::TextLine fittedText(std::string_view text, render::Font font, double maxWidth,
                            double minimumScaleFactor) {
  double floor = font.size > 0 ? type::kMinimum / font.size : 1;
  return render::layoutText(
      text, font,
      {.maxWidth = std::max(0.0, maxWidth),
       .minimumScaleFactor = std::min(1.0, std::max(minimumScaleFactor, floor))});
}

LayoutContext makeLayoutContext(const model::PluvoWidgetSnapshot& snapshot, Instant timelineDate,
                                TimeZone deviceZone) {
  LayoutContext c;
  c.snapshot = &snapshot;
  c.timelineDate = timelineDate;
  c.zone = snapshot.resolvedTimeZone(deviceZone);
  if (!c.zone) c.zone = findTimeZone("UTC");
  c.usesMetricUnits = snapshot.usesMetricUnits();
  c.metricKeys = snapshot.chartMetricKeys();
  c.todayKey = dayKey(timelineDate, c.zone);
  for (const model::PluvoWidgetDay& day : snapshot.days) {
    if (day.fullDate && parseDayKey(*day.fullDate) && *day.fullDate < c.todayKey) continue;
    c.days.push_back(&day);
  }
  for (size_t i = 0; i < c.days.size(); ++i) {
    if (c.days[i]->fullDate == c.todayKey) {
      c.todayIndex = static_cast<int>(i);
      break;
    }
  }
  // A snapshot without dates: its first day is today when it says so.
  if (c.todayIndex < 0 && !c.days.empty() && !c.days[0]->fullDate && c.days[0]->day == "TODAY") {
    c.todayIndex = 0;
  }
  c.site = chartSite(snapshot.latitude, snapshot.longitude, c.zone, timelineDate);
  return c;
}

std::string dayLabel(const LayoutContext& context, int dayIndex) {
  const model::PluvoWidgetDay& day = *context.days[static_cast<size_t>(dayIndex)];
  if (dayIndex == context.todayIndex) return "TODAY";
  if (day.day == "TODAY" || day.day.empty()) {
    if (auto date = day.fullDate ? parseDayKey(*day.fullDate) : std::nullopt) {
      return upper(weekdayAbbreviation(*date));
    }
  }
  return day.day;
}

std::string clockText(Instant instant, TimeZone zone) {
  auto local = localTime(instant, zone);
  auto sinceMidnight = local - date::floor<date::days>(local);
  long minutes = std::chrono::duration_cast<std::chrono::minutes>(sinceMidnight).count();
  long hour = minutes / 60, minute = minutes % 60;
  long twelve = hour % 12 == 0 ? 12 : hour % 12;
  char text[16];
  std::snprintf(text, sizeof text, "%ld:%02ld%c", twelve, minute, hour < 12 ? 'a' : 'p');
  return text;
}

DataAgeStamp dataAgeStamp(Instant updatedAt, Instant timelineDate, TimeZone zone) {
  DataAgeStamp stamp;
  stamp.stale = timelineDate - updatedAt >= kStaleDataAgeSeconds;
  stamp.color = stamp.stale ? tone::warning : render::palette::widgetSecondaryText;
  date::year_month_day made = localDate(updatedAt, zone);
  date::year_month_day shown = localDate(timelineDate, zone);
  auto daysApart = (date::sys_days{shown} - date::sys_days{made}).count();
  if (daysApart == 0) {
    stamp.text = "as of " + clockText(updatedAt, zone);
  } else if (daysApart > 0 && daysApart < 7) {
    stamp.text = "as of " + weekdayAbbreviation(made) + " " + clockText(updatedAt, zone);
  } else {
    static constexpr const char* kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                              "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    stamp.text = std::string("as of ") + kMonths[static_cast<unsigned>(made.month()) - 1] + " " +
                 std::to_string(static_cast<unsigned>(made.day()));
  }
  stamp.accessibilityLabel = stamp.text + (stamp.stale ? ", over 4 hours old" : "");
  return stamp;
}

void layoutHeader(const LayoutContext& context, Rect content, double height,
                  std::vector<PlacedElement>& out) {
  const double mid = content.y + height / 2;
  PlacedElement mark;
  mark.role = ElementRole::brandMark;
  mark.kind = ElementKind::brandMark;
  mark.frame = {content.x, mid - kLogoHeight / 2, kLogoWidth, kLogoHeight};
  mark.accessibilityLabel = std::string(render::kPluvoLogoMarkAccessibilityLabel);
  out.push_back(std::move(mark));

  DataAgeStamp stamp =
      dataAgeStamp(context.snapshot->updatedAt, context.timelineDate, context.zone);
  render::TextLine stampLine = render::layoutText(
      stamp.text, {.size = type::kStamp, .weight = FontWeight::semibold, .monospacedDigits = true});
  double stampX = content.maxX() - stampLine.width();
  double stampY = mid - stampLine.height() / 2;
  PlacedElement stampElement =
      textElement(ElementRole::dataAge, std::move(stampLine), {stampX, stampY}, stamp.color);

  double placeX = content.x + kLogoWidth + kLogoSpacing;
  double placeRoom = stampX - kHeaderGap - placeX;
  render::TextLine place =
      fittedText(context.snapshot->locationName,
                 {.size = type::kPlace, .weight = FontWeight::semibold}, placeRoom, 0.66);
  double placeEnd = placeX + place.width();
  if (!context.snapshot->locationName.empty()) {
    render::Point at{placeX, mid - place.height() / 2};
    PlacedElement placeElement =
        textElement(ElementRole::place, std::move(place), at, render::palette::widgetSecondaryText);
    placeElement.accessibilityLabel = context.snapshot->locationName;
    out.push_back(std::move(placeElement));
  } else {
    placeEnd = placeX - kLogoSpacing;
  }

  // The legend of the drawn overlays, right before the stamp: full names, else short ones, else
  // none (a partial legend would leave a line unexplained).
  if (!context.overlays.empty()) {
    for (bool shortNames : {false, true}) {
      std::vector<render::TextLine> names;
      double width = 0;
      for (const ChartOverlay* overlay : context.overlays) {
        names.push_back(
            render::layoutText(shortNames ? overlay->shortName : overlay->name,
                               {.size = type::kMinimum, .weight = FontWeight::semibold}));
        width += (width > 0 ? kLegendItemGap : 0) + kLegendSwatch + 3 + names.back().width();
      }
      double x = stampX - kHeaderGap - width;
      if (x < placeEnd + kHeaderGap) continue;
      for (size_t i = 0; i < names.size(); ++i) {
        render::Path swatch;
        swatch.moveTo({x + 0.75, mid});
        swatch.lineTo({x + kLegendSwatch - 0.75, mid});
        PlacedElement stroke = strokeElement(ElementRole::metricLegend, std::move(swatch),
                                             context.overlays[i]->color, 1.5);
        stroke.frame = {x, mid - 0.75, kLegendSwatch, 1.5};
        out.push_back(std::move(stroke));
        x += kLegendSwatch + 3;
        double w = names[i].width();
        render::Point at{x, mid - names[i].height() / 2};
        out.push_back(textElement(ElementRole::metricLegend, std::move(names[i]), at,
                                  render::palette::widgetSecondaryText.opacity(0.85)));
        x += w + kLegendItemGap;
      }
      break;
    }
  }

  stampElement.accessibilityLabel = stamp.accessibilityLabel;
  out.push_back(std::move(stampElement));
}

std::optional<Rect> startLayout(const WidgetLayoutConstants& k, LayoutKind kind,
                                const LayoutContext& context, Rect frame, WidgetLayout& layout) {
  layout.kind = kind;
  layout.frame = frame;
  layout.content = {frame.x + k.horizontalPadding, frame.y + k.topPadding,
                    std::max(0.0, frame.width - 2 * k.horizontalPadding),
                    std::max(0.0, frame.height - k.topPadding - k.bottomPadding)};
  const Rect content = layout.content;
  if (context.days.empty()) {
    layout.unavailable = true;
    layoutUnavailable(context, content, layout.elements);
    return std::nullopt;
  }
  layoutHeader(context, content, k.headerHeight, layout.elements);
  return Rect{content.x, content.y + k.headerHeight + k.headerSpacing, content.width,
              std::max(0.0, content.height - k.headerHeight - k.headerSpacing)};
}

void layoutUnavailable(const LayoutContext& context, Rect content,
                       std::vector<PlacedElement>& out) {
  render::TextLine message = render::layoutText(
      "Forecast unavailable", {.size = type::kCondition, .weight = FontWeight::heavy});
  DataAgeStamp stamp =
      dataAgeStamp(context.snapshot->updatedAt, context.timelineDate, context.zone);
  render::TextLine place =
      fittedText(context.snapshot->locationName,
                 {.size = type::kPlace, .weight = FontWeight::semibold}, content.width, 0.66);
  render::TextLine stampLine = render::layoutText(
      stamp.text, {.size = type::kStamp, .weight = FontWeight::semibold, .monospacedDigits = true});
  const double logoWidth = kUnavailableLogo * render::kPluvoLogoMarkAspect;
  const bool hasPlace = !context.snapshot->locationName.empty();
  double height = kUnavailableLogo + 8 + message.height() + 3 + (hasPlace ? place.height() : 0) +
                  1 + stampLine.height();
  double y = content.y + (content.height - height) / 2;

  PlacedElement mark;
  mark.role = ElementRole::brandMark;
  mark.kind = ElementKind::brandMark;
  mark.frame = {content.midX() - logoWidth / 2, y, logoWidth, kUnavailableLogo};
  mark.accessibilityLabel = std::string(render::kPluvoLogoMarkAccessibilityLabel);
  out.push_back(std::move(mark));
  y += kUnavailableLogo + 8;

  render::Point messageAt{content.midX() - message.width() / 2, y};
  PlacedElement text = textElement(ElementRole::unavailableMessage, std::move(message), messageAt,
                                   render::named::white.opacity(0.92));
  text.accessibilityLabel = text.text;
  y += text.frame.height + 3;
  out.push_back(std::move(text));

  if (hasPlace) {
    render::Point at{content.midX() - place.width() / 2, y};
    PlacedElement placeElement =
        textElement(ElementRole::place, std::move(place), at, render::palette::widgetSecondaryText);
    placeElement.accessibilityLabel = context.snapshot->locationName;
    y += placeElement.frame.height + 1;
    out.push_back(std::move(placeElement));
  }
  render::Point stampAt{content.midX() - stampLine.width() / 2, y};
  PlacedElement stampElement =
      textElement(ElementRole::dataAge, std::move(stampLine), stampAt, stamp.color);
  stampElement.accessibilityLabel = stamp.accessibilityLabel;
  out.push_back(std::move(stampElement));
}

}  // namespace pluvo::widgets
