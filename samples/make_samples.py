#!/usr/bin/env python3
"""Generate the sample chart packets used by the widget extension's tests and demos.

Run from the repository root:

    python3 samples/make_samples.py

Writes, next to this script:

  rainy-week.json      a full 7-day packet for Galveston, TX (every optional member
                       present), crossing the end of US daylight saving time
  minimal.json         a 2-day packet with only the required keys everywhere
  forecast-cache.json  the main app's forecast cache record wrapping rainy-week.json

The output is fully deterministic: the weather is shaped by hand-written rain
schedules and closed-form curves, the sun, moon and tide come from low-precision
astronomy and a small harmonic tide model, and the little remaining noise comes
from a fixed-seed generator. Only the Python standard library is used.

Units are the packet's stored units: °F, inches, mph, inHg, feet; chances in percent.
"""

import json
import math
import os
import random
from datetime import date, datetime, timedelta, timezone

OUT_DIR = os.path.dirname(os.path.abspath(__file__))

PACKET_VERSION = 2

# ---------------------------------------------------------------------------
# Time helpers
#
# Galveston is on US Central time. Rather than depend on the host's tz database,
# the offsets are fixed here: daylight time (-05:00) until Sunday 2026-11-01
# 02:00 CDT (07:00 UTC), standard time (-06:00) after it. That Sunday has 25
# local hours, with 01:00 occurring twice.
# ---------------------------------------------------------------------------

UTC = timezone.utc
CDT = timezone(timedelta(hours=-5))
CST = timezone(timedelta(hours=-6))
DST_END_UTC = datetime(2026, 11, 1, 7, 0, tzinfo=UTC)


def central(instant):
    """The Central-time wall clock for a UTC instant."""
    return instant.astimezone(CDT if instant < DST_END_UTC else CST)


def iso_offset(instant):
    """ISO 8601 with the local offset, e.g. 2026-10-29T14:00:00-05:00."""
    return central(instant).isoformat(timespec="seconds")


def hour_label(h):
    """12-hour label: 0 -> 12a, 15 -> 3p."""
    h %= 24
    return f"{h % 12 or 12}{'a' if h < 12 else 'p'}"


def minute_label(local):
    """12-hour label with minutes: 2:15p."""
    h = local.hour
    return f"{h % 12 or 12}:{local.minute:02d}{'a' if h < 12 else 'p'}"


def local_minutes_text(local):
    """Local date-time without offset, to the minute: 2026-10-29T07:31."""
    return local.strftime("%Y-%m-%dT%H:%M")


def julian_day(instant):
    return instant.timestamp() / 86400.0 + 2440587.5


# ---------------------------------------------------------------------------
# Astronomy (low precision, good to a few arc-minutes for the sun and about
# half a degree for the moon, plenty for daylight bands and solunar periods)
# ---------------------------------------------------------------------------

def _sind(x):
    return math.sin(math.radians(x))


def _cosd(x):
    return math.cos(math.radians(x))


def _sun_ecliptic(jd):
    d = jd - 2451545.0
    mean_long = (280.460 + 0.9856474 * d) % 360.0
    anomaly = (357.528 + 0.9856003 * d) % 360.0
    lam = mean_long + 1.915 * _sind(anomaly) + 0.020 * _sind(2 * anomaly)
    return lam % 360.0


def _obliquity(jd):
    return 23.439 - 0.0000004 * (jd - 2451545.0)


def _equatorial(lam, beta, jd):
    eps = _obliquity(jd)
    x = _cosd(beta) * _cosd(lam)
    y = _cosd(eps) * _cosd(beta) * _sind(lam) - _sind(eps) * _sind(beta)
    z = _sind(eps) * _cosd(beta) * _sind(lam) + _cosd(eps) * _sind(beta)
    ra = math.degrees(math.atan2(y, x)) % 360.0
    dec = math.degrees(math.asin(z))
    return ra, dec


def _moon_ecliptic(jd):
    t = (jd - 2451545.0) / 36525.0
    lam = (218.32 + 481267.881 * t
           + 6.29 * _sind(135.0 + 477198.87 * t)
           - 1.27 * _sind(259.3 - 413335.36 * t)
           + 0.66 * _sind(235.7 + 890534.22 * t)
           + 0.21 * _sind(269.9 + 954397.74 * t)
           - 0.19 * _sind(357.5 + 35999.05 * t)
           - 0.11 * _sind(186.5 + 966404.03 * t))
    beta = (5.13 * _sind(93.3 + 483202.02 * t)
            + 0.28 * _sind(228.2 + 960400.89 * t)
            - 0.28 * _sind(318.3 + 6003.15 * t)
            - 0.17 * _sind(217.6 - 407332.21 * t))
    parallax = (0.9508
                + 0.0518 * _cosd(135.0 + 477198.87 * t)
                + 0.0095 * _cosd(259.3 - 413335.36 * t)
                + 0.0078 * _cosd(235.7 + 890534.22 * t)
                + 0.0028 * _cosd(269.9 + 954397.74 * t))
    return lam % 360.0, beta, parallax


def _hour_angle(jd, ra, longitude):
    gmst = (280.46061837 + 360.98564736629 * (jd - 2451545.0)) % 360.0
    return (gmst + longitude - ra + 540.0) % 360.0 - 180.0


def _altitude(lat, dec, ha):
    s = _sind(lat) * _sind(dec) + _cosd(lat) * _cosd(dec) * _cosd(ha)
    return math.degrees(math.asin(max(-1.0, min(1.0, s))))


def sun_altitude(instant, lat, lon):
    jd = julian_day(instant)
    ra, dec = _equatorial(_sun_ecliptic(jd), 0.0, jd)
    return _altitude(lat, dec, _hour_angle(jd, ra, lon))


def moon_state(instant, lat, lon):
    """(topocentric altitude in degrees, hour angle in degrees, illuminated fraction)."""
    jd = julian_day(instant)
    lam, beta, parallax = _moon_ecliptic(jd)
    ra, dec = _equatorial(lam, beta, jd)
    ha = _hour_angle(jd, ra, lon)
    alt = _altitude(lat, dec, ha)
    alt -= parallax * _cosd(alt)  # seen from the ground, not the Earth's centre
    elongation = math.degrees(math.acos(_cosd(beta) * _cosd(lam - _sun_ecliptic(jd))))
    illumination = (1.0 - _cosd(elongation)) / 2.0
    return alt, ha, illumination


