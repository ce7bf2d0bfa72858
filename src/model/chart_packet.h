// The chart packet: the forecast service's JSON answer for one place.
//
// Every record lists its fields once, in wire order; the codec maps them to JSON keys of the
// same names. Decoding is all-or-nothing (a missing required key, a wrong JSON type or an
// unknown metric key fails the whole packet) except for alerts, which forgive missing fields.
// Dates and times inside a packet are the service's texts and are kept as text. Units are the
// service's display units: degrees Fahrenheit, inches, miles per hour, percentages 0-100.
//
//   Expected<ChartPacket> packet = decodeChartPacket(bytes);
//   if (!packet) std::cerr << packet.error().message;  // "hours[17].values.windGust: ..."
//
// Thread safety: plain values; the functions may run on any thread.
#pragma once

#include <boost/describe.hpp>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/error.h"

namespace pluvo::model {

// The metrics a chart can draw, in their fixed order. Raw values equal the case names; an
// unknown raw value is data corruption and fails the packet, deliberately with no fallback.
enum class MetricKey {
  precip,
  temp,
  wind,
  humidity,
  dewpoint,
  cloudcover,
  pressure,
  airquality,
  tide,
  solunar,
  sun
};
BOOST_DESCRIBE_ENUM(MetricKey, precip, temp, wind, humidity, dewpoint, cloudcover, pressure,
                    airquality, tide, solunar, sun)

std::string_view rawValue(MetricKey key);

// How serious an alert is. Read forgivingly: trimmed, lower-cased, "warning" and "watch" are
// recognised and every other text, or a value that is not a string at all, is an advisory.
enum class ChartAlertKind { warning, watch, advisory };
BOOST_DESCRIBE_ENUM(ChartAlertKind, warning, watch, advisory)

// The place a packet is for.
struct ChartLocation {
  std::string name;
  double latitude{};
  double longitude{};
  std::optional<std::string> timezone;
  bool operator==(const ChartLocation&) const = default;
};
BOOST_DESCRIBE_STRUCT(ChartLocation, (), (name, latitude, longitude, timezone))

// One metric the chart can show; `color` is a hex colour text.
struct ChartMetric {
  MetricKey key{};
  std::string label;
  std::string color;
  std::string unit;
  bool defaultVisible{};
  std::string renderer;
  bool operator==(const ChartMetric&) const = default;
};
BOOST_DESCRIBE_STRUCT(ChartMetric, (), (key, label, color, unit, defaultVisible, renderer))

// The value range mapped onto the chart's 0-1 axis.
struct ChartDomain {
  double min{};
  double max{};
  bool operator==(const ChartDomain&) const = default;
};
BOOST_DESCRIBE_STRUCT(ChartDomain, (), (min, max))

// Axis ranges of the chart.
struct ChartDomains {
  ChartDomain display;
  ChartDomain precipAmount;
  ChartDomain temp;
  ChartDomain wind;
  ChartDomain pressure;
  std::optional<ChartDomain> minutely15PrecipAmount;
  bool operator==(const ChartDomains&) const = default;
};
BOOST_DESCRIBE_STRUCT(ChartDomains, (),
                      (display, precipAmount, temp, wind, pressure, minutely15PrecipAmount))

// A daily summary. `date` is the day of the month, `fullDate` "yyyy-MM-dd"; `precipProb` is a
// percentage.
struct ChartDay {
  std::int64_t index{};
  std::string day;
  std::int64_t date{};
  std::string fullDate;
  double high{};
  double low{};
  double precipProb{};
  double precipAmount{};
  std::string icon;
  std::optional<std::string> condition;
  std::optional<std::string> sunrise;
  std::optional<std::string> sunset;
  bool operator==(const ChartDay&) const = default;
};
BOOST_DESCRIBE_STRUCT(ChartDay, (),
                      (index, day, date, fullDate, high, low, precipProb, precipAmount, icon,
                       condition, sunrise, sunset))

// One hour's values in display units (percentages for chances, cover and humidity; degrees for
// direction).
struct ChartHourValues {
  std::optional<double> temp;
  std::optional<double> feelsLike;
  double precipProb{};
  double precipAmount{};
  double windSpeed{};
  double windGust{};
  std::optional<double> windDir;
  std::optional<double> humidity;
  std::optional<double> dewPoint;
  std::optional<double> cloudCover;
  std::optional<double> pressure;
  std::optional<double> airQualityIndex;
  std::optional<double> tideHeight;
  std::optional<double> moonAltitude;
  std::optional<double> moonAltitudeDegrees;
  std::optional<double> moonIllumination;
  std::optional<double> tideCoefficient;
  std::optional<std::string> solunarPeriodType;
  bool operator==(const ChartHourValues&) const = default;
};
BOOST_DESCRIBE_STRUCT(ChartHourValues, (),
                      (temp, feelsLike, precipProb, precipAmount, windSpeed, windGust, windDir,
                       humidity, dewPoint, cloudCover, pressure, airQualityIndex, tideHeight,
                       moonAltitude, moonAltitudeDegrees, moonIllumination, tideCoefficient,
                       solunarPeriodType))

// The same values scaled to 0-1 on their metric's domain.
struct ChartNormalizedValues {
  double precipProb{};
  double precipAmount{};
  double temp{};
  double windSpeed{};
  double windGust{};
  double humidity{};
  double dewPoint{};
  double cloudCover{};
  double pressure{};
  std::optional<double> airQualityIndex;
  std::optional<double> tideHeight;
  std::optional<double> tideCoefficient;
  std::optional<double> moonAltitude;
  bool operator==(const ChartNormalizedValues&) const = default;
};
BOOST_DESCRIBE_STRUCT(ChartNormalizedValues, (),
                      (precipProb, precipAmount, temp, windSpeed, windGust, humidity, dewPoint,
                       cloudCover, pressure, airQualityIndex, tideHeight, tideCoefficient,
                       moonAltitude))

// Per-hour flags: observed (past) hours and marked rain peaks.
struct ChartHourFlags {
  bool isObserved{};
  bool isPrecipPeak{};
  bool operator==(const ChartHourFlags&) const = default;
};
BOOST_DESCRIBE_STRUCT(ChartHourFlags, (), (isObserved, isPrecipPeak))

// One hour of the series. Times are the service's texts, kept as they are.
struct ChartHour {
  std::int64_t seqIndex{};
  std::int64_t dayIndex{};
  std::string dayLabel;
  std::string timeLabel;
  std::string datetime;
  std::string startISO;
  std::string endISO;
  ChartHourValues values;
  std::optional<std::string> icon;
  std::optional<std::string> precipType;
  ChartNormalizedValues normalized;
  ChartHourFlags flags;
  bool operator==(const ChartHour&) const = default;
};
BOOST_DESCRIBE_STRUCT(ChartHour, (),
                      (seqIndex, dayIndex, dayLabel, timeLabel, datetime, startISO, endISO, values,
                       icon, precipType, normalized, flags))

// The stretch of hour indices one day occupies.
struct ChartDaySegment {
  double startIndex{};
  double endIndex{};
  std::string label;
  std::string date;
  bool operator==(const ChartDaySegment&) const = default;
};
BOOST_DESCRIBE_STRUCT(ChartDaySegment, (), (startIndex, endIndex, label, date))

// Sunrise to sunset as fractional hour indices.
struct ChartDaylightBand {
  std::string date;
  double startIndex{};
  double endIndex{};
  std::string sunrise;
  std::string sunset;
  bool operator==(const ChartDaylightBand&) const = default;
};
BOOST_DESCRIBE_STRUCT(ChartDaylightBand, (), (date, startIndex, endIndex, sunrise, sunset))

// A marked rain peak.
struct ChartPrecipPeak {
  std::int64_t dayIndex{};
  std::int64_t hourIndex{};
  double amount{};
  bool operator==(const ChartPrecipPeak&) const = default;
};
BOOST_DESCRIBE_STRUCT(ChartPrecipPeak, (), (dayIndex, hourIndex, amount))

// A solunar or tide period on the chart.
struct ChartCoastalPeriod {
  std::string type;
  std::string event;
  std::string label;
  double startIndex{};
  double endIndex{};
  double peakIndex{};
  std::optional<double> moonIllumination;
  bool operator==(const ChartCoastalPeriod&) const = default;
};
BOOST_DESCRIBE_STRUCT(ChartCoastalPeriod, (),
                      (type, event, label, startIndex, endIndex, peakIndex, moonIllumination))

// A high or low tide at a fractional hour index.
struct ChartTideEvent {
  double hourIndex{};
  std::optional<std::string> timeISO;
  std::optional<std::string> timeLabel;
  std::string type;
  double height{};
  std::optional<double> coefficient;
  bool operator==(const ChartTideEvent&) const = default;
};
BOOST_DESCRIBE_STRUCT(ChartTideEvent, (),
                      (hourIndex, timeISO, timeLabel, type, height, coefficient))

// The current hour: an index into `hours`.
struct ChartNow {
  std::int64_t hourIndex{};
  std::string label;
  std::optional<std::string> iso;
  bool operator==(const ChartNow&) const = default;
};
BOOST_DESCRIBE_STRUCT(ChartNow, (), (hourIndex, label, iso))

// Chart annotations.
struct ChartAnnotations {
  std::vector<ChartDaySegment> daySegments;
  std::vector<ChartDaylightBand> daylightBands;
  std::vector<ChartPrecipPeak> precipPeaks;
  std::optional<std::vector<ChartCoastalPeriod>> coastalPeriods;
  std::optional<std::vector<ChartTideEvent>> tideEvents;
  std::optional<ChartNow> now;
  bool operator==(const ChartAnnotations&) const = default;
};
BOOST_DESCRIBE_STRUCT(ChartAnnotations, (),
                      (daySegments, daylightBands, precipPeaks, coastalPeriods, tideEvents, now))

// Unit names of the forecast's values.
struct ChartForecastUnits {
  std::optional<std::string> temperature;
  std::optional<std::string> windSpeed;
  std::optional<std::string> precipitation;
  bool operator==(const ChartForecastUnits&) const = default;
};
BOOST_DESCRIBE_STRUCT(ChartForecastUnits, (), (temperature, windSpeed, precipitation))

// Where the forecast came from.
struct ChartForecastSource {
  std::string provider;
  std::optional<std::string> endpoint;
  std::optional<std::int64_t> forecastDays;
  std::optional<std::int64_t> hourlyStepMinutes;
  std::optional<std::int64_t> minutelyStepMinutes;
  std::optional<ChartForecastUnits> units;
  bool operator==(const ChartForecastSource&) const = default;
};
BOOST_DESCRIBE_STRUCT(ChartForecastSource, (),
                      (provider, endpoint, forecastDays, hourlyStepMinutes, minutelyStepMinutes,
                       units))

// Where the observed hours came from.
struct ChartObservationSource {
  std::string provider;
  std::optional<std::string> stationId;
  std::optional<std::string> stationName;
  bool operator==(const ChartObservationSource&) const = default;
};
BOOST_DESCRIBE_STRUCT(ChartObservationSource, (), (provider, stationId, stationName))

// How rain amounts were normalised.
struct ChartPrecipNormalizationSource {
  std::string provider;
  std::optional<std::string> note;
  bool operator==(const ChartPrecipNormalizationSource&) const = default;
};
BOOST_DESCRIBE_STRUCT(ChartPrecipNormalizationSource, (), (provider, note))

// Where the radar frames came from.
struct ChartRadarSource {
  std::string provider;
  std::optional<std::string> product;
  std::optional<std::int64_t> frameStepMinutes;
  std::optional<std::vector<std::int64_t>> frameOffsetsMinutes;
  bool operator==(const ChartRadarSource&) const = default;
};
BOOST_DESCRIBE_STRUCT(ChartRadarSource, (),
                      (provider, product, frameStepMinutes, frameOffsetsMinutes))

// Where the solunar and tide values came from.
struct ChartCoastalSource {
  std::optional<std::string> solunar;
  std::optional<std::string> tide;
  std::optional<std::string> stationId;
  std::optional<std::string> stationName;
  bool operator==(const ChartCoastalSource&) const = default;
};
BOOST_DESCRIBE_STRUCT(ChartCoastalSource, (), (solunar, tide, stationId, stationName))

// Data provenance.
struct ChartSources {
  std::optional<ChartForecastSource> forecast;
  std::optional<ChartObservationSource> observations;
  std::optional<ChartPrecipNormalizationSource> precipNormalization;
  std::optional<ChartRadarSource> radar;
  std::optional<ChartCoastalSource> coastal;
  bool operator==(const ChartSources&) const = default;
};
BOOST_DESCRIBE_STRUCT(ChartSources, (),
                      (forecast, observations, precipNormalization, radar, coastal))

// A 15-minute step's chance (percent) and amount.
struct ChartMinutelyValues {
  double precipProb{};
  double precipAmount{};
  bool operator==(const ChartMinutelyValues&) const = default;
};
BOOST_DESCRIBE_STRUCT(ChartMinutelyValues, (), (precipProb, precipAmount))

// The same, 0-1; the amount on `domains.minutely15PrecipAmount`.
struct ChartMinutelyNormalizedValues {
  double precipProb{};
  double precipAmount{};
  bool operator==(const ChartMinutelyNormalizedValues&) const = default;
};
BOOST_DESCRIBE_STRUCT(ChartMinutelyNormalizedValues, (), (precipProb, precipAmount))

// One step of the 15-minute precipitation series.
struct ChartMinutelyPoint {
  std::int64_t seqIndex{};
  std::optional<std::int64_t> hourIndex;
  std::optional<std::int64_t> dayIndex;
  std::string startISO;
  std::string endISO;
  std::string timeLabel;
  std::optional<std::string> precipType;
  ChartMinutelyValues values;
  ChartMinutelyNormalizedValues normalized;
  bool operator==(const ChartMinutelyPoint&) const = default;
};
BOOST_DESCRIBE_STRUCT(ChartMinutelyPoint, (),
                      (seqIndex, hourIndex, dayIndex, startISO, endISO, timeLabel, precipType,
                       values, normalized))

// One radar frame; `offsetMinutes` is negative in the past.
struct ChartRadarFrame {
  std::int64_t index{};
  std::int64_t offsetMinutes{};
  std::string offsetToken;
  std::string label;
  bool operator==(const ChartRadarFrame&) const = default;
};
BOOST_DESCRIBE_STRUCT(ChartRadarFrame, (), (index, offsetMinutes, offsetToken, label))

// Radar map tiles and their frames.
struct ChartRadar {
  std::string provider;
  std::string attribution;
  std::string product;
  std::string tileUrlTemplate;
  std::vector<ChartRadarFrame> frames;
  std::int64_t defaultFrameIndex{};
  double opacity{};
  bool operator==(const ChartRadar&) const = default;
};
BOOST_DESCRIBE_STRUCT(ChartRadar, (),
                      (provider, attribution, product, tileUrlTemplate, frames, defaultFrameIndex,
                       opacity))

// One map layer of a storm; `geoJSON` is a GeoJSON document carried as text.
struct ChartTropicalLayer {
  std::int64_t featureCount{};
  std::int64_t sourceLayerId{};
  std::string sourceLayerName;
  std::string geoJSON;
  bool operator==(const ChartTropicalLayer&) const = default;
};
BOOST_DESCRIBE_STRUCT(ChartTropicalLayer, (),
                      (featureCount, sourceLayerId, sourceLayerName, geoJSON))

// A storm's map layers.
struct ChartTropicalStormLayers {
  std::optional<ChartTropicalLayer> forecastCone;
  std::optional<ChartTropicalLayer> forecastTrack;
  std::optional<ChartTropicalLayer> forecastPoints;
  std::optional<ChartTropicalLayer> pastTrack;
  std::optional<ChartTropicalLayer> pastPoints;
  std::optional<ChartTropicalLayer> watchWarnings;
  std::optional<ChartTropicalLayer> forecastWindRadii;
  bool operator==(const ChartTropicalStormLayers&) const = default;
};
BOOST_DESCRIBE_STRUCT(ChartTropicalStormLayers, (),
                      (forecastCone, forecastTrack, forecastPoints, pastTrack, pastPoints,
                       watchWarnings, forecastWindRadii))

// One tropical storm.
struct ChartTropicalStorm {
  std::string id;
  std::string basin;
  std::string slot;
  std::string name;
  std::optional<std::string> advisoryNumber;
  std::optional<std::string> advisoryTime;
  ChartTropicalStormLayers layers;
  bool operator==(const ChartTropicalStorm&) const = default;
};
BOOST_DESCRIBE_STRUCT(ChartTropicalStorm, (),
                      (id, basin, slot, name, advisoryNumber, advisoryTime, layers))

// The tropical storm overlay.
struct ChartTropicalOverlay {
  bool active{};
  std::string provider;
  std::string attribution;
  std::string sourceUrl;
  std::string updatedAt;
  std::vector<ChartTropicalStorm> storms;
  bool operator==(const ChartTropicalOverlay&) const = default;
};
BOOST_DESCRIBE_STRUCT(ChartTropicalOverlay, (),
                      (active, provider, attribution, sourceUrl, updatedAt, storms))

// Radar-based nowcast correction: reflectivity in dBZ, arrival in minutes, distance in miles.
struct ChartRadarCorrection {
  std::optional<double> reflectivityDbz;
  std::optional<std::string> intensity;
  std::optional<double> estimatedArrivalMinutes;
  std::optional<double> nearestDistanceMiles;
  std::optional<double> coverage;
  std::optional<std::vector<double>> amountFloors;
  bool operator==(const ChartRadarCorrection&) const = default;
};
BOOST_DESCRIBE_STRUCT(ChartRadarCorrection, (),
                      (reflectivityDbz, intensity, estimatedArrivalMinutes, nearestDistanceMiles,
                       coverage, amountFloors))

// A weather alert. Forgiving on purpose: a missing or null field reads as empty (kind: advisory),
// and an id that is empty after trimming becomes a fresh upper-case UUID, so one sparse alert never
// costs the whole packet.
struct ChartAlert {
  std::string id;
  std::string event;
  ChartAlertKind kind{ChartAlertKind::advisory};
  std::string headline;
  std::string severity;
  std::string urgency;
  std::string onset;
  std::string ends;
  std::string description;
  std::optional<std::string> instruction;
  bool operator==(const ChartAlert&) const = default;
};
BOOST_DESCRIBE_STRUCT(ChartAlert, (),
                      (id, event, kind, headline, severity, urgency, onset, ends, description,
                       instruction))

// The service's forecast for one place.
struct ChartPacket {
  std::int64_t version{};
  std::string generatedAt;
  ChartLocation location;
  std::vector<ChartMetric> metrics;
  ChartDomains domains;
  std::vector<ChartDay> days;
  std::vector<ChartHour> hours;
  ChartAnnotations annotations;
  std::optional<ChartSources> sources;
  std::optional<std::vector<ChartMinutelyPoint>> minutely15;
  std::optional<ChartRadar> radar;
  std::optional<ChartTropicalOverlay> tropical;
  std::optional<ChartRadarCorrection> radarCorrection;
  std::optional<std::vector<ChartAlert>> alerts;
  bool operator==(const ChartPacket&) const = default;
};
BOOST_DESCRIBE_STRUCT(ChartPacket, (),
                      (version, generatedAt, location, metrics, domains, days, hours, annotations,
                       sources, minutely15, radar, tropical, radarCorrection, alerts))

// Decodes a packet from JSON bytes; the error names the path of the failing key.
Expected<ChartPacket> decodeChartPacket(std::string_view json);

// Encodes a packet as compact JSON, keys in wire order, absent optionals omitted. Fails only on
// a non-finite number.
Expected<std::string> encodeChartPacket(const ChartPacket& packet);

size_t hashValue(const ChartPacket& packet);

}  // namespace pluvo::model

template <>
struct std::hash<pluvo::model::ChartPacket> {
  size_t operator()(const pluvo::model::ChartPacket& p) const { return pluvo::model::hashValue(p); }
};
