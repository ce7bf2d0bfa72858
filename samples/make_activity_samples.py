#!/usr/bin/env python3
"""Generate the rain window Live Activity samples in samples/activity/.

Run from the repository root:

    python3 samples/make_activity_samples.py

One rain window over Austin, TX on Tuesday 2026-11-17, from 10 AM to 2 PM Central
standard time (16:00-20:00 UTC), as the main app would send it at three moments,
each with an hourly series and a 5-minute series:

  file                         replay with --now          the moment
  before-rain-hourly.json      2026-11-17T13:10:00Z       7:10 AM, rain ahead
  before-rain-5min.json        2026-11-17T13:10:00Z
  raining-hourly.json          2026-11-17T17:35:00Z       11:35 AM, raining now
  raining-5min.json            2026-11-17T17:35:00Z
  after-rain-hourly.json       2026-11-17T20:40:00Z       2:40 PM, the rain is over
  after-rain-5min.json         2026-11-17T20:40:00Z

The "raining" files are activity files of the channel folder ({"id", "attributes",
"state"}); the others are bare content states. Instants are seconds since
2001-01-01 UTC as JSON numbers, the app's own coding. Units: inches, percent.
Only the Python standard library is used; the output is deterministic.
"""

import json
import math
import os
from datetime import datetime, timedelta, timezone

OUT_DIR = os.path.join(os.path.dirname(os.path.abspath(__file__)), "activity")
REFERENCE = datetime(2001, 1, 1, tzinfo=timezone.utc)
CST = timezone(timedelta(hours=-6))  # Austin in November: no daylight saving

WINDOW_START = datetime(2026, 11, 17, 10, tzinfo=CST)
WINDOW_END = datetime(2026, 11, 17, 14, tzinfo=CST)

# Inches in each local clock hour, and the chance of rain in percent.
HOURLY_RAIN = {9: 0.03, 10: 0.12, 11: 0.24, 12: 0.18, 13: 0.07, 14: 0.02}
HOURLY_CHANCE = {6: 10, 7: 15, 8: 30, 9: 55, 10: 75, 11: 85, 12: 80, 13: 60, 14: 35,
                 15: 20, 16: 10}


def seconds(instant):
    """Seconds since 2001-01-01 UTC."""
    return round((instant - REFERENCE).total_seconds(), 3)


def local_hour(instant):
    local = instant.astimezone(CST)
    return local.hour + local.minute / 60


def hourly_points():
    points = []
    for h in range(4, 23):
        start = datetime(2026, 11, 17, h, tzinfo=CST)
        points.append({
            "hour": float(h),
            "start": seconds(start),
            "precipAmount": HOURLY_RAIN.get(h, 0.0),
            "precipProb": float(HOURLY_CHANCE.get(h, 5)),
        })
    return points


def chance_at(hour):
    """The hourly chances joined by straight lines, at a fractional local hour."""
    low = math.floor(hour)
    a = HOURLY_CHANCE.get(low, 5)
    b = HOURLY_CHANCE.get(low + 1, 5)
    return a + (b - a) * (hour - low)


def five_minute_points():
    # The hour's rain spread over its twelve intervals, heavier in the middle of the hour.
    weights = [0.5 + math.sin(math.pi * (i + 0.5) / 12) for i in range(12)]
    total = sum(weights)
    points = []
    start = datetime(2026, 11, 17, 8, tzinfo=CST)
    for i in range(8 * 12):  # 8 AM to 4 PM
        t = start + timedelta(minutes=5 * i)
        hour = local_hour(t)
        amount = HOURLY_RAIN.get(int(hour), 0.0) * weights[i % 12] / total
        points.append({
            "hour": round(hour, 4),
            "start": seconds(t),
            "precipAmount": round(amount, 4),
            "precipProb": round(chance_at(hour), 1),
        })
    return points


def state(observed, forecast, points):
    return {
        "intensityLabel": "Steady rain",
        "observedInches": observed,
        "forecastInches": forecast,
        "totalInches": round(observed + forecast, 2),
        "peakHourlyInches": max(HOURLY_RAIN.values()),
        "windowStart": seconds(WINDOW_START),
        "windowEnd": seconds(WINDOW_END),
        "locationName": "Austin ,TX ",
        "timeZoneIdentifier": "America/Chicago",
        "hours": points,
    }


def activity_file(content):
    return {
        "id": "7F1C2A9E-3B64-4D2B-9C1E-5A8D0F4B6E21",
        "attributes": {"locationName": "Austin, TX", "locationKey": "30.2672,-97.7431"},
        "state": content,
    }


def main():
    os.makedirs(OUT_DIR, exist_ok=True)
    moments = {
        "before-rain": (0.0, 0.66),
        "raining": (0.21, 0.44),
        "after-rain": (0.64, 0.0),
    }
    for name, (observed, forecast) in moments.items():
        for series, points in (("hourly", hourly_points()), ("5min", five_minute_points())):
            content = state(observed, forecast, points)
            document = activity_file(content) if name == "raining" else content
            path = os.path.join(OUT_DIR, f"{name}-{series}.json")
            with open(path, "w", encoding="utf-8") as out:
                json.dump(document, out, indent=1, ensure_ascii=False)
                out.write("\n")


if __name__ == "__main__":
    main()
