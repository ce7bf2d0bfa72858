// `status [--format text|waybar|json]`: the current entry in one line, for a panel (waybar,
// polybar, i3blocks, xfce's generic monitor) or for asking "will it rain" in a terminal.
//
// It reads the storage only (the stored snapshot, else the main app's forecast cache) and never
// waits on the network, so a panel can run it every minute; the host or `refresh` keeps the data
// current. Data that the widgets would refresh (4 h old, or not covering today) is "stale".
#include <algorithm>
#include <cmath>
#include <string>

#include "base/calendar.h"
#include "command_registry.h"
#include "commands.h"
#include "model/json_writer.h"
#include "snapshot/builder.h"
#include "widgets/day_texts.h"

namespace pluvo::cli {

namespace {

struct Status {
  std::string text;       // "Seattle 48° · rain 2p-6p 0.41" · 80%"
  std::string tooltip;    // one line per day
  std::string className;  // rain, dry or stale
  long percentage = 0;    // today's chance of rain
};

std::string dayLine(const model::PluvoWidgetDay& day, bool metric) {
  widgets::WidgetRainSummary summary = widgets::makeRainSummary(&day, metric);
  std::string line = day.day + "  " + widgets::temperatureWithDegreeText(day.high, metric) + "/" +
                     widgets::temperatureWithDegreeText(day.low, metric) + "  rain " +
                     summary.chanceText;
  if (summary.hasUsefulRain) line += " · " + summary.amountText + " · " + summary.detailText;
  return line;
}

std::string ageText(double seconds) {
  const long hours = std::lround(std::max(seconds, 0.0) / 3600);
  return hours < 48 ? std::to_string(hours) + " h old" : std::to_string(hours / 24) + " days old";
}

// `now` picks today's day (by its date in the place's zone); past days are left out of the
// tooltip, as the widgets leave them out.
Status makeStatus(const model::PluvoWidgetSnapshot& shown, Instant now, TimeZone deviceZone,
                  bool stale) {
  const bool metric = shown.usesMetricUnits();
  const std::string todayKey = dayKey(now, shown.resolvedTimeZone(deviceZone));
  auto today =
      std::find_if(shown.days.begin(), shown.days.end(),
                   [&](const model::PluvoWidgetDay& day) { return day.fullDate == todayKey; });
  Status status;
  status.text = shown.locationName.empty() ? "Pluvo" : shown.locationName;
  if (today == shown.days.end()) {
    // Nothing for today: an old forecast's "today" would answer the wrong day.
    status.text += " · no forecast for today · " + ageText(now - shown.updatedAt);
    status.tooltip = "The stored forecast does not reach today: is the widget host running?";
    status.className = "stale";
    return status;
  }
  widgets::WidgetRainSummary summary = widgets::makeRainSummary(&*today, metric);
  status.text += " " + widgets::temperatureWithDegreeText(shown.current.temperature, metric);
  status.text += summary.hasUsefulRain ? " · rain " + summary.detailText + " " + summary.amountText
                                       : std::string(" · dry");
  status.text += " · " + summary.chanceText;
  if (stale) status.text += " · " + ageText(now - shown.updatedAt);
  for (auto day = today; day != shown.days.end(); ++day) {
    if (!status.tooltip.empty()) status.tooltip += '\n';
    status.tooltip += dayLine(*day, metric);
  }
  status.className = stale ? "stale" : summary.hasUsefulRain ? "rain" : "dry";
  status.percentage = std::lround(std::clamp(today->rainChance, 0.0, 100.0));
  return status;
}

}  // namespace

int status(const CommandContext& context, const StatusArguments& arguments) {
  if (arguments.format != "text" && arguments.format != "waybar" && arguments.format != "json") {
    reportError("unknown --format \"" + arguments.format + "\"; use text, waybar or json");
    return 2;
  }
  std::optional<timeline::ResolvedSnapshot> resolved = storedSnapshot(context);
  Status status;
  std::optional<model::PluvoWidgetSnapshot> shown;
  if (!resolved) {
    status = {.text = "Pluvo: no forecast yet",
              .tooltip =
                  "Nothing is stored yet: start the host (systemctl --user start "
                  "pluvo-widget-host) or run pluvo-widget refresh",
              .className = "stale"};
  } else {
    shown = snapshot::displaySnapshot(resolved->snapshot, context.now, context.deviceZone);
    const bool stale =
        timeline::needsNetworkRefresh(resolved->snapshot, context.now, context.deviceZone);
    status = makeStatus(*shown, context.now, context.deviceZone, stale);
  }

  if (arguments.format == "text") return writeOutput(context, status.text) ? 0 : 1;
  std::string out = "{\"text\":";
  model::appendJsonString(out, status.text);
  out += ",\"tooltip\":";
  model::appendJsonString(out, status.tooltip);
  out += ",\"class\":";
  model::appendJsonString(out, status.className);
  out += ",\"percentage\":" + std::to_string(status.percentage);
  if (arguments.format == "json") {
    out += ",\"source\":";
    model::appendJsonString(
        out, resolved ? timeline::sourceName(resolved->source) : std::string_view("none"));
    if (shown) {
      auto json = model::encodeWidgetSnapshot(*shown);
      if (!json) return reportError("cannot encode the snapshot: " + json.error().message);
      out += ",\"entry\":{\"date\":";
      model::appendJsonString(out, formatIso8601(context.now));
      out += ",\"snapshot\":" + *json + "}";
    }
  }
  out += "}";
  return writeOutput(context, out) ? 0 : 1;
}

namespace {

StatusArguments statusArguments;
const bool registered = registerCommand(
    {.path = "status",
     .help = "Print the current forecast in one line, for a panel; reads the storage only",
     .example = "pluvo-widget status --format waybar",
     .options = {{"--format",
                  "text, waybar (JSON) or json",
                  &statusArguments.format,
                  {.showDefault = true}}},
     .run = [](const CommandContext& c) { return status(c, statusArguments); }});

}  // namespace

}  // namespace pluvo::cli
