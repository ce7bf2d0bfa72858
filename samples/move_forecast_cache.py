#!/usr/bin/env python3
"""Moves the bundled rainy week so that it starts today, and writes it the way the main app does.

  move_forecast_cache.py CACHE_IN ZONE CONTAINER PACKET_OUT [AGE_MINUTES]

CACHE_IN is a forecast cache record ({"packet", "displayLocation", "completedAt"}), e.g.
samples/forecast-cache.json. Every date in it moves by whole days so that its first day is the
day, in ZONE (the device's IANA zone), of the moment AGE_MINUTES (default 10) ago; local wall
times stay as they were, each UTC offset is recomputed in the place's zone for its new date, and
weekday labels follow the new dates. The record, completed at that moment, goes to
CONTAINER/pluvo-last-forecast.json (0600, replaced atomically, as the app writes it); the packet
alone, generated a minute ago, goes to PACKET_OUT for the stub forecast server.
"""
import json
import os
import re
import sys
import tempfile
from datetime import date, datetime, timedelta, timezone
from zoneinfo import ZoneInfo

WEEKDAYS = ["Mon", "Tue", "Wed", "Thu", "Fri", "Sat", "Sun"]
LOCAL = re.compile(r"^(\d{4}-\d{2}-\d{2})(T\d{2}:\d{2}(?::\d{2})?)?([+-]\d{2}:\d{2})?$")


def main():
    if len(sys.argv) not in (5, 6):
        sys.exit("usage: " + __doc__.strip().splitlines()[2].strip())
    source, zone_name, container, packet_out = sys.argv[1:5]
    age = timedelta(minutes=float(sys.argv[5]) if len(sys.argv) == 6 else 10)
    zone = ZoneInfo(zone_name)
    with open(source, encoding="utf-8") as f:
        record = json.load(f)
    packet = record["packet"]
    place = ZoneInfo(packet["location"].get("timezone") or zone_name)  # the times' own zone
    first = date.fromisoformat(packet["days"][0]["fullDate"])
    now = datetime.now(timezone.utc)
    saved = now - age
    shift = timedelta(days=(saved.astimezone(zone).date() - first).days)

    def move(text):
        m = LOCAL.match(text)
        if not m:
            return text
        day = (date.fromisoformat(m.group(1)) + shift).isoformat()
        if not m.group(3):
            return day + (m.group(2) or "")
        local = datetime.fromisoformat(day + m.group(2)).replace(tzinfo=place)
        return local.isoformat()

    def walk(value):
        if isinstance(value, dict):
            return {k: walk(v) for k, v in value.items()}
        if isinstance(value, list):
            return [walk(v) for v in value]
        if isinstance(value, str):
            return move(value)
        return value

    packet = walk(packet)
    for day in packet["days"]:
        moved = date.fromisoformat(day["fullDate"])
        day["day"] = WEEKDAYS[moved.weekday()]
        day["date"] = moved.day
    for hour in packet["hours"]:
        hour["dayLabel"] = packet["days"][hour["dayIndex"]]["day"]
    stamp = lambda t: t.strftime("%Y-%m-%dT%H:%M:%SZ")
    packet["generatedAt"] = stamp(saved - timedelta(minutes=1))
    record["packet"] = packet
    record["completedAt"] = stamp(saved)

    os.makedirs(container, mode=0o700, exist_ok=True)
    target = os.path.join(container, "pluvo-last-forecast.json")
    fd, temporary = tempfile.mkstemp(dir=container, prefix=".pluvo-last-forecast.")
    with os.fdopen(fd, "w", encoding="utf-8") as f:
        json.dump(record, f, ensure_ascii=False)
        f.flush()
        os.fsync(f.fileno())
    os.replace(temporary, target)
    packet["generatedAt"] = stamp(now - timedelta(minutes=1))
    with open(packet_out, "w", encoding="utf-8") as f:
        json.dump(packet, f, ensure_ascii=False)
    print(f"{target}: {packet['location']['name']}, {packet['days'][0]['fullDate']} to "
          f"{packet['days'][-1]['fullDate']}")


if __name__ == "__main__":
    main()