def lunar_age_days(instant):
    """Days since the last new moon (mean synodic month)."""
    reference_new_moon = datetime(2000, 1, 6, 18, 14, tzinfo=UTC)
    days = (instant - reference_new_moon).total_seconds() / 86400.0
    return days % 29.530588853


# ---------------------------------------------------------------------------
# Small numeric helpers
# ---------------------------------------------------------------------------

def clamp(x, lo, hi):
    return max(lo, min(hi, x))


def norm(value, lo, hi):
    """Scale onto a chart axis 0..1 and clamp."""
    return round(clamp((value - lo) / (hi - lo), 0.0, 1.0), 4)


def r1(x):
    return float(round(x, 1))


def r2(x):
    return float(round(x, 2))


def r3(x):
    return float(round(x, 3))


def lerp_points(points, x):
    """Piecewise-linear interpolation through sorted (x, y) pairs."""
    if x <= points[0][0]:
        return points[0][1]
    for (x0, y0), (x1, y1) in zip(points, points[1:]):
        if x <= x1:
            return y0 + (y1 - y0) * (x - x0) / (x1 - x0)
    return points[-1][1]


def dew_point_f(temp_f, rh):
    """Magnus formula, in °F."""
    tc = (temp_f - 32.0) * 5.0 / 9.0
    a, b = 17.62, 243.12
    g = math.log(max(rh, 1.0) / 100.0) + a * tc / (b + tc)
    return (b * g / (a - g)) * 9.0 / 5.0 + 32.0


def feels_like_f(temp_f, rh, wind_mph):
    """Heat index when warm and muggy, wind chill when cool and breezy."""
    if temp_f >= 80.0 and rh >= 40.0:
        t, r = temp_f, rh
        hi = (-42.379 + 2.04901523 * t + 10.14333127 * r - 0.22475541 * t * r
              - 0.00683783 * t * t - 0.05481717 * r * r + 0.00122874 * t * t * r
              + 0.00085282 * t * r * r - 0.00000199 * t * t * r * r)
        return max(hi, temp_f)
    if temp_f <= 50.0 and wind_mph > 3.0:
        v = wind_mph ** 0.16
        return 35.74 + 0.6215 * temp_f - 35.75 * v + 0.4275 * temp_f * v
    return temp_f


def dump(obj, name):
    path = os.path.join(OUT_DIR, name)
    text = json.dumps(obj, separators=(",", ":"), ensure_ascii=False)
    with open(path, "w", encoding="utf-8") as fh:
        fh.write(text)
        fh.write("\n")
    return path


# ---------------------------------------------------------------------------
# Metrics shared by both packets
# ---------------------------------------------------------------------------

METRICS = [
    # key, label, colour, unit
    ("precip", "Precipitation", "#7dd3fc", "in"),
    ("temp", "Temperature", "#fb923c", "°F"),
    ("wind", "Wind", "#a3e635", "mph"),
    ("humidity", "Humidity", "#22d3ee", "%"),
    ("dewpoint", "Dew point", "#2dd4bf", "°F"),
    ("cloudcover", "Cloud cover", "#94a3b8", "%"),
    ("pressure", "Pressure", "#c084fc", "inHg"),
    ("airquality", "Air quality", "#facc15", "AQI"),
    ("tide", "Tide", "#38bdf8", "ft"),
    ("solunar", "Solunar", "#e879f9", "°"),
    ("sun", "Daylight", "#fde68a", "h"),
]


def metric_records(keys=None):
    out = []
    for key, label, color, unit in METRICS:
        if keys is not None and key not in keys:
            continue
        out.append({
            "key": key,
            "label": label,
            "color": color,
            "unit": unit,
            "defaultVisible": key in ("precip", "temp"),
            "renderer": "bar" if key == "precip" else "line",
        })
    return out


# ===========================================================================
# Rainy week: Galveston, Thu 2026-10-29 .. Wed 2026-11-04
# ===========================================================================

LAT, LON = 29.3013, -94.7977
WEEK_START_UTC = datetime(2026, 10, 29, 5, 0, tzinfo=UTC)  # 00:00 CDT
WEEK_HOURS = 169                                             # 6 x 24 + the 25-hour Sunday
NOW_INDEX = 14                                               # 14:00 CDT on Thursday
GENERATED_AT = "2026-10-29T19:05:12Z"
NOW_UTC = datetime(2026, 10, 29, 19, 5, 12, tzinfo=UTC)

# Hourly rain (inches) by day index and local clock hour. Everything not listed
# is dry. Each day's shape is deliberate, the widgets' rain texts depend on it:
#   0 Thu  afternoon showers, peak at 4p
#   1 Fri  one steady block 2p-8p, ~0.4"
#   2 Sat  thunderstorms in four separate bursts (scattered)
#   3 Sun  dry behind the front
#   4 Mon  drizzle, several hours below 0.01"
#   5 Tue  cloudy, a little late-afternoon rain
#   6 Wed  clearing, a trace before dawn
RAIN = {
    0: {14: 0.02, 15: 0.07, 16: 0.16, 17: 0.05, 18: 0.01},
    1: {14: 0.05, 15: 0.07, 16: 0.08, 17: 0.08, 18: 0.07, 19: 0.06},
    2: {3: 0.15, 4: 0.05, 9: 0.22, 14: 0.35, 15: 0.10, 20: 0.08},
    3: {},
    4: {5: 0.004, 6: 0.006, 7: 0.01, 8: 0.008, 9: 0.005, 10: 0.003},
    5: {15: 0.02, 16: 0.03, 17: 0.01},
    6: {1: 0.01, 2: 0.01},
}

