// The medium and large layouts, read from their placed elements: nothing overlaps or leaves the
// padded frame and every text reads at 4.5:1 for any kind of snapshot, each kind shows its number
// of days, "now" sits only on today's row and inside the day, the data-age stamp turns at exactly 4
// hours, and a snapshot without a usable day says "Forecast unavailable". Also the root view's
// dispatch of kinds.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "model/chart_packet.h"
#include "snapshot/builder.h"
#include "support/test_support.h"
#include "widgets/catalogue.h"
#include "widgets/hourly_chart.h"
#include "widgets/layout.h"
#include "widgets/widget_parts.h"
#include "widgets/widget_view.h"

namespace pluvo::widgets {
namespace {

using model::PluvoWidgetSnapshot;

const TimeZone kChicago = findTimeZone("America/Chicago");
// 3:05 p.m. in Galveston on the rainy week's first day.
const Instant kRainyNow = testing::at("2026-10-29T20:05:00Z");
const std::string_view kKinds[] = {"PluvoTodayMediumWidget", "PluvoTwoDayMediumWidget",
                                   "PluvoThreeDayLargeWidget", "PluvoFiveDayLargeWidget"};

PluvoWidgetSnapshot build(int days, std::string unit = "F",
                          std::optional<std::vector<std::string>> metrics = std::nullopt,
                          std::string_view sample = "rainy-week.json", Instant now = kRainyNow) {
  auto packet = model::decodeChartPacket(testing::readSample(sample));
  EXPECT_TRUE(packet) << (packet ? "" : packet.error().message);
  snapshot::BuildOptions options{.dayCount = days, .temperatureUnit = unit};
  options.selectedMetricKeys = std::move(metrics);
  return snapshot::makeWidgetSnapshot(*packet, options, now);
}

WidgetLayout layoutOf(std::string_view kind, const PluvoWidgetSnapshot& snapshot, Instant now,
                      std::optional<render::Size> size = std::nullopt) {
  const WidgetDescription* widget = findWidget(kind);
  render::Size s = size.value_or(familySize(widget->family));
  return layoutWidget(layoutFor(widget->family, widget->variant), snapshot, now, kChicago,
                      {0, 0, s.width, s.height});
}

std::string describe(const PlacedElement& e) {
  return std::string(elementRoleName(e.role)) + " \"" + e.text + "\" row " + std::to_string(e.row) +
         " at " + std::to_string(e.frame.x) + "," + std::to_string(e.frame.y) + " " +
         std::to_string(e.frame.width) + "x" + std::to_string(e.frame.height);
}

// WCAG's contrast ratio of `text` (with its opacity) over the opaque `background`.
double contrast(render::Color text, render::Color background) {
  auto linear = [](double c) {
    return c <= 0.04045 ? c / 12.92 : std::pow((c + 0.055) / 1.055, 2.4);
  };
  auto luminance = [&](double r, double g, double b) {
    return 0.2126 * linear(r) + 0.7152 * linear(g) + 0.0722 * linear(b);
  };
  auto over = [&](double t, double b) { return t * text.alpha + b * (1 - text.alpha); };
  double lt = luminance(over(text.red, background.red), over(text.green, background.green),
                        over(text.blue, background.blue));
  double lb = luminance(background.red, background.green, background.blue);
  return (std::max(lt, lb) + 0.05) / (std::min(lt, lb) + 0.05);
}

TEST(Layouts, EveryFixtureAndKindKeepsItsElementsApartInsideThePaddingAlignedAndReadable) {
  const Instant minimalNow = testing::at("2026-11-21T18:00:00Z");
  PluvoWidgetSnapshot empty = build(5), longName = build(5);
  empty.days.clear();
  longName.locationName = "Llanfairpwllgwyngyllgogerychwyrndrobwllllantysiliogogogoch, Wales";
  // A day of heavy rain from 10a to 11p, whose timing and amount are the longest texts of a row.
  PluvoWidgetSnapshot heavy = build(5), heavyC = build(5, "C");
  for (PluvoWidgetSnapshot* s : {&heavy, &heavyC}) {
    s->days[0].rainChance = 100;
    s->days[0].rainAmount = s == &heavy ? 1.25 : 0.39;  // 9.9mm
    for (auto& p : *s->days[0].hourlyPoints) p.rainAmount = p.hour >= 10 && p.hour <= 22 ? 0.1 : 0;
  }
  // No rain at all, with the daily blocks' colours (the H and L labels' secondary at 0.78, 0.76).
  PluvoWidgetSnapshot dry = build(5, "F", std::vector<std::string>{"temp", "wind", "humidity"});
  for (auto& day : dry.days) day.rainChance = 0, day.rainAmount = 0;
  const std::vector<std::string> overlays{"precip",   "temp",       "wind", "humidity", "pressure",
                                          "dewpoint", "cloudcover", "tide", "solunar"};
  const std::tuple<std::string, PluvoWidgetSnapshot, Instant> fixtures[] = {
      {"placeholder", model::makePlaceholderSnapshot(kRainyNow, kChicago), kRainyNow},
      {"rainy F", build(5), kRainyNow},
      {"rainy F, stamped 5 h old", build(5), kRainyNow + 5 * 3600},
      {"dry with blocks", dry, kRainyNow},
      {"rainy C with overlays", build(5, "C", overlays), kRainyNow},
      {"minimal", build(2, "F", std::nullopt, "minimal.json", minimalNow), minimalNow},
      {"one day", build(1), kRainyNow},
      {"empty days", empty, kRainyNow},
      {"long place name", longName, kRainyNow},
      {"heavy rain", heavy, kRainyNow},
      {"heavy rain C", heavyC, kRainyNow},
  };
  for (const auto& [name, snapshot, now] : fixtures) {
    for (std::string_view kind : kKinds) {
      // The family's size, and the smaller one of a compact phone (medium 329x155, large 329x345).
      for (double shrink : {1.0, 329.0 / 364}) {
        render::Size size = familySize(findWidget(kind)->family);
        size = {std::round(size.width * shrink), std::round(size.height * shrink)};
        SCOPED_TRACE(name + " / " + std::string(kind) + " at " + std::to_string(size.width));
        WidgetLayout layout = layoutOf(kind, snapshot, now, size);
        ASSERT_FALSE(layout.elements.empty());
        std::vector<const PlacedElement*> marks, areas;
        for (const PlacedElement& e : layout.elements) {
          EXPECT_TRUE(layout.content.inset(-0.01).contains(e.frame)) << describe(e);
          // Nothing under the type scale's minimum but the 7-point "H" and "L" of compact rows.
          bool label = e.role == ElementRole::highLabel || e.role == ElementRole::lowLabel;
          if (e.kind == ElementKind::text) {
            EXPECT_GE(e.style.font.size, (label ? 7 : type::kMinimum) - 1e-9) << describe(e);
            // Small text needs 4.5:1 (WCAG AA) against the navy it stands on.
            EXPECT_GE(contrast(e.style.color, render::palette::widgetBackground), 4.5)
                << describe(e);
          }
          // A time range is shown whole or not at all.
          if (e.role == ElementRole::rainDetail) {
            EXPECT_EQ(e.text.find("\u2026"), std::string::npos) << describe(e);
          }
          if (e.isTextOrSymbol()) marks.push_back(&e);
          if (e.role == ElementRole::chartPlate || e.role == ElementRole::rowSeparator) {
            areas.push_back(&e);
          }
        }
        // No text or symbol meets another, reaches into a chart or crosses a separator.
        for (size_t i = 0; i < marks.size(); ++i) {
          for (size_t j = i + 1; j < marks.size(); ++j) {
            EXPECT_FALSE(rectsOverlap(marks[i]->frame, marks[j]->frame))
                << describe(*marks[i]) << " overlaps " << describe(*marks[j]);
          }
          for (const PlacedElement* area : areas) {
            EXPECT_FALSE(rectsOverlap(marks[i]->frame, area->frame))
                << describe(*marks[i]) << " overlaps " << describe(*area);
          }
        }
        // The brand mark stays whole at the leading edge however long the place is.
        ASSERT_NE(layout.find(ElementRole::brandMark), nullptr);
        EXPECT_GE(layout.find(ElementRole::brandMark)->frame.width, 15 - 1e-9);

        // Every rainy hour has a bar of at least the minimum height inside its plate; dry hours
        // have none. Every fixture is shown on its first day, so row i is day i.
        for (const PlacedElement* plate : layout.findAll(ElementRole::chartPlate)) {
          size_t rainy = 0, bars = 0;
          const auto& day = snapshot.days[layout.kind == LayoutKind::mediumToday ? 0 : plate->row];
          for (const auto& p : day.hourlyPoints.value()) rainy += p.rainAmount > 0;
          for (const PlacedElement* bar : layout.findAll(ElementRole::chartRainBar)) {
            if (bar->row != plate->row) continue;
            ++bars;
            EXPECT_GE(bar->frame.height, kMinimumRainBarHeight - 1e-9) << describe(*bar);
            EXPECT_TRUE(plate->frame.inset(-1e-6).contains(bar->frame)) << describe(*bar);
          }
          EXPECT_EQ(bars, rainy) << "row " << plate->row;
        }

        // Rows of one height, and each number column right-aligned from row to row.
        auto rows = layout.findAll(ElementRole::rowGroup);
        for (const PlacedElement* row : rows) {
          EXPECT_NEAR(row->frame.height, rows.front()->frame.height, 1e-9);
        }
        if (layout.kind == LayoutKind::mediumToday) continue;
        for (ElementRole role : {ElementRole::high, ElementRole::low, ElementRole::windSpeed,
                                 ElementRole::rainChance, ElementRole::rainAmount}) {
          auto column = layout.findAll(role);
          ASSERT_EQ(column.size(), rows.size()) << elementRoleName(role);
          for (const PlacedElement* e : column) {
            EXPECT_NEAR(e->frame.maxX(), column.front()->frame.maxX(), 1e-6) << describe(*e);
          }
        }
      }
    }
  }
}

TEST(Layouts, EachKindShowsItsNumberOfDays) {
  PluvoWidgetSnapshot seven = build(7), two = build(2), one = build(1);
  const PluvoWidgetSnapshot placeholder = model::makePlaceholderSnapshot(kRainyNow, kChicago);
  struct Case {
    std::string_view kind;
    const PluvoWidgetSnapshot* snapshot;
    int rows;
    bool note;  // "No more days in this forecast"
  };
  for (Case c :
       {Case{"PluvoTodayMediumWidget", &seven, 1, false},
        {"PluvoTwoDayMediumWidget", &seven, 2, false},
        {"PluvoTwoDayMediumWidget", &one, 1, true},
        {"PluvoThreeDayLargeWidget", &seven, 3, false},
        {"PluvoThreeDayLargeWidget", &two, 2, true},
        {"PluvoFiveDayLargeWidget", &seven, 5, false},
        {"PluvoFiveDayLargeWidget", &two, 2, true},
        // The placeholder draws like any snapshot: its five days, not the unavailable face.
        {"PluvoFiveDayLargeWidget", &placeholder, 5, false}}) {
    SCOPED_TRACE(std::string(c.kind) + " from " + std::to_string(c.snapshot->days.size()));
    WidgetLayout layout = layoutOf(c.kind, *c.snapshot, kRainyNow);
    EXPECT_EQ(layout.dayRows, c.rows);
    EXPECT_FALSE(layout.unavailable);
    EXPECT_EQ(layout.find(ElementRole::emptyNote) != nullptr, c.note);
    if (layout.kind != LayoutKind::mediumToday) {
      EXPECT_EQ(layout.findAll(ElementRole::rowGroup).size(), static_cast<size_t>(c.rows));
      EXPECT_EQ(layout.findAll(ElementRole::chartPlate).size(), static_cast<size_t>(c.rows));
      // Fewer days leave slots empty; the rows keep the height they have with every day.
      WidgetLayout full = layoutOf(c.kind, seven, kRainyNow);
      EXPECT_NEAR(layout.find(ElementRole::chartPlate)->frame.height,
                  full.find(ElementRole::chartPlate)->frame.height, 1e-9);
    }
  }
  // A family the phone might add falls through to the large layout.
  EXPECT_EQ(layoutFor(WidgetFamily::systemExtraLarge, PluvoWidgetVariant::mediumToday),
            layoutFor(WidgetFamily::systemLarge, PluvoWidgetVariant::standard));

  // The 5-day kind drops days rather than squeeze rows below what their blocks need; its rows
  // are never taller than the 3-day kind's.
  auto rowHeight = [](const WidgetLayout& l) {
    return l.findAll(ElementRole::rowGroup).front()->frame.height;
  };
  WidgetLayout shorter = layoutOf("PluvoFiveDayLargeWidget", seven, kRainyNow, {{364, 250}});
  EXPECT_LT(shorter.dayRows, 5);
  EXPECT_GE(shorter.dayRows, 1);
  EXPECT_GE(rowHeight(shorter),
            rowHeight(layoutOf("PluvoFiveDayLargeWidget", seven, kRainyNow)) * 0.9);
  EXPECT_LE(rowHeight(layoutOf("PluvoFiveDayLargeWidget", two, kRainyNow)),
            rowHeight(layoutOf("PluvoThreeDayLargeWidget", seven, kRainyNow)) + 1e-9);
}

TEST(Layouts, NowMarkerSitsOnlyOnTodaysRowAtTheEntryTime) {
  PluvoWidgetSnapshot rainy = build(5);
  // The entry, and its time of day in Galveston; -1: no row is today (the day before the
  // snapshot's first). 23:59 local is still the first day; one minute later the second day is
  // today and the shown rows start there.
  for (auto [entry, localHours] : {std::pair{"2026-10-29T20:05:00Z", 15 + 5.0 / 60},
                                   {"2026-10-30T04:59:00Z", 23 + 59.0 / 60},
                                   {"2026-10-30T05:00:00Z", 0.0},
                                   {"2026-10-28T18:00:00Z", -1.0}}) {
    for (std::string_view kind : kKinds) {
      SCOPED_TRACE(std::string(entry) + " / " + std::string(kind));
      WidgetLayout layout = layoutOf(kind, rainy, testing::at(entry));
      auto markers = layout.findAll(ElementRole::nowMarker);
      if (localHours < 0) {
        EXPECT_TRUE(markers.empty());
        continue;
      }
      ASSERT_FALSE(markers.empty());
      const PlacedElement* plate = layout.find(ElementRole::chartPlate);
      ASSERT_EQ(plate->row, 0);
      for (const PlacedElement* m : markers) {
        EXPECT_EQ(m->row, 0);
        EXPECT_TRUE(plate->frame.contains(m->frame)) << describe(*m);
        double expected = plate->frame.x + localHours / 24 * plate->frame.width;
        EXPECT_NEAR(m->frame.midX(),
                    std::clamp(expected, plate->frame.minX() + 2.5, plate->frame.maxX() - 2.5),
                    0.05);
      }
      if (const PlacedElement* label = layout.find(ElementRole::dayLabel)) {
        EXPECT_EQ(label->text, "TODAY");
      }
    }
  }
}

// The stamp shows on the day rows and on the face without a usable day: no days at all, or days
// that have all gone by at the entry's date (nine days on).
TEST(Layouts, DataAgeStampTurnsAtExactlyFourHoursAndWithoutAUsableDayTheWidgetSaysSo) {
  PluvoWidgetSnapshot rainy = build(5), noDays = rainy;
  noDays.days.clear();
  struct Case {
    double ageSeconds;
    bool stale, daysGone;
    std::string_view text;
  };
  for (Case c : {Case{0, false, false, "as of 3:05p"},
                 {4 * 3600 - 1, false, false, "as of 3:05p"},
                 {4 * 3600, true, false, "as of 3:05p"},
                 {26 * 3600, true, false, "as of Thu 3:05p"},
                 {9 * 86400, true, true, "as of Oct 29"}}) {
    for (std::string_view kind : kKinds) {
      for (const PluvoWidgetSnapshot* snapshot : {&rainy, &noDays}) {
        SCOPED_TRACE(std::to_string(c.ageSeconds) + " s / " + std::string(kind) + " / " +
                     std::to_string(snapshot->days.size()) + " days");
        WidgetLayout layout = layoutOf(kind, *snapshot, rainy.updatedAt + c.ageSeconds);
        const PlacedElement* stamp = layout.find(ElementRole::dataAge);
        ASSERT_NE(stamp, nullptr);
        EXPECT_EQ(stamp->text, c.text);
        EXPECT_EQ(stamp->style.color,
                  c.stale ? tone::warning : render::palette::widgetSecondaryText);
        EXPECT_EQ(stamp->accessibilityLabel.find("over 4 hours old") != std::string::npos, c.stale);

        EXPECT_EQ(layout.unavailable, c.daysGone || snapshot == &noDays);
        if (!layout.unavailable) continue;
        EXPECT_EQ(layout.dayRows, 0);
        EXPECT_EQ(layout.find(ElementRole::chartPlate), nullptr);
        const PlacedElement* message = layout.find(ElementRole::unavailableMessage);
        const PlacedElement* brand = layout.find(ElementRole::brandMark);
        ASSERT_TRUE(message && brand);
        EXPECT_EQ(message->text, "Forecast unavailable");
        // The mark centred above the message.
        EXPECT_NEAR(message->frame.midX(), layout.content.midX(), 0.01);
        EXPECT_NEAR(brand->frame.midX(), layout.content.midX(), 0.01);
        EXPECT_LT(brand->frame.maxY(), message->frame.minY());
        EXPECT_EQ(layout.accessibilityText(),
                  "Pluvo, Forecast unavailable, Galveston, TX, " + stamp->accessibilityLabel);
      }
    }
  }
  // The clock is the place's twelve-hour one.
  EXPECT_EQ(clockText(testing::at("2026-10-29T05:00:00Z"), kChicago), "12:00a");
  EXPECT_EQ(clockText(testing::at("2026-10-29T17:30:00Z"), kChicago), "12:30p");
  EXPECT_EQ(clockText(testing::at("2026-10-29T16:59:00Z"), kChicago), "11:59a");
  EXPECT_EQ(clockText(kRainyNow, findTimeZone("Asia/Kolkata")), "1:35a");
}

TEST(Catalogue, OnlyExactKindsAreDrawn) {
  EXPECT_EQ(findWidget("pluvocurrentsmallwidget"), nullptr);
  auto image = renderWidget("PluvoHugeWidget", model::PluvoWidgetSnapshot{}, Instant{}, {});
  ASSERT_FALSE(image);
  EXPECT_EQ(image.error().message,
            "unknown widget kind \"PluvoHugeWidget\"; use one of PluvoCurrentSmallWidget, "
            "PluvoTodayMediumWidget, PluvoTwoDayMediumWidget, PluvoThreeDayLargeWidget, "
            "PluvoFiveDayLargeWidget");
}

}  // namespace
}  // namespace pluvo::widgets
