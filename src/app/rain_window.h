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
// The app runs at most one rain window activity: "<container>/LiveActivities/rain-window.json"
// (replaced atomically), which the widget host draws like any activity file. `syncRainWindow`
// starts, updates or ends it from a packet (a place set elsewhere ends the old place's window at
// once: it is replaced, or removed when the new place is dry); `endFinishedRainWindow` ends it
// once its window has been over for 30 minutes, between fetches. Other files in
// the folder are not the app's and are left alone.
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
inline constexpr std::string_view kRainWindowFileName = "rain-window.json";

// The state of the window to show at `now`, or nullopt when none is due.
std::optional<activity::ContentState> rainWindowState(const model::ChartPacket& packet,
                                                      Instant now);

// "47.6062,-122.3321": the activity's stable key for a place.
std::string locationKey(double latitude, double longitude);

// What `syncRainWindow` did, for a confirmation line.
enum class RainWindowChange { none, started, updated, ended };

// Starts, updates or ends the rain window activity for the packet's place (a window at another
// place than the running one's is a new activity). An error names the file that could not be
// written or removed.
Expected<RainWindowChange> syncRainWindow(platform::Environment& env,
                                          const model::ChartPacket& packet, Instant now);
// Ends it when its window ended at least 30 minutes before `now`; whether it did.
Expected<bool> endFinishedRainWindow(platform::Environment& env, Instant now);

}  // namespace pluvo::app