# Per-day character: daily low/high (°F) used by the diurnal curve, background
# chance of rain, cloud cover, relative humidity, wind (mph, from-direction in
# degrees) and air quality.
DAY_WEATHER = [
    dict(low=71.0, high=81.0, chance=20, cloud=55, rh=80, wind=11, gustf=1.45, wdir=150, aqi=38,
         icon="rain", condition="Rain showers"),
    dict(low=70.0, high=77.0, chance=35, cloud=80, rh=86, wind=14, gustf=1.5, wdir=140, aqi=30,
         icon="rain", condition="Steady rain"),
    dict(low=69.0, high=79.0, chance=40, cloud=85, rh=88, wind=13, gustf=1.7, wdir=190, aqi=26,
         icon="thunderstorm", condition="Thunderstorms"),
    dict(low=56.0, high=70.0, chance=3, cloud=5, rh=52, wind=15, gustf=1.45, wdir=350, aqi=58,
         icon="clear-day", condition="Sunny"),
    dict(low=58.0, high=65.0, chance=25, cloud=92, rh=90, wind=9, gustf=1.4, wdir=60, aqi=34,
         icon="drizzle", condition="Drizzle"),
    dict(low=61.0, high=70.0, chance=15, cloud=78, rh=82, wind=10, gustf=1.4, wdir=90, aqi=36,
         icon="cloudy", condition="Mostly cloudy"),
    dict(low=60.0, high=74.0, chance=8, cloud=30, rh=70, wind=8, gustf=1.35, wdir=20, aqi=41,
         icon="partly-cloudy-day", condition="Partly cloudy"),
]

# Station pressure trend (inHg) by hour index: slow fall ahead of Saturday's
# front, a sharp rise behind it, then easing.
PRESSURE_TREND = [(0, 29.93), (24, 29.89), (40, 29.85), (56, 29.77), (66, 29.81),
                  (80, 30.09), (100, 30.16), (121, 30.08), (145, 30.01), (168, 30.04)]

# Onshore set-up of the water level (ft) from the persistent southeasterlies
# Friday into Saturday: the reason for the coastal flood advisory.
SURGE = [(0, 0.15), (20, 0.35), (36, 0.7), (52, 0.65), (66, 0.3), (80, -0.2), (110, -0.1),
         (168, 0.05)]

TIDE_DATUM_FT = 1.05  # mean level above MLLW at the Pier 21 gauge


def tide_height(instant):
    """Harmonic tide (ft above MLLW): semi-diurnal M2 dominant, with S2, K1 and O1."""
    hours = (instant - datetime(2026, 10, 29, 0, 0, tzinfo=UTC)).total_seconds() / 3600.0
    idx = (instant - WEEK_START_UTC).total_seconds() / 3600.0
    h = TIDE_DATUM_FT
    h += 0.62 * math.cos(2 * math.pi * (hours - 3.1) / 12.4206)
    h += 0.14 * math.cos(2 * math.pi * (hours - 8.9) / 12.0)
    h += 0.22 * math.cos(2 * math.pi * (hours - 16.5) / 23.9345)
    h += 0.15 * math.cos(2 * math.pi * (hours - 11.0) / 25.8193)
    h += lerp_points(SURGE, idx)
    return h


def tide_coefficient(instant):
    """Tidal range coefficient (20..120): spring tides near new and full moon."""
    age = lunar_age_days(instant)
    # Spring tides lag syzygy by about a day and a half.
    phase = 2 * math.pi * (age - 1.5) / (29.530588853 / 2.0)
    return 72.0 + 28.0 * math.cos(phase)


class Week:
    """Builds the hour grid and every per-hour value of the rainy week."""

    def __init__(self):
        self.rng = random.Random(20261029)
        self.hours = []  # dicts with instant, local, day index, values
        self.days = []   # (date, first index, last index)
        self._build_grid()

    def noise(self, amplitude):
        return (self.rng.random() * 2.0 - 1.0) * amplitude

    def _build_grid(self):
        day_of = {}
        for i in range(WEEK_HOURS):
            instant = WEEK_START_UTC + timedelta(hours=i)
            local = central(instant)
            d = local.date()
            if d not in day_of:
                day_of[d] = len(day_of)
                self.days.append([d, i, i])
            di = day_of[d]
            self.days[di][2] = i
            self.hours.append(dict(index=i, instant=instant, local=local, day=di))

    # -- temperature -------------------------------------------------------

    def _temp_at(self, di, clock):
        """Diurnal curve: low near 06:00, high near 15:00, joined with half-cosines."""
        w = DAY_WEATHER
        low = w[di]["low"]
        high = w[di]["high"]
        if clock < 6:
            prev_high = w[di - 1]["high"] if di > 0 else 79.0
            f = (clock + 9) / 15.0  # 15:00 yesterday .. 06:00 today
            return prev_high + (low - prev_high) * (1 - math.cos(math.pi * f)) / 2
        if clock <= 15:
            f = (clock - 6) / 9.0
            return low + (high - low) * (1 - math.cos(math.pi * f)) / 2
        next_low = w[di + 1]["low"] if di + 1 < len(w) else 62.0
        f = (clock - 15) / 15.0
        return high + (next_low - high) * (1 - math.cos(math.pi * f)) / 2

    # -- per-hour values ---------------------------------------------------

    def compute(self):
        for hr in self.hours:
            di = hr["day"]
            clock = hr["local"].hour
            w = DAY_WEATHER[di]
            rain = RAIN[di]
            amount = rain.get(clock, 0.0)
            # The repeated 01:00 on the DST Sunday is the second pass over that
            # clock hour; the weather just carries on.
            near = [abs(clock - c) for c in rain]
            dist = min(near) if near else 99

            # Chance of rain: the day's background, raised around the wet hours.
            if amount > 0:
                chance = 60 + min(36.0, amount * 400.0)
            elif dist == 1:
                chance = max(w["chance"], 45)
            elif dist == 2:
                chance = max(w["chance"], 30)
            else:
                chance = w["chance"] + self.noise(4)
            if di == 3:
                chance = clamp(2 + self.noise(2) + (3 if clock < 4 else 0), 0, 8)
            if di == 6:
                chance = max(2.0, (35 if amount > 0 else 22) - 2.5 * max(0, clock - 3)) + self.noise(1)
            if hr["index"] < NOW_INDEX:
                # Observed hours report what happened: dry this morning.
                chance = 0.0
            chance = float(round(clamp(chance, 0, 100)))

            # Temperature, cooled by rain.
            temp = self._temp_at(di, clock) + self.noise(0.4)
            temp -= min(6.0, amount * 28.0)

            # Cloud cover.
            cloud = w["cloud"] + self.noise(8)
            if amount > 0 or dist == 1:
                cloud = max(cloud, 90 + self.noise(5))
            if di == 6:
                cloud = clamp(85 - 6.0 * clock, 8, 100) + self.noise(3)
            if di == 0 and clock < 11:
                cloud = 35 + 3 * clock + self.noise(5)
            cloud = float(round(clamp(cloud, 0, 100)))

            # Humidity: higher at night and in rain.
            rh = w["rh"] + 8 * math.cos(2 * math.pi * (clock - 5) / 24.0) + self.noise(2)
            if amount > 0:
                rh = max(rh, 93 + self.noise(2))
            rh = float(round(clamp(rh, 20, 99)))

            # Wind: afternoon sea breeze, storm gusts on Saturday.
            speed = w["wind"] + 3.0 * math.sin(math.pi * clamp((clock - 9) / 10.0, 0, 1)) + self.noise(1.5)
            gust = speed * w["gustf"] + self.noise(1.5)
            if di == 2 and amount >= 0.1:
                speed += 6
                gust = max(gust, 30 + amount * 30)
            wdir = (w["wdir"] + self.noise(15) + 360) % 360
            if di == 2 and clock >= 16:
                # Front passage: the wind veers to the north.
                wdir = (200 + (clock - 16) * 22 + self.noise(10)) % 360
            speed, gust = max(2.0, speed), max(speed + 2.0, gust)

            pressure = lerp_points(PRESSURE_TREND, hr["index"])
            pressure += 0.02 * math.cos(2 * math.pi * (clock - 10) / 12.0) + self.noise(0.004)

            aqi = w["aqi"] + 6 * math.sin(math.pi * clamp((clock - 8) / 10.0, 0, 1)) + self.noise(3)
            if amount > 0:
                aqi -= 8

            tide = tide_height(hr["instant"])
            moon_alt, _, illum = moon_state(hr["instant"], LAT, LON)

            hr.update(
                amount=amount, chance=chance, temp=r1(temp),
                feels=r1(feels_like_f(temp, rh, speed)),
                speed=r1(speed), gust=r1(gust), wdir=float(round(wdir)), rh=rh,
                dew=r1(dew_point_f(temp, rh)), cloud=cloud, pressure=r2(pressure),
                aqi=float(round(clamp(aqi, 5, 150))), tide=r2(tide),
                moon_deg=r1(moon_alt), moon_norm=round((moon_alt + 90.0) / 180.0, 4),
                illum=round(illum, 3), coeff=float(round(tide_coefficient(hr["instant"]))),
            )


