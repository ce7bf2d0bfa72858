// The medium and large layouts, read from their placed elements: nothing overlaps or leaves the
// padded frame for any kind of snapshot, each kind shows its number of days, "now" sits only on
// today's row and inside the day, the data-age stamp turns at exactly 4 hours, and a snapshot
// without a usable day says "Forecast unavailable".
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

PluvoWidgetSnapshot build(std::string_view sample, int days, std::string unit = "F",
                          std::optional<std::vector<std::string>> metrics = std::nullopt,
                          Instant now = kRainyNow) {
  auto packet = model::decodeChartPacket(testing::readSample(sample));
  EXPECT_TRUE(packet) << (packet ? "" : packet.error().message);
  snapshot::BuildOptions options;
  options.dayCount = days;
  options.temperatureUnit = unit;
  options.selectedMetricKeys = std::move(metrics);
  return snapshot::makeWidgetSnapshot(*packet, options, now);
}

struct Fixture {
  std::string name;
  PluvoWidgetSnapshot snapshot;
  Instant now;
};

std::vector<Fixture> fixtures() {
  PluvoWidgetSnapshot empty = build("rainy-week.json", 5);
  empty.days.clear();
  PluvoWidgetSnapshot longName = build("rainy-week.json", 5);
  longName.locationName = "Llanfairpwllgwyngyllgogerychwyrndrobwllllantysiliogogogoch, Wales";
  return {
      {"placeholder", model::makePlaceholderSnapshot(kRainyNow, kChicago), kRainyNow},
      {"rainy F", build("rainy-week.json", 5), kRainyNow},
      {"rainy C with overlays",
       build("rainy-week.json", 5, "C",
             std::vector<std::string>{"precip", "temp", "wind", "humidity", "pressure", "dewpoint",
                                      "cloudcover", "tide", "solunar"}),
       kRainyNow},
      {"minimal", build("minimal.json", 2, "F", std::nullopt, testing::at("2026-11-21T18:00:00Z")),
       testing::at("2026-11-21T18:00:00Z")},
      {"one day", build("rainy-week.json", 1), kRainyNow},
      {"seven days", build("rainy-week.json", 7), kRainyNow},
      {"empty days", empty, kRainyNow},
      {"long place name", longName, kRainyNow},
  };
}

const std::vector<std::string_view> kKinds = {"PluvoTodayMediumWidget", "PluvoTwoDayMediumWidget",
                                              "PluvoThreeDayLargeWidget",
                                              "PluvoFiveDayLargeWidget"};

WidgetLayout layoutOf(std::string_view kind, const PluvoWidgetSnapshot& snapshot, Instant now,
                      std::optional<render::Size> size = std::nullopt) {
  const WidgetDescription* widget = findWidget(kind);
  render::Size s = size.value_or(familySize(widget->family));
  return layoutWidget(layoutFor(widget->family, widget->variant), snapshot, now, kChicago,
                      {0, 0, s.width, s.height});
}

std::string describe(const PlacedElement& e) {
  return std::string(elementRoleName(e.role)) + " \"" + e.text + "\" row " + std::to_string(e.row) +
         " at (" + std::to_string(e.frame.x) + ", " + std::to_string(e.frame.y) + ") " +
         std::to_string(e.frame.width) + "x" + std::to_string(e.frame.height);
}

