// The app's rain window rule: from a chart packet, whether a rain window Live Activity should be
// running now, and with what state; and the activity files the app keeps for it.
//
// A window is a run of hours with at least 0.01 in of rain at a chance of at least 40 %; one dry
// hour inside a run does not split it. The window shown is the first one that is under way or
// starts within the next 3 hours, and it stays shown until 30 minutes after it ends. Its points
// are the packet's 15-minute ones where they cover the window, else its hours; what has fallen
// is the points that have ended (`observedInches`), the rest is forecast. The intensity reads
// "Storm" when an hour of the window is a thunderstorm, else by the wettest hour: "Light rain"
// under 0.10 in, "Steady rain" under 0.30 in, "Downpour" from 0.30 in.
//
// The app keeps one activity file per running activity in "<container>/LiveActivities/"
// ("<id>.json", replaced atomically), which the widget host draws. `syncRainWindow` starts,
// updates or ends the file for the packet's place; `endRainWindows` ends every activity (the
// place changed) and `endFinishedRainWindows` those whose window ended 30 minutes ago.
//
//   if (auto state = rainWindowState(packet, now)) ... state->intensityLabel ...
//   syncRainWindow(env, packet, now);  // after every successful fetch
//
// Units: inches, percent, instants. Thread safety: pure functions, and file calls through the
// environment (safe from any thread; the last writer wins).
#pragma once

#include <optional>
#include <string>

#include "activity/rain_window.h"
#include "base/instant.h"
#include "model/chart_packet.h"
#include "platform/environment.h"

namespace pluvo::app {

inline constexpr double kWetHourInches = 0.01;
inline constexpr double kWetHourChance = 40;
inline constexpr double kLookAheadSeconds = 3 * 3600;
inline constexpr double kLingerSeconds = 30 * 60;
inline constexpr std::string_view kLiveActivitiesFolder = "LiveActivities";

// The state of the window to show at `now`, or nullopt when none is due.
std::optional<activity::ContentState> rainWindowState(const model::ChartPacket& packet,
                                                      Instant now);

// "47.6062,-122.3321": the activity's stable key for a place.
std::string locationKey(double latitude, double longitude);

// What `syncRainWindow` did, for a confirmation line.
enum class RainWindowChange { none, started, updated, ended };

// Starts, updates or ends the packet place's activity file; other places' activities are ended.
// An error names the file that could not be written or removed.
Expected<RainWindowChange> syncRainWindow(platform::Environment& env,
                                          const model::ChartPacket& packet, Instant now);
// Removes every activity file; the number removed.
Expected<int> endRainWindows(platform::Environment& env);
// Removes the activity files whose window ended at least 30 minutes before `now`.
Expected<int> endFinishedRainWindows(platform::Environment& env, Instant now);

}  // namespace pluvo::app