def scan_minutes(start, end, fn, step_minutes=1):
    """Sample fn over [start, end) every step, as (instant, value) pairs."""
    out = []
    t = start
    while t < end:
        out.append((t, fn(t)))
        t += timedelta(minutes=step_minutes)
    return out


def index_of(instant):
    """Fractional hour index: the hours are consecutive UTC hours from the week start."""
    return round((instant - WEEK_START_UTC).total_seconds() / 3600.0, 2)


def sun_times(week):
    """Per day: (sunrise, sunset) UTC instants, at the standard -0.833° altitude."""
    out = []
    for d, first, last in week.days:
        start = WEEK_START_UTC + timedelta(hours=first)
        end = WEEK_START_UTC + timedelta(hours=last + 1)
        samples = scan_minutes(start, end, lambda t: sun_altitude(t, LAT, LON))
        rise = set_ = None
        for (t0, a0), (t1, a1) in zip(samples, samples[1:]):
            if a0 < -0.833 <= a1 and rise is None:
                rise = t1
            if a0 >= -0.833 > a1 and set_ is None:
                set_ = t1
        out.append((rise, set_))
    return out


def solunar_periods(week):
    """Major periods (two hours centred on the moon's upper and lower transit) and
    minor periods (one hour centred on moonrise and moonset) within the week."""
    start = WEEK_START_UTC
    end = WEEK_START_UTC + timedelta(hours=WEEK_HOURS)
    samples = scan_minutes(start - timedelta(hours=2), end + timedelta(hours=2),
                           lambda t: moon_state(t, LAT, LON), step_minutes=2)
    events = []
    for (t0, s0), (t1, s1) in zip(samples, samples[1:]):
        alt0, ha0, _ = s0
        alt1, ha1, illum = s1
        if ha0 < 0 <= ha1:
            events.append(("major", "Moon overhead", t1, illum, 60))
        if ha0 > 150 and ha1 < -150:
            events.append(("major", "Moon underfoot", t1, illum, 60))
        if alt0 < 0 <= alt1:
            events.append(("minor", "Moonrise", t1, illum, 30))
        if alt0 >= 0 > alt1:
            events.append(("minor", "Moonset", t1, illum, 30))
    periods = []
    for kind, label, peak, illum, half in events:
        s = peak - timedelta(minutes=half)
        e = peak + timedelta(minutes=half)
        if e <= start or s >= end:
            continue
        s, e = max(s, start), min(e, end)
        periods.append(dict(kind=kind, label=label, start=s, end=e, peak=peak, illum=illum))
    periods.sort(key=lambda p: p["peak"])
    return periods


def tide_extremes():
    start = WEEK_START_UTC
    end = WEEK_START_UTC + timedelta(hours=WEEK_HOURS - 1)
    samples = scan_minutes(start, end, tide_height)
    events = []
    for (t0, h0), (t1, h1), (t2, h2) in zip(samples, samples[1:], samples[2:]):
        if h1 > h0 and h1 >= h2:
            events.append(("high", t1, h1))
        elif h1 < h0 and h1 <= h2:
            events.append(("low", t1, h1))
    return events