TEST(Layouts, EveryFixtureAndKindKeepsItsElementsApartInsideThePaddingAndAligned) {
  for (const Fixture& f : fixtures()) {
    for (std::string_view kind : kKinds) {
      // The family's size, and the smaller one of a compact phone (medium 329x155, large 329x345).
      for (double shrink : {1.0, 329.0 / 364}) {
        render::Size size = familySize(findWidget(kind)->family);
        size = {std::round(size.width * shrink), std::round(size.height * shrink)};
        SCOPED_TRACE(f.name + " / " + std::string(kind) + " at " + std::to_string(size.width));
        WidgetLayout layout = layoutOf(kind, f.snapshot, f.now, size);
        ASSERT_FALSE(layout.elements.empty());
        std::vector<const PlacedElement*> marks, areas;
        for (const PlacedElement& e : layout.elements) {
          if (e.role == ElementRole::chartPlate || e.role == ElementRole::rowSeparator) {
            areas.push_back(&e);
          }
          EXPECT_TRUE(layout.content.inset(-0.01).contains(e.frame)) << describe(e);
          if (e.kind == ElementKind::text) {
            EXPECT_GE(e.style.font.size, type::kMinimum - 1e-9) << describe(e);
          }
          if (e.isTextOrSymbol()) marks.push_back(&e);
        }
        for (size_t i = 0; i < marks.size(); ++i) {
          for (size_t j = i + 1; j < marks.size(); ++j) {
            EXPECT_FALSE(rectsOverlap(marks[i]->frame, marks[j]->frame))
                << describe(*marks[i]) << " overlaps " << describe(*marks[j]);
          }
        }
        // Nor does any text or symbol reach into a chart or across a separator.
        for (const PlacedElement* mark : marks) {
          for (const PlacedElement* area : areas) {
            EXPECT_FALSE(rectsOverlap(mark->frame, area->frame))
                << describe(*mark) << " overlaps " << describe(*area);
          }
        }
        // The brand mark stays whole at the leading edge however long the place is.
        const PlacedElement* brand = layout.find(ElementRole::brandMark);
        ASSERT_NE(brand, nullptr);
        EXPECT_GE(brand->frame.width, 15 - 1e-9);

        // Every rainy hour has a bar of at least the minimum height inside its plate; dry hours
        // have none.
        for (const PlacedElement* plate : layout.findAll(ElementRole::chartPlate)) {
          size_t rainy = 0, bars = 0;
          int index = layout.kind == LayoutKind::mediumToday ? 0 : plate->row;
          // Every fixture is shown on its first day, so row i is day i.
          const auto& day = f.snapshot.days[static_cast<size_t>(index)];
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
  PluvoWidgetSnapshot seven = build("rainy-week.json", 7);
  PluvoWidgetSnapshot two = build("rainy-week.json", 2);
  PluvoWidgetSnapshot one = build("rainy-week.json", 1);
  struct Case {
    std::string_view kind;
    const PluvoWidgetSnapshot* snapshot;
    int rows;
    bool note;  // "No more days in this forecast"
  };
  for (Case c : {Case{"PluvoTodayMediumWidget", &seven, 1, false},
                 {"PluvoTwoDayMediumWidget", &seven, 2, false},
                 {"PluvoTwoDayMediumWidget", &one, 1, true},
                 {"PluvoThreeDayLargeWidget", &seven, 3, false},
                 {"PluvoThreeDayLargeWidget", &two, 2, true},
                 {"PluvoFiveDayLargeWidget", &seven, 5, false},
                 {"PluvoFiveDayLargeWidget", &two, 2, true}}) {
    SCOPED_TRACE(std::string(c.kind) + " from " + std::to_string(c.snapshot->days.size()) +
                 " days");
    WidgetLayout layout = layoutOf(c.kind, *c.snapshot, kRainyNow);
    EXPECT_EQ(layout.dayRows, c.rows);
    EXPECT_EQ(layout.find(ElementRole::emptyNote) != nullptr, c.note);
    if (layout.kind != LayoutKind::mediumToday) {
      EXPECT_EQ(layout.findAll(ElementRole::rowGroup).size(), static_cast<size_t>(c.rows));
      EXPECT_EQ(layout.findAll(ElementRole::chartPlate).size(), static_cast<size_t>(c.rows));
    }
  }

  // The 5-day kind drops days rather than squeeze rows below what their blocks need; its rows
  // are never taller than the 3-day kind's.
  WidgetLayout full = layoutOf("PluvoFiveDayLargeWidget", seven, kRainyNow);
  double legible = full.findAll(ElementRole::rowGroup).front()->frame.height;
  WidgetLayout shorter =
      layoutOf("PluvoFiveDayLargeWidget", seven, kRainyNow, render::Size{364, 250});
  EXPECT_LT(shorter.dayRows, 5);
  EXPECT_GE(shorter.dayRows, 1);
  EXPECT_GE(shorter.findAll(ElementRole::rowGroup).front()->frame.height, legible * 0.9);
  WidgetLayout threeDay = layoutOf("PluvoThreeDayLargeWidget", seven, kRainyNow);
  WidgetLayout fewDays = layoutOf("PluvoFiveDayLargeWidget", two, kRainyNow);
  EXPECT_LE(fewDays.findAll(ElementRole::rowGroup).front()->frame.height,
            threeDay.findAll(ElementRole::rowGroup).front()->frame.height + 1e-9);
}

TEST(Layouts, NowMarkerSitsOnlyOnTodaysRowAtTheEntryTime) {
  PluvoWidgetSnapshot rainy = build("rainy-week.json", 5);
  struct Case {
    std::string_view entry;
    int todayRow;       // -1: no marker anywhere
    double localHours;  // the entry's time of day in Galveston
    std::string_view firstLabel;
  };
  for (Case c : {Case{"2026-10-29T20:05:00Z", 0, 15 + 5.0 / 60, "TODAY"},
                 // 23:59 local is still the first day; one minute later the second day is today
                 // and the shown rows start there.
                 {"2026-10-30T04:59:00Z", 0, 23 + 59.0 / 60, "TODAY"},
                 {"2026-10-30T05:00:00Z", 0, 0, "TODAY"},
                 // The day before the snapshot's first day: no row is today.
                 {"2026-10-28T18:00:00Z", -1, 0, "TODAY"}}) {
    for (std::string_view kind : kKinds) {
      SCOPED_TRACE(std::string(c.entry) + " / " + std::string(kind));
      WidgetLayout layout = layoutOf(kind, rainy, testing::at(c.entry));
      auto markers = layout.findAll(ElementRole::nowMarker);
      if (c.todayRow < 0) {
        EXPECT_TRUE(markers.empty());
        continue;
      }
      ASSERT_FALSE(markers.empty());
      const PlacedElement* plate = nullptr;
      for (const PlacedElement* p : layout.findAll(ElementRole::chartPlate)) {
        if (p->row == c.todayRow) plate = p;
      }
      ASSERT_NE(plate, nullptr);
      for (const PlacedElement* m : markers) {
        EXPECT_EQ(m->row, c.todayRow);
        EXPECT_TRUE(plate->frame.contains(m->frame)) << describe(*m);
        double expected = plate->frame.x + c.localHours / 24 * plate->frame.width;
        EXPECT_NEAR(m->frame.midX(),
                    std::clamp(expected, plate->frame.minX() + 2.5, plate->frame.maxX() - 2.5),
                    0.05);
      }
      const PlacedElement* label = layout.find(ElementRole::dayLabel);
      if (label) {
        EXPECT_EQ(label->text, c.firstLabel);
      }
    }
  }
}

TEST(Layouts, DataAgeStampTurnsToTheWarningColourAtExactlyFourHours) {
  PluvoWidgetSnapshot rainy = build("rainy-week.json", 5);
  struct Case {
    double ageSeconds;
    bool stale;
    std::string_view text;
  };
  for (Case c : {Case{0, false, "as of 3:05p"},
                 {4 * 3600 - 1, false, "as of 3:05p"},
                 {4 * 3600, true, "as of 3:05p"},
                 {26 * 3600, true, "as of Thu 3:05p"},
                 {9 * 86400, true, "as of Oct 29"}}) {
    for (std::string_view kind : kKinds) {
      SCOPED_TRACE(std::to_string(c.ageSeconds) + " s / " + std::string(kind));
      PluvoWidgetSnapshot s = rainy;
      s.days.clear();  // the stamp shows on the unavailable face too
      for (const PluvoWidgetSnapshot* snapshot : {&rainy, &s}) {
        WidgetLayout layout = layoutOf(kind, *snapshot, rainy.updatedAt + c.ageSeconds);
        const PlacedElement* stamp = layout.find(ElementRole::dataAge);
        ASSERT_NE(stamp, nullptr);
        EXPECT_EQ(stamp->text, c.text);
        EXPECT_EQ(stamp->style.color,
                  c.stale ? tone::warning : render::palette::widgetSecondaryText);
        EXPECT_EQ(stamp->accessibilityLabel.find("over 4 hours old") != std::string::npos, c.stale);
      }
    }
  }
}

TEST(Layouts, ClockTextsUseTheTwelveHourClockOfThePlace) {
  EXPECT_EQ(clockText(testing::at("2026-10-29T05:00:00Z"), kChicago), "12:00a");
  EXPECT_EQ(clockText(testing::at("2026-10-29T17:30:00Z"), kChicago), "12:30p");
  EXPECT_EQ(clockText(testing::at("2026-10-29T16:59:00Z"), kChicago), "11:59a");
  EXPECT_EQ(clockText(testing::at("2026-10-29T20:05:00Z"), findTimeZone("Asia/Kolkata")), "1:35a");
}

TEST(Layouts, WithoutAUsableDayTheWidgetSaysForecastUnavailable) {
  PluvoWidgetSnapshot noDays = build("rainy-week.json", 5);
  noDays.days.clear();
  PluvoWidgetSnapshot rainy = build("rainy-week.json", 2);
  for (std::string_view kind : kKinds) {
    // No days at all, and days that have all gone by at the entry's date.
    for (auto [snapshot, now] :
         {std::pair{&noDays, kRainyNow}, std::pair{&rainy, testing::at("2026-11-03T18:00:00Z")}}) {
      SCOPED_TRACE(kind);
      WidgetLayout layout = layoutOf(kind, *snapshot, now);
      EXPECT_TRUE(layout.unavailable);
      EXPECT_EQ(layout.dayRows, 0);
      const PlacedElement* message = layout.find(ElementRole::unavailableMessage);
      ASSERT_NE(message, nullptr);
      EXPECT_EQ(message->text, "Forecast unavailable");
      EXPECT_NEAR(message->frame.midX(), layout.content.midX(), 0.01);
      const PlacedElement* brand = layout.find(ElementRole::brandMark);
      ASSERT_NE(brand, nullptr);
      EXPECT_NEAR(brand->frame.midX(), layout.content.midX(), 0.01);
      EXPECT_LT(brand->frame.maxY(), message->frame.minY());
      EXPECT_EQ(layout.find(ElementRole::chartPlate), nullptr);
      EXPECT_EQ(layout.accessibilityText(),
                "Pluvo, Forecast unavailable, Galveston, TX, " +
                    layout.find(ElementRole::dataAge)->accessibilityLabel);
    }
  }
  // The placeholder draws like any snapshot: its five days, not the unavailable face.
  WidgetLayout placeholder = layoutOf(
      "PluvoFiveDayLargeWidget", model::makePlaceholderSnapshot(kRainyNow, kChicago), kRainyNow);
  EXPECT_FALSE(placeholder.unavailable);
  EXPECT_EQ(placeholder.dayRows, 5);
}

}  // namespace
}  // namespace pluvo::widgets
