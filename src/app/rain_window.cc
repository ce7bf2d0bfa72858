#include "app/rain_window.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <numeric>
#include <random>
#include <system_error>
#include <vector>

namespace pluvo::app {

namespace fs = std::filesystem;

namespace {

struct Interval {
  Instant start;
  Instant end;
  double amount = 0;
  double chance = 0;
  double hourOfDay = 0;  // local, fractional: 14.25 is 2:15 PM
};

// "2026-11-21T14:15:00-06:00": the instant and the local hour of day it names.
std::optional<std::pair<Instant, double>> readStamp(const std::string& iso) {
  auto instant = parseIso8601(iso);
  if (!instant || iso.size() < 16) return std::nullopt;
  int hour = 0, minute = 0;
  if (std::sscanf(iso.c_str() + 11, "%2d:%2d", &hour, &minute) != 2) return std::nullopt;
  return std::pair{*instant, hour + minute / 60.0};
}

std::optional<Interval> intervalOf(const std::string& startISO, const std::string& endISO,
                                   double amount, double chance) {
  auto start = readStamp(startISO);
  auto end = parseIso8601(endISO);
  if (!start || !end || !(*end > start->first)) return std::nullopt;
  return Interval{start->first, *end, amount, chance, start->second};
}

double roundInches(double inches) { return std::round(inches * 1000) / 1000; }

std::string newActivityId() {
  std::random_device device;
  std::uniform_int_distribution<unsigned> hex(0, 15);
  std::string id = "xxxxxxxx-xxxx-4xxx-yxxx-xxxxxxxxxxxx";
  for (char& c : id) {
    if (c == 'x' || c == 'y') {
      unsigned v = hex(device);
      if (c == 'y') v = 8 + (v & 3);
      c = "0123456789ABCDEF"[v];
    }
  }
  return id;
}

Expected<void> removeIfThere(const fs::path& path) {
  std::error_code error;
  fs::remove(path, error);
  if (error) return fail("cannot remove " + path.string() + ": " + error.message());
  return {};
}

// The app's one rain window activity file; other files of the folder are not the app's.
std::optional<fs::path> rainWindowFile(platform::Environment& env) {
  auto container = env.appGroupContainer();
  if (!container) return std::nullopt;
  return *container / kLiveActivitiesFolder / kRainWindowFileName;
}

std::optional<activity::ActivityFile> readRainWindow(platform::Environment& env,
                                                     const fs::path& path) {
  std::error_code error;
  if (!fs::exists(path, error)) return std::nullopt;
  auto bytes = env.readFile(path);
  if (!bytes) return std::nullopt;
  auto file = activity::decodeActivityFile(*bytes);
  if (!file) return std::nullopt;
  return *file;
}

}  // namespace

std::string locationKey(double latitude, double longitude) {
  char key[64];
  std::snprintf(key, sizeof key, "%.4f,%.4f", latitude, longitude);
  return key;
}

std::optional<activity::ContentState> rainWindowState(const model::ChartPacket& packet,
                                                      Instant now) {
  std::vector<Interval> hours;
  std::vector<const model::ChartHour*> sources;
  for (const model::ChartHour& hour : packet.hours) {
    auto interval =
        intervalOf(hour.startISO, hour.endISO, hour.values.precipAmount, hour.values.precipProb);
    if (!interval) continue;
    hours.push_back(*interval);
    sources.push_back(&hour);
  }
  auto wet = [&](std::size_t i) {
    return hours[i].amount >= kWetHourInches && hours[i].chance >= kWetHourChance;
  };
  // Runs of wet hours, joined across single dry hours.
  for (std::size_t i = 0; i < hours.size(); ++i) {
    if (!wet(i)) continue;
    std::size_t last = i;
    for (std::size_t j = i + 1; j < hours.size() && j <= last + 2; ++j) {
      if (wet(j)) last = j;
    }
    const Instant windowStart = hours[i].start, windowEnd = hours[last].end;
    if (windowEnd - now <= -kLingerSeconds) {
      i = last;
      continue;
    }
    if (windowStart - now > kLookAheadSeconds) return std::nullopt;

    activity::ContentState state;
    state.windowStart = windowStart;
    state.windowEnd = windowEnd;
    state.locationName = packet.location.name;
    state.timeZoneIdentifier = packet.location.timezone;
    bool thunder = false;
    for (std::size_t k = i; k <= last; ++k) {
      state.peakHourlyInches = std::max(state.peakHourlyInches, hours[k].amount);
      if (sources[k]->icon && sources[k]->icon->find("thunder") != std::string::npos) {
        thunder = true;
      }
    }
    state.intensityLabel = thunder                         ? "Storm"
                           : state.peakHourlyInches < 0.10 ? "Light rain"
                           : state.peakHourlyInches < 0.30 ? "Steady rain"
                                                           : "Downpour";
    // The window's points: quarter hours where the packet has them for the whole window.
    std::vector<Interval> points;
    if (packet.minutely15) {
      for (const model::ChartMinutelyPoint& p : *packet.minutely15) {
        auto interval =
            intervalOf(p.startISO, p.endISO, p.values.precipAmount, p.values.precipProb);
        if (interval && interval->start >= windowStart && interval->end <= windowEnd) {
          points.push_back(*interval);
        }
      }
      const double covered =
          std::accumulate(points.begin(), points.end(), 0.0,
                          [](double sum, const Interval& p) { return sum + (p.end - p.start); });
      if (std::abs(covered - (windowEnd - windowStart)) > 1) points.clear();
    }
    if (points.empty())
      points.assign(hours.begin() + static_cast<std::ptrdiff_t>(i),
                    hours.begin() + static_cast<std::ptrdiff_t>(last) + 1);
    for (const Interval& p : points) {
      (p.end <= now ? state.observedInches : state.forecastInches) += p.amount;
      state.hours.push_back({.hour = p.hourOfDay,
                             .start = p.start,
                             .precipAmount = p.amount,
                             .precipProb = p.chance});
    }
    state.observedInches = roundInches(state.observedInches);
    state.forecastInches = roundInches(state.forecastInches);
    state.totalInches = roundInches(state.observedInches + state.forecastInches);
    return state;
  }
  return std::nullopt;
}

Expected<RainWindowChange> syncRainWindow(platform::Environment& env,
                                          const model::ChartPacket& packet, Instant now) {
  auto path = rainWindowFile(env);
  if (!path) return fail("the app group container is unavailable");
  const std::string key = locationKey(packet.location.latitude, packet.location.longitude);
  std::optional<activity::ContentState> state = rainWindowState(packet, now);
  std::optional<activity::ActivityFile> running = readRainWindow(env, *path);
  if (!state) {
    if (!running) return RainWindowChange::none;
    if (auto removed = removeIfThere(*path); !removed) return std::unexpected(removed.error());
    return RainWindowChange::ended;
  }
  // The same place's window goes on as the same activity; another place's is a new one.
  const bool goesOn = running && running->attributes.locationKey == key;
  activity::ActivityFile file{
      .id = goesOn ? running->id : newActivityId(),
      .attributes = {.locationName = packet.location.name, .locationKey = key},
      .state = std::move(*state)};
  if (goesOn && *running == file) return RainWindowChange::none;
  auto bytes = activity::encodeActivityFile(file);
  if (!bytes) return std::unexpected(bytes.error());
  if (auto written = env.writeFileAtomically(*path, *bytes); !written) {
    return std::unexpected(written.error());
  }
  return goesOn ? RainWindowChange::updated : RainWindowChange::started;
}

Expected<bool> endFinishedRainWindow(platform::Environment& env, Instant now) {
  auto path = rainWindowFile(env);
  if (!path) return false;
  auto running = readRainWindow(env, *path);
  if (!running || now - running->state.windowEnd < kLingerSeconds) return false;
  if (auto removed = removeIfThere(*path); !removed) return std::unexpected(removed.error());
  return true;
}

}  // namespace pluvo::app