def build_rainy_week():
    week = Week()
    week.compute()
    hours = week.hours

    # Chart axis domains.
    max_hourly = max(h["amount"] for h in hours)
    temps = [h["temp"] for h in hours] + [h["feels"] for h in hours] + [h["dew"] for h in hours]
    domains = {
        "display": {"min": 0.0, "max": 1.0},
        "precipAmount": {"min": 0.0, "max": max(0.1, math.ceil(max_hourly * 10) / 10.0)},
        "temp": {"min": float(math.floor(min(temps) / 5.0) * 5 - 5),
                 "max": float(math.ceil(max(temps) / 5.0) * 5 + 5)},
        "wind": {"min": 0.0, "max": float(math.ceil(max(h["gust"] for h in hours) / 10.0) * 10)},
        "pressure": {"min": 29.6, "max": 30.3},
        "minutely15PrecipAmount": {"min": 0.0, "max": 0.06},
    }
    # Metrics without a domain of their own use fixed scales: AQI 0..200, the
    # week's tide range, coefficient 20..120; moon altitude is already 0..1.
    tide_lo = math.floor(min(h["tide"] for h in hours) * 2) / 2.0
    tide_hi = math.ceil(max(h["tide"] for h in hours) * 2) / 2.0

    # Rain peaks: the wettest hour of each wet day (first one on a tie).
    peaks = []
    for di, (d, first, last) in enumerate(week.days):
        day_hours = hours[first:last + 1]
        best = max(day_hours, key=lambda h: (h["amount"], -h["index"]))
        if best["amount"] > 0:
            peaks.append(dict(dayIndex=di, hourIndex=best["index"], amount=best["amount"]))
    peak_hours = {p["hourIndex"] for p in peaks}

    sun = sun_times(week)
    periods = solunar_periods(week)

    def solunar_type(h):
        s, e = h["instant"], h["instant"] + timedelta(hours=1)
        kinds = {p["kind"] for p in periods if p["start"] < e and p["end"] > s}
        if "major" in kinds:
            return "major"
        if "minor" in kinds:
            return "minor"
        return None

    def hour_icon(h):
        di, clock = h["day"], h["local"].hour
        rise, set_ = sun[di]
        daytime = rise <= h["instant"] + timedelta(minutes=30) < set_
        if h["amount"] > 0:
            if di == 2:
                return "thunderstorm"
            if h["amount"] < 0.01:
                return "drizzle"
            return "rain"
        if h["cloud"] >= 80:
            return "cloudy"
        if h["cloud"] >= 30:
            return "partly-cloudy-day" if daytime else "partly-cloudy-night"
        return "clear-day" if daytime else "clear-night"

    hour_records = []
    for h in hours:
        values = {
            "temp": h["temp"],
            "feelsLike": h["feels"],
            "precipProb": h["chance"],
            "precipAmount": float(h["amount"]),
            "windSpeed": h["speed"],
            "windGust": h["gust"],
            "windDir": h["wdir"],
            "humidity": h["rh"],
            "dewPoint": h["dew"],
            "cloudCover": h["cloud"],
            "pressure": h["pressure"],
            "airQualityIndex": h["aqi"],
            "tideHeight": h["tide"],
            "moonAltitude": h["moon_norm"],
            "moonAltitudeDegrees": h["moon_deg"],
            "moonIllumination": h["illum"],
            "tideCoefficient": h["coeff"],
        }
        st = solunar_type(h)
        if st is not None:
            values["solunarPeriodType"] = st
        t_dom, w_dom, p_dom, a_dom = domains["temp"], domains["wind"], domains["pressure"], domains["precipAmount"]
        normalized = {
            "precipProb": norm(h["chance"], 0, 100),
            "precipAmount": norm(h["amount"], a_dom["min"], a_dom["max"]),
            "temp": norm(h["temp"], t_dom["min"], t_dom["max"]),
            "windSpeed": norm(h["speed"], w_dom["min"], w_dom["max"]),
            "windGust": norm(h["gust"], w_dom["min"], w_dom["max"]),
            "humidity": norm(h["rh"], 0, 100),
            "dewPoint": norm(h["dew"], t_dom["min"], t_dom["max"]),
            "cloudCover": norm(h["cloud"], 0, 100),
            "pressure": norm(h["pressure"], p_dom["min"], p_dom["max"]),
            "airQualityIndex": norm(h["aqi"], 0, 200),
            "tideHeight": norm(h["tide"], tide_lo, tide_hi),
            "tideCoefficient": norm(h["coeff"], 20, 120),
            "moonAltitude": norm(h["moon_norm"], 0, 1),
        }
        rec = {
            "seqIndex": h["index"],
            "dayIndex": h["day"],
            "dayLabel": h["local"].strftime("%a"),
            "timeLabel": hour_label(h["local"].hour),
            "datetime": h["local"].strftime("%Y-%m-%dT%H:%M"),
            "startISO": iso_offset(h["instant"]),
            "endISO": iso_offset(h["instant"] + timedelta(hours=1)),
            "values": values,
            "icon": hour_icon(h),
        }
        # The forecast names a precipitation type only where rain is in play.
        if h["amount"] > 0 or h["chance"] >= 20:
            rec["precipType"] = "rain"
        rec["normalized"] = normalized
        rec["flags"] = {
            "isObserved": h["index"] < NOW_INDEX,
            "isPrecipPeak": h["index"] in peak_hours,
        }
        hour_records.append(rec)

    # Days.
    day_records = []
    for di, (d, first, last) in enumerate(week.days):
        dh = hours[first:last + 1]
        w = DAY_WEATHER[di]
        rise, set_ = sun[di]
        day_records.append({
            "index": di,
            "day": d.strftime("%a"),
            "date": d.day,
            "fullDate": d.isoformat(),
            "high": max(h["temp"] for h in dh),
            "low": min(h["temp"] for h in dh),
            "precipProb": max(h["chance"] for h in dh),
            "precipAmount": r2(sum(h["amount"] for h in dh)),
            "icon": w["icon"],
            "condition": w["condition"],
            "sunrise": local_minutes_text(central(rise)),
            "sunset": local_minutes_text(central(set_)),
        })

    # Annotations.
    day_segments = []
    daylight = []
    for di, (d, first, last) in enumerate(week.days):
        day_segments.append({
            "startIndex": float(first),
            "endIndex": float(last + 1),
            "label": d.strftime("%a"),
            "date": d.isoformat(),
        })
        rise, set_ = sun[di]
        daylight.append({
            "date": d.isoformat(),
            "startIndex": index_of(rise),
            "endIndex": index_of(set_),
            "sunrise": local_minutes_text(central(rise)),
            "sunset": local_minutes_text(central(set_)),
        })

    coastal = []
    for p in periods:
        coastal.append({
            "type": "solunar",
            "event": p["kind"],
            "label": f"{'Major' if p['kind'] == 'major' else 'Minor'} · {p['label']}",
            "startIndex": index_of(p["start"]),
            "endIndex": index_of(p["end"]),
            "peakIndex": index_of(p["peak"]),
            "moonIllumination": round(p["illum"], 3),
        })
    tides = tide_extremes()
    # High-water windows for the first three days, when the advisory is in force.
    for kind, t, height in tides:
        if kind != "high" or index_of(t) >= 72:
            continue
        s = max(t - timedelta(hours=1), WEEK_START_UTC)
        coastal.append({
            "type": "tide",
            "event": "high",
            "label": f"High water {height:.1f} ft",
            "startIndex": index_of(s),
            "endIndex": index_of(t + timedelta(hours=1)),
            "peakIndex": index_of(t),
        })
    coastal.sort(key=lambda c: (c["peakIndex"], c["type"]))

    tide_events = []
    for kind, t, height in tides:
        ev = {
            "hourIndex": index_of(t),
            "timeISO": iso_offset(t),
            "timeLabel": minute_label(central(t)),
            "type": kind,
            "height": r2(height),
        }
        if kind == "high":
            ev["coefficient"] = float(round(tide_coefficient(t)))
        tide_events.append(ev)

    annotations = {
        "daySegments": day_segments,
        "daylightBands": daylight,
        "precipPeaks": [dict(dayIndex=p["dayIndex"], hourIndex=p["hourIndex"],
                             amount=float(p["amount"])) for p in peaks],
        "coastalPeriods": coastal,
        "tideEvents": tide_events,
        "now": {
            "hourIndex": NOW_INDEX,
            "label": "Now",
            "iso": hour_records[NOW_INDEX]["startISO"],
        },
    }

    sources = {
        "forecast": {
            "provider": "pluvo-blend",
            "endpoint": "/v1/forecast/hourly",
            "forecastDays": 7,
            "hourlyStepMinutes": 60,
            "minutelyStepMinutes": 15,
            "units": {"temperature": "fahrenheit", "windSpeed": "mph", "precipitation": "inch"},
        },
        "observations": {
            "provider": "asos-metar",
            "stationId": "KGLS",
            "stationName": "Galveston Scholes International Airport",
        },
        "precipNormalization": {
            "provider": "pluvo-rain-integrity",
            "note": "Hourly amounts rescaled so each day's hours add up to its daily total; "
                    "observed hours use gauge totals.",
        },
        "radar": {
            "provider": "pluvo-radar",
            "product": "base-reflectivity",
            "frameStepMinutes": 15,
            "frameOffsetsMinutes": list(range(-120, 1, 15)),
        },
        "coastal": {
            "solunar": "pluvo-solunar",
            "tide": "harmonic-predictions",
            "stationId": "8771450",
            "stationName": "Galveston Pier 21, TX",
        },
    }

    # 15-minute rain for the next four hours, starting at the current hour. The
    # quarters of each hour add up to that hour's amount.
    quarter_weights = {
        14: (0.0, 0.2, 0.3, 0.5),
        15: (0.15, 0.2, 0.3, 0.35),
        16: (0.28, 0.32, 0.25, 0.15),
        17: (0.4, 0.3, 0.2, 0.1),
    }
    minutely = []
    m_dom = domains["minutely15PrecipAmount"]
    for q in range(16):
        hi = NOW_INDEX + q // 4
        h = hours[hi]
        start = h["instant"] + timedelta(minutes=15 * (q % 4))
        amt = r3(h["amount"] * quarter_weights[h["local"].hour][q % 4])
        nxt = hours[hi + 1]["chance"]
        prob = float(round(h["chance"] + (nxt - h["chance"]) * (q % 4) / 4.0))
        if amt > 0:
            prob = max(prob, 55.0)
        point = {
            "seqIndex": q,
            "hourIndex": hi,
            "dayIndex": h["day"],
            "startISO": iso_offset(start),
            "endISO": iso_offset(start + timedelta(minutes=15)),
            "timeLabel": minute_label(central(start)),
        }
        if amt > 0 or prob >= 20:
            point["precipType"] = "rain"
        point["values"] = {"precipProb": prob, "precipAmount": amt}
        point["normalized"] = {"precipProb": norm(prob, 0, 100),
                               "precipAmount": norm(amt, m_dom["min"], m_dom["max"])}
        minutely.append(point)

    # Radar frames every 15 minutes over the last two hours, on the 5-minute
    # boundary at or before generation time.
    frame_base = NOW_UTC.replace(second=0, microsecond=0)
    frame_base -= timedelta(minutes=frame_base.minute % 5)
    frames = []
    for i, off in enumerate(range(-120, 1, 15)):
        t = frame_base + timedelta(minutes=off)
        frames.append({
            "index": i,
            "offsetMinutes": off,
            "offsetToken": str(int(t.timestamp())),
            "label": "Now" if off == 0 else minute_label(central(t)),
        })
    radar = {
        "provider": "pluvo-radar",
        "attribution": "Radar composite: Pluvo Radar, NEXRAD base reflectivity",
        "product": "base-reflectivity",
        "tileUrlTemplate": "https://radar-tiles.example.net/v2/{offsetToken}/{z}/{x}/{y}/256.png",
        "frames": frames,
        "defaultFrameIndex": len(frames) - 1,
        "opacity": 0.72,
    }

    tropical = build_tropical()

    radar_correction = {
        "reflectivityDbz": 38.5,
        "intensity": "moderate",
        "estimatedArrivalMinutes": 22.0,
        "nearestDistanceMiles": 11.4,
        "coverage": 0.46,
        "amountFloors": [0.0, 0.02, 0.05, 0.03],
    }

    alerts = [
        {
            "id": "urn:oid:2.49.0.1.840.0.5f3c2a91d4e07b6c8a1e2f3d4c5b6a79.001.1",
            "event": "Coastal Flood Advisory",
            "kind": "advisory",
            "headline": "Coastal Flood Advisory issued October 29 at 1:48PM CDT until "
                        "October 31 at 7:00PM CDT",
            "severity": "Minor",
            "urgency": "Expected",
            "onset": "2026-10-30T10:00:00-05:00",
            "ends": "2026-10-31T19:00:00-05:00",
            "description": "* WHAT...Minor coastal flooding. Water levels 1.5 to 2 feet above "
                           "normally dry ground near the time of high tide.\n\n"
                           "* WHERE...Galveston Island and Bolivar Peninsula.\n\n"
                           "* WHEN...From 10 AM Friday to 7 PM CDT Saturday.\n\n"
                           "* IMPACTS...Water over low spots of Seawall Boulevard access roads "
                           "and Highway 87 near the ferry landing.",
            "instruction": "Do not drive through flooded roadways. Move vehicles parked in "
                           "low-lying areas to higher ground before high tide.",
        },
        # A sparse alert as some feeds send them: no id, odd spacing and case in
        # the kind. It must not cost the whole packet.
        {
            "event": "Severe Thunderstorm Warning",
            "kind": " WARNING ",
        },
    ]

    packet = {
        "version": PACKET_VERSION,
        "generatedAt": GENERATED_AT,
        "location": {
            "name": "Galveston, TX",
            "latitude": LAT,
            "longitude": LON,
            "timezone": "America/Chicago",
        },
        "metrics": metric_records(),
        "domains": domains,
        "days": day_records,
        "hours": hour_records,
        "annotations": annotations,
        "sources": sources,
        "minutely15": minutely,
        "radar": radar,
        "tropical": tropical,
        "radarCorrection": radar_correction,
        "alerts": alerts,
    }
    return packet


