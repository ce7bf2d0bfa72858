// The demo: what a newcomer sees first. It reads the bundled rainy-week sample the way the
// widget extension reads a service answer, and prints what the widgets would show.
#include <algorithm>
#include <cstdio>
#include <iostream>

#include "commands.h"
#include "model/chart_packet.h"
#include "model/widget_snapshot.h"

namespace pluvo::cli {

namespace {

// "80°/71°", padded to a column: the degree signs are two bytes each, the same in every row.
std::string temperatures(double high, double low) {
  char text[32];
  std::snprintf(text, sizeof text, "%.0f°/%.0f°", high, low);
  std::string padded = text;
  padded.resize(std::max<size_t>(padded.size(), 11), ' ');
  return padded;
}

void printDays(const model::PluvoWidgetSnapshot& snapshot) {
  for (const auto& day : snapshot.days) {
    std::printf("  %-5s %3s  %-16s %s %3.0f%%  %s\n", day.day.c_str(), day.dateLabel.c_str(),
                day.condition.value_or("").c_str(), temperatures(day.high, day.low).c_str(),
                day.rainChance, day.rainDetail.c_str());
  }
}

}  // namespace

int demo(const CommandContext& context, const std::string& samplesDir) {
  const std::string path = samplesDir + "/rainy-week.json";
  auto bytes = readInputFile(path);
  if (!bytes) return 1;
  auto packet = model::decodeChartPacket(*bytes);
  if (!packet) {
    std::cerr << "pluvo-widget: " << path << " is not a chart packet: " << packet.error().message
              << '\n';
    return 1;
  }
  std::printf("Forecast packet %s\n", path.c_str());
  std::printf("  %s (%s), generated %s: %zu days, %zu hours, %zu 15-minute steps, %zu radar "
              "frames, %zu alerts\n",
              packet->location.name.c_str(), packet->location.timezone.value_or("no zone").c_str(),
              packet->generatedAt.c_str(), packet->days.size(), packet->hours.size(),
              packet->minutely15 ? packet->minutely15->size() : 0,
              packet->radar ? packet->radar->frames.size() : 0,
              packet->alerts ? packet->alerts->size() : 0);
  for (const auto& day : packet->days) {
    std::printf("  %-4s %s  %-16s %s %3.0f%%  %.2f\"\n", day.day.c_str(), day.fullDate.c_str(),
                day.condition.value_or("").c_str(), temperatures(day.high, day.low).c_str(),
                day.precipProb, day.precipAmount);
  }

  auto placeholder = model::makePlaceholderSnapshot(context.now, context.deviceZone);
  std::printf("\nPlaceholder snapshot at %s (%s): %s\n", formatIso8601(context.now).c_str(),
              std::string(context.deviceZone->name()).c_str(), placeholder.locationName.c_str());
  printDays(placeholder);
  return 0;
}

}  // namespace pluvo::cli
