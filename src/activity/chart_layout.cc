#include "activity/chart_layout.h"

#include <algorithm>
#include <cmath>
#include <map>

#include "activity/internal/zone_clock.h"

namespace pluvo::activity {

namespace {

constexpr double kHistorySeconds = 7200;    // two hours before now
constexpr double kForecastSeconds = 36000;  // ten hours after now
constexpr double kSpanSeconds = 43200;
constexpr double kMinimumDuration = 60;
constexpr double kMinutelyDuration = 1200;  // series finer than 20 minutes are minute data
constexpr double kResampleSeconds = 900;
// The 12-hour span holds 49 resampled chances; the cap only guards against instants so large
// that adding 900 s no longer moves them.
constexpr int kMaxResampled = 64;

double clamp01(double v) { return v > 0 ? std::min(v, 1.0) : 0; }  // NaN gives 0

// Hour buckets without a zone follow Chicago's clock; without the zone database, UTC's.
TimeZone bucketZone(TimeZone zone) {
  if (zone != nullptr) return zone;
  if (TimeZone chicago = findTimeZone("America/Chicago")) return chicago;
  return findTimeZone("UTC");
}

std::vector<double> durations(const std::vector<HourPoint>& points) {
  std::vector<double> d(points.size(), 3600);
  const size_t n = points.size();
  for (size_t i = 0; n > 1 && i < n; ++i) {
    d[i] =
        i + 1 < n ? points[i + 1].start - points[i].start : points[i].start - points[i - 1].start;
  }
  for (double& v : d) v = std::max(kMinimumDuration, v);
  return d;
}

// The first visible point that covers `start` (visible from at or before it to after it).
const ChartLayout::VisiblePoint* coveringStart(
    const std::vector<ChartLayout::VisiblePoint>& visible, Instant start) {
  for (const auto& v : visible) {
    if (v.visibleStart <= start && v.visibleEnd > start) return &v;
  }
  return nullptr;
}

std::vector<ChartLayout::ChanceSample> chanceSamples(const ChartLayout& layout) {
  using Sample = ChartLayout::ChanceSample;
  std::vector<Sample> raw;
  raw.reserve(layout.visiblePoints.size());
  for (const auto& v : layout.visiblePoints) {
    Instant date =
        layout.isMinutely
            ? Instant{(v.visibleStart.sinceReferenceDate + v.visibleEnd.sinceReferenceDate) / 2}
            : v.point.start;
    raw.push_back({date, v.point.precipProb});
  }
  if (raw.empty()) return raw;
  auto findCover = [&] { return coveringStart(layout.visiblePoints, layout.start); };

  std::vector<Sample> result;
  if (layout.isMinutely || raw.size() < 2) {
    if (raw.front().date > layout.start) {
      if (const auto* v = findCover()) result.push_back({layout.start, v->point.precipProb});
    }
    result.insert(result.end(), raw.begin(), raw.end());
  } else {
    Instant cursor = std::max(raw.front().date, layout.start);
    const Instant limit = std::min(raw.back().date, layout.end);
    for (int n = 0; cursor <= limit + 0.5 && n < kMaxResampled; ++n) {
      result.push_back({cursor, interpolatedChance(raw, cursor)});
      cursor = cursor + kResampleSeconds;
    }
    if (!result.empty() && result.front().date > layout.start) {
      if (const auto* v = findCover()) {
        result.insert(result.begin(), Sample{layout.start, v->point.precipProb});
      }
    } else if (result.empty()) {
      if (const auto* v = findCover()) result.push_back({layout.start, v->point.precipProb});
    }
  }
  const Sample& last = raw.back();
  if (!result.empty() && std::abs(result.back().date - last.date) > 1 && last.date <= layout.end) {
    result.push_back(last);
  }
  return result;
}

}  // namespace

double interpolatedChance(const std::vector<ChartLayout::ChanceSample>& samples, Instant t) {
  if (samples.empty()) return 0;
  const double time = t.unixSeconds();
  if (time <= samples.front().date.unixSeconds()) return samples.front().precipProb;
  if (time >= samples.back().date.unixSeconds()) return samples.back().precipProb;
  const size_t last = samples.size() - 1;
  size_t j = 0;
  while (j < samples.size() && samples[j].date.unixSeconds() < time) ++j;
  // j >= 1 here: t is after the first sample and before the last.
  const auto& s1 = samples[j - 1];
  const auto& s2 = samples[std::min(j, last)];
  const double p0 = samples[j >= 2 ? j - 2 : 0].precipProb;
  const double p1 = s1.precipProb;
  const double p2 = s2.precipProb;
  const double p3 = samples[std::min(j + 1, last)].precipProb;
  const double t1 = s1.date.unixSeconds();
  const double t2 = s2.date.unixSeconds();
  const double u = t1 < t2 ? (time - t1) / (t2 - t1) : 0;
  return 0.5 * (2 * p1 + u * (p2 - p0) + u * u * (2 * p0 - 5 * p1 + 4 * p2 - p3) +
                u * u * u * (3 * p1 - p0 - 3 * p2 + p3));
}

ChartLayout makeChartLayout(std::vector<HourPoint> points, double width, double height,
                            TimeZone timeZone, bool showIndicators, std::optional<Instant> now,
                            Instant currentTime) {
  ChartLayout layout;
  std::stable_sort(points.begin(), points.end(),
                   [](const HourPoint& a, const HourPoint& b) { return a.start < b.start; });
  layout.width = width;
  layout.height = height;
  layout.timeZone = timeZone;
  layout.showIndicators = showIndicators;

  if (now) {
    layout.start = *now - kHistorySeconds;
    layout.end = *now + kForecastSeconds;
  } else {
    layout.start = points.empty() ? currentTime : points.front().start;
    layout.end = layout.start + kSpanSeconds;
  }

  const std::vector<double> d = durations(points);
  layout.isMinutely = !d.empty() && *std::min_element(d.begin(), d.end()) <= kMinutelyDuration;

  for (size_t i = 0; i < points.size(); ++i) {
    const HourPoint& p = points[i];
    Instant visibleStart = std::max(layout.start, p.start);
    Instant visibleEnd = std::min(layout.end, p.start + d[i]);
    double visibleSeconds = visibleEnd - visibleStart;
    if (!(visibleSeconds > 0)) continue;
    double share = std::min(1.0, std::max(0.0, visibleSeconds / std::max(kMinimumDuration, d[i])));
    layout.visiblePoints.push_back({p, visibleStart, visibleEnd, p.precipAmount * share});
  }

  TimeZone zone = bucketZone(timeZone);
  std::map<double, ChartLayout::HourlyBar> buckets;
  for (const auto& v : layout.visiblePoints) {
    Instant bucket = internal::hourStart(v.point.start, zone).value_or(v.point.start);
    auto [it, created] = buckets.try_emplace(
        bucket.sinceReferenceDate, ChartLayout::HourlyBar{bucket, v.visibleStart, v.visibleEnd, 0});
    ChartLayout::HourlyBar& bar = it->second;
    bar.visibleStart = std::min(bar.visibleStart, v.visibleStart);
    bar.visibleEnd = std::max(bar.visibleEnd, v.visibleEnd);
    bar.amount += v.amount;
  }
  layout.hourlyBars.reserve(buckets.size());
  double largest = 0;
  for (auto& [key, bar] : buckets) {
    largest = layout.hourlyBars.empty() ? bar.amount : std::max(largest, bar.amount);
    layout.hourlyBars.push_back(bar);
  }
  layout.domain = std::max(0.5, 1.2 * largest);

  layout.points = std::move(points);
  layout.chanceSamples = chanceSamples(layout);
  return layout;
}

double ChartLayout::xPosition(Instant date) const {
  const double elapsed = date - start;
  const double span = end - start;
  const double fraction = span <= 60 ? elapsed / 60 : elapsed / span;
  const double gutter = showIndicators ? kLeftGutter : 0;
  const double plotWidth = showIndicators ? width - kLeftGutter - kRightGutter : width;
  if (plotWidth >= 1) {
    const double x = fraction * plotWidth;
    return gutter + (x > 0 ? std::min(x, plotWidth) : 0);
  }
  return gutter + clamp01(fraction);
}

double ChartLayout::barFraction(double amount) const {
  double largest = 0;
  for (size_t i = 0; i < hourlyBars.size(); ++i) {
    largest = i == 0 ? hourlyBars[i].amount : std::max(largest, hourlyBars[i].amount);
  }
  const double scale = 1.2 * largest;
  return scale >= 0.5 ? clamp01(amount / scale) : clamp01(2 * amount);
}

double ChartLayout::chanceY(double precipProb) const {
  const double p = clamp01(precipProb / 100);
  if (showIndicators) {
    const double plotHeight = std::max(1.0, height - kTopInset - kBottomInset);
    return kTopInset + plotHeight * (1 - p);
  }
  return std::max(1.0, height) * (1 - p);
}

}  // namespace pluvo::activity