# ---------------------------------------------------------------------------
# Tropical overlay: a late-season tropical storm in the southern Gulf. The
# layers travel as GeoJSON text, exactly as the overlay feed provides them.
# ---------------------------------------------------------------------------

PAST_TRACK = [  # (lon, lat, wind kt, time tag)
    (-88.9, 18.6, 30, "2026-10-27T12:00Z"),
    (-89.7, 19.5, 35, "2026-10-28T00:00Z"),
    (-90.6, 20.6, 40, "2026-10-28T12:00Z"),
    (-91.5, 21.8, 45, "2026-10-29T00:00Z"),
    (-92.2, 22.9, 50, "2026-10-29T12:00Z"),
]
FORECAST_TRACK = [  # (lon, lat, wind kt, hours ahead, cone radius in degrees)
    (-92.6, 23.6, 50, 0, 0.1),
    (-92.9, 24.6, 55, 12, 0.45),
    (-92.8, 25.7, 55, 24, 0.75),
    (-92.2, 26.9, 50, 36, 1.05),
    (-91.1, 28.1, 45, 48, 1.35),
    (-89.3, 29.6, 35, 72, 1.9),
]


def _fc(features):
    return {"type": "FeatureCollection", "features": features}


def _geojson_text(fc):
    return json.dumps(fc, indent=2)


def build_tropical():
    storm_id = "al182026"
    name = "Rene"

    # Cone: left edge out, right edge back, around the forecast track.
    left, right = [], []
    for i, (lon, lat, _, _, rad) in enumerate(FORECAST_TRACK):
        j = min(i + 1, len(FORECAST_TRACK) - 1)
        k = max(i - 1, 0)
        dx = FORECAST_TRACK[j][0] - FORECAST_TRACK[k][0]
        dy = FORECAST_TRACK[j][1] - FORECAST_TRACK[k][1]
        length = math.hypot(dx, dy)
        nx, ny = -dy / length, dx / length
        left.append([round(lon + nx * rad, 2), round(lat + ny * rad, 2)])
        right.append([round(lon - nx * rad, 2), round(lat - ny * rad, 2)])
    ring = left + right[::-1] + [left[0]]
    cone = _fc([{
        "type": "Feature",
        "properties": {"STORMNAME": name, "STORMTYPE": "TS", "ADVISNUM": "12A",
                       "FCSTPRD": 72, "BASIN": "al"},
        "geometry": {"type": "Polygon", "coordinates": [ring]},
    }])
    track = _fc([{
        "type": "Feature",
        "properties": {"STORMNAME": name, "FCSTPRD": 72},
        "geometry": {"type": "LineString",
                     "coordinates": [[lon, lat] for lon, lat, *_ in FORECAST_TRACK]},
    }])
    fpoints = _fc([{
        "type": "Feature",
        "properties": {"TAU": tau, "MAXWIND": wind,
                       "SSNUM": 0, "DVLBL": "S" if wind >= 34 else "D",
                       "TCDVLP": "Tropical Storm" if wind >= 34 else "Tropical Depression"},
        "geometry": {"type": "Point", "coordinates": [lon, lat]},
    } for lon, lat, wind, tau, _ in FORECAST_TRACK])
    past_line = _fc([{
        "type": "Feature",
        "properties": {"STORMNAME": name, "STORMNUM": 18},
        "geometry": {"type": "LineString",
                     "coordinates": [[lon, lat] for lon, lat, *_ in PAST_TRACK]},
    }])
    past_pts = _fc([{
        "type": "Feature",
        "properties": {"DTG": tag, "INTENSITY": wind,
                       "STORMTYPE": "TS" if wind >= 34 else "TD"},
        "geometry": {"type": "Point", "coordinates": [lon, lat]},
    } for lon, lat, wind, tag in PAST_TRACK])

    def layer(fc, layer_id, layer_name):
        return {
            "featureCount": len(fc["features"]),
            "sourceLayerId": layer_id,
            "sourceLayerName": layer_name,
            "geoJSON": _geojson_text(fc),
        }

    return {
        "active": True,
        "provider": "pluvo-tropical",
        "attribution": "Tropical cyclone graphics: national hurricane advisories",
        "sourceUrl": "https://tropical-feed.example.org/gis/active/AL182026",
        "updatedAt": "2026-10-29T21:00:00Z",
        "storms": [{
            "id": storm_id,
            "basin": "AL",
            "slot": "AT3",
            "name": f"Tropical Storm {name}",
            "advisoryNumber": "12A",
            "advisoryTime": "400 PM CDT Thu Oct 29 2026",
            # Watches/warnings and wind radii are not issued for this storm yet.
            "layers": {
                "forecastCone": layer(cone, 8, "AT3 Forecast Cone"),
                "forecastTrack": layer(track, 7, "AT3 Forecast Track"),
                "forecastPoints": layer(fpoints, 6, "AT3 Forecast Points"),
                "pastTrack": layer(past_line, 10, "AT3 Past Track"),
                "pastPoints": layer(past_pts, 9, "AT3 Past Points"),
            },
        }],
    }


# ===========================================================================
# Minimal packet: two quiet November days, required keys only. No timezone on
# the location (consumers must fall back), no optional values, no "now".
# Chances and daily highs/lows are whole numbers written as JSON integers,
# which a float field accepts.
# ===========================================================================

def build_minimal():
    start = datetime(2026, 11, 21, 6, 0, tzinfo=UTC)  # 00:00 CST
    rain = {(0, 10): 0.03, (0, 11): 0.08, (0, 12): 0.02}
    domains = {
        "display": {"min": 0.0, "max": 1.0},
        "precipAmount": {"min": 0.0, "max": 0.1},
        "temp": {"min": 40.0, "max": 80.0},
        "wind": {"min": 0.0, "max": 30.0},
        "pressure": {"min": 29.6, "max": 30.3},
    }
    hours, days, segments, bands, peaks = [], [], [], [], []
    for i in range(48):
        instant = start + timedelta(hours=i)
        local = instant.astimezone(CST)
        di = i // 24
        clock = local.hour
        amount = rain.get((di, clock), 0.0)
        if di == 0:
            chance = 70 if amount > 0 else (40 if 8 <= clock <= 14 else 10)
        else:
            chance = 20 if 12 <= clock <= 17 else 10
        temp = (58.0 + 2.0 * di) + 9.0 * math.sin(math.pi * clamp((clock - 6) / 12.0, 0, 1))
        temp -= amount * 30.0
        speed = 7.0 + 4.0 * math.sin(math.pi * clamp((clock - 9) / 10.0, 0, 1))
        gust = speed * 1.5
        rh = 75.0 - 15.0 * math.sin(math.pi * clamp((clock - 6) / 12.0, 0, 1))
        if amount > 0:
            rh = 95.0
        dew = dew_point_f(temp, rh)
        cloud = 90.0 if di == 0 and 8 <= clock <= 14 else 40.0
        pressure = 30.02 - 0.05 * di + 0.02 * math.cos(2 * math.pi * (clock - 10) / 12.0)
        hours.append({
            "seqIndex": i,
            "dayIndex": di,
            "dayLabel": local.strftime("%a"),
            "timeLabel": hour_label(clock),
            "datetime": local.strftime("%Y-%m-%dT%H:%M"),
            "startISO": local.isoformat(timespec="seconds"),
            "endISO": (local + timedelta(hours=1)).isoformat(timespec="seconds"),
            "values": {
                "precipProb": chance,
                "precipAmount": float(amount),
                "windSpeed": r1(speed),
                "windGust": r1(gust),
            },
            "normalized": {
                "precipProb": norm(chance, 0, 100),
                "precipAmount": norm(amount, 0.0, 0.1),
                "temp": norm(temp, 40.0, 80.0),
                "windSpeed": norm(speed, 0.0, 30.0),
                "windGust": norm(gust, 0.0, 30.0),
                "humidity": norm(rh, 0, 100),
                "dewPoint": norm(dew, 40.0, 80.0),
                "cloudCover": norm(cloud, 0, 100),
                "pressure": norm(pressure, 29.6, 30.3),
            },
            "flags": {"isObserved": False, "isPrecipPeak": (di, clock) == (0, 11)},
            "_temp": temp,
        })
    for di in range(2):
        d = date(2026, 11, 21) + timedelta(days=di)
        dh = hours[di * 24:(di + 1) * 24]
        days.append({
            "index": di,
            "day": d.strftime("%a"),
            "date": d.day,
            "fullDate": d.isoformat(),
            "high": int(round(max(h["_temp"] for h in dh))),
            "low": int(round(min(h["_temp"] for h in dh))),
            "precipProb": max(h["values"]["precipProb"] for h in dh),
            "precipAmount": r2(sum(h["values"]["precipAmount"] for h in dh)),
            "icon": "rain" if di == 0 else "partly-cloudy-day",
        })
        segments.append({"startIndex": float(di * 24), "endIndex": float(di * 24 + 24),
                         "label": d.strftime("%a"), "date": d.isoformat()})
        # Late-November Galveston: sunrise about 6:55, sunset about 17:22 CST.
        bands.append({"date": d.isoformat(), "startIndex": di * 24 + 6.92,
                      "endIndex": di * 24 + 17.37,
                      "sunrise": f"{d.isoformat()}T06:55", "sunset": f"{d.isoformat()}T17:22"})
    peaks.append({"dayIndex": 0, "hourIndex": 11, "amount": 0.08})
    for h in hours:
        del h["_temp"]
    return {
        "version": PACKET_VERSION,
        "generatedAt": "2026-11-21T15:00:00Z",
        "location": {"name": "Galveston, TX", "latitude": LAT, "longitude": LON},
        "metrics": metric_records(("precip", "temp")),
        "domains": domains,
        "days": days,
        "hours": hours,
        "annotations": {"daySegments": segments, "daylightBands": bands, "precipPeaks": peaks},
    }


def main():
    week = build_rainy_week()
    written = [
        dump(week, "rainy-week.json"),
        dump(build_minimal(), "minimal.json"),
        dump({"packet": week, "displayLocation": " Galveston ,TX ",
              "completedAt": "2026-10-29T19:06:40Z"}, "forecast-cache.json"),
    ]
    for path in written:
        print(f"{os.path.relpath(path)}: {os.path.getsize(path)} bytes")


if __name__ == "__main__":
    main()
