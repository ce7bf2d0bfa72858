#include "activity/presentations.h"

#include <algorithm>

#include "activity/texts.h"

namespace pluvo::activity {

namespace {

constexpr Font kLocationFont = font(13);
constexpr double kLocationOpacity = 0.7;
constexpr Font kBrandFont = font(14);
constexpr Font kBrandSecondaryFont = font(12);
constexpr double kBrandSecondaryOpacity = 0.55;
constexpr double kBrandSpacing = 5;
constexpr double kBrandMarkSide = 15;
constexpr double kIconFrame = 28;

// The lock card's column and header row.
constexpr double kRowSpacing = 12;
constexpr double kHeaderSpacing = 8;
constexpr double kCopyMinScale = 0.7;
constexpr int kCopyMaxLines = 2;
// The place may take at most this share of the header row; the copy line carries the news.
constexpr double kLocationShare = 0.4;
constexpr double kFrameStrokeWidth = 1;
constexpr double kFrameStrokeOpacity = 0.12;
// Below this the chart's labels and bars no longer read: a two-line copy line then keeps to one
// line (shrinking or truncating) to leave the chart this much.
constexpr double kMinimumChartHeight = 30;

// The island's chart and its header.
constexpr double kIslandChartHeight = 36;
constexpr double kIslandChartGap = 8;
constexpr Font kIslandAmountFont = font(15, FontWeight::bold);
constexpr double kIslandCorner = 44;

std::string accessibility(std::initializer_list<std::string> parts) {
  std::string text;
  for (const std::string& part : parts) {
    if (part.empty()) continue;
    if (!text.empty()) text += ". ";
    text += part;
  }
  return text;
}

// The copy line for a listener: its texts without the visual separators.
std::string spokenCopyLine(const std::vector<TextRun>& runs) {
  std::string text;
  for (size_t i = 0; i < runs.size(); i += 2) {
    if (!text.empty()) text += ", ";
    text += runs[i].text;
  }
  return text;
}

Scene emptyScene(Size size, Color background, double corner) {
  Scene scene;
  scene.width = size.width;
  scene.height = size.height;
  scene.background = background;
  scene.backgroundCornerRadius = corner;
  scene.tapTarget = std::string(kTapTarget);
  return scene;
}

// One line of `runs` in `font`, vertically centred in `frame`.
TextBlock centredLine(std::vector<TextRun> runs, Font font, Rect frame, TextAlignment alignment,
                      double minScale, const MeasureText& measure) {
  const TextMetrics m = measure(plainText(runs), font);
  const double baseline = frame.y + (frame.height - m.height()) / 2 + m.ascent;
  return TextBlock{std::move(runs), font, frame, baseline, alignment, 1, minScale};
}

SymbolItem intensityIcon(const ContentState& state, double pointSize, Rect frame) {
  return SymbolItem{std::string(intensitySymbol(state.intensityLabel)), font(pointSize),
                    palette::rain, frame};
}

std::string totalAmount(const ContentState& state) { return amountText(state.totalInches); }

// The lines a text needs in `width`: one when it fits at full size, else `maxLines`.
int linesNeeded(const std::string& text, Font font, double width, int maxLines,
                const MeasureText& measure) {
  return measure(text, font).width <= width ? 1 : maxLines;
}

void translate(Rect& r, Point by) {
  r.x += by.x;
  r.y += by.y;
}

// Appends a region's items to `into`, moved to `origin`.
void place(Scene& into, Scene region, Point origin) {
  for (Item& item : region.items) {
    std::visit(
        [&](auto& it) {
          using T = std::decay_t<decltype(it)>;
          if constexpr (std::is_same_v<T, FrameStroke>) {
            translate(it.rect, origin);
          } else {
            translate(it.frame, origin);
          }
          if constexpr (std::is_same_v<T, TextBlock>) it.firstBaseline += origin.y;
        },
        item);
    into.items.push_back(std::move(item));
  }
}

}  // namespace

// The lock card, about 364x160 points on the phone:
//   - contentInsetHorizontal 16: the lock screen's own margin, so the text lines up with the
//     clock's and the notifications' edges;
//   - contentInsetTop 14 and contentInsetBottom 12: the brand row sits a little lower than the
//     bottom edge is high, because the chart's tick labels already leave air under its bars;
//   - frameInset 1 with a 1-point stroke: the hairline lies wholly inside the picture (from 0.5
//     to 1.5 points in), so it is never cut by the system's own rounding;
//   - frameCorner 21: concentric with the card's 22-point outer corner (21 + 1);
//   - copyFontSize 15: two points above the place's 13 so the amount leads the row, and at the
//     0.7 shrink limit still 10.5 points, the smallest text that reads at arm's length.
// With these, a one-line copy line leaves the chart 75 points and a two-line one 57: both keep a
// bar area of at least 36 points under the chart's label gutters.
Scene lockCard(const PresentationInput& input, const LockCardLengths& lengths, Size size) {
  const ContentState& state = input.state;
  const MeasureText& measure = input.measure;
  const TimeZone zone = textZone(state, input.deviceZone);
  Scene scene =
      emptyScene(size, palette::widgetBackground, lengths.frameCorner + lengths.frameInset);

  const double left = lengths.contentInsetHorizontal;
  const double contentWidth = std::max(1.0, size.width - 2 * lengths.contentInsetHorizontal);
  const double right = left + contentWidth;
  double y = lengths.contentInsetTop;

  // Brand row: the mark, "Pluvo" and a quieter word, 5 points apart on one baseline.
  const TextMetrics brand = measure("Pluvo", kBrandFont);
  const TextMetrics secondary = measure("Rain window", kBrandSecondaryFont);
  const double brandHeight = std::max(kBrandMarkSide, brand.height());
  const double brandBaseline = y + (brandHeight - brand.height()) / 2 + brand.ascent;
  scene.items.push_back(BrandMarkItem{
      {left, y + (brandHeight - kBrandMarkSide) / 2, kBrandMarkSide, kBrandMarkSide}});
  double x = left + kBrandMarkSide + kBrandSpacing;
  scene.items.push_back(TextBlock{{{"Pluvo", render::named::white}},
                                  kBrandFont,
                                  {x, y, std::min(brand.width, right - x), brandHeight},
                                  brandBaseline});
  x += brand.width + kBrandSpacing;
  if (x < right) {
    scene.items.push_back(
        TextBlock{{{"Rain window", render::named::white.opacity(kBrandSecondaryOpacity)}},
                  kBrandSecondaryFont,
                  {x, y, std::min(secondary.width, right - x), brandHeight},
                  brandBaseline});
  }
  y += brandHeight + kRowSpacing;

  // Header row: the place, then the copy line, on the first line's baseline.
  const Font copyFont = font(lengths.copyFontSize);
  const std::string location = displayLocation(state.locationName);
  std::vector<TextRun> copy = copyLine(state, input.now, zone);
  const std::string copyText = plainText(copy);
  const std::string spoken = spokenCopyLine(copy);
  const TextMetrics copyMetrics = measure(copyText, copyFont);
  double copyLeft = left;
  double ascent = copyMetrics.ascent;
  double descent = copyMetrics.descent;
  TextMetrics place{};
  if (!location.empty()) {
    place = measure(location, kLocationFont);
    ascent = std::max(ascent, place.ascent);
    descent = std::max(descent, place.descent);
    copyLeft = left + std::min(place.width, kLocationShare * contentWidth) + kHeaderSpacing;
  }
  const double copyWidth = std::max(1.0, right - copyLeft);
  int lines = linesNeeded(copyText, copyFont, copyWidth, kCopyMaxLines, measure);
  auto headerHeightFor = [&](int n) { return ascent + descent + (n - 1) * copyMetrics.height(); };
  const double chartRoom = size.height - lengths.contentInsetBottom - y - kRowSpacing;
  if (lines > 1 && chartRoom - headerHeightFor(lines) < kMinimumChartHeight) lines = 1;
  const double headerBaseline = y + ascent;
  const double headerHeight = headerHeightFor(lines);
  if (!location.empty()) {
    scene.items.push_back(TextBlock{{{location, render::named::white.opacity(kLocationOpacity)}},
                                    kLocationFont,
                                    {left, y, copyLeft - kHeaderSpacing - left, headerHeight},
                                    headerBaseline});
  }
  scene.items.push_back(TextBlock{std::move(copy),
                                  copyFont,
                                  {copyLeft, y, copyWidth, headerHeight},
                                  headerBaseline,
                                  TextAlignment::kLeading,
                                  lines,
                                  kCopyMinScale});
  y += headerHeight + kRowSpacing;

  // The chart takes the rest of the column.
  const double chartHeight =
      std::max(kMinimumChartHeight, size.height - lengths.contentInsetBottom - y);
  MiniChartOptions options{input.now, true, findTimeZone(state.timeZoneIdentifier.value_or("")),
                           false};
  scene.items.push_back(ChartItem{{left, y, contentWidth, chartHeight},
                                  makeMiniChart(state.hours, contentWidth, chartHeight, options,
                                                input.deviceZone, input.now, measure)});

  scene.items.push_back(
      FrameStroke{{lengths.frameInset, lengths.frameInset, size.width - 2 * lengths.frameInset,
                   size.height - 2 * lengths.frameInset},
                  lengths.frameCorner,
                  kFrameStrokeWidth,
                  render::named::white.opacity(kFrameStrokeOpacity)});
  scene.accessibilityLabel = accessibility({"Pluvo", location, state.intensityLabel, spoken});
  return scene;
}

// The banner: the symbol in a 28-point square beside a column of the place and the copy line,
// 2 points apart, the column centred in the banner's height.
Scene watchBanner(const PresentationInput& input, Size size) {
  constexpr double kInset = 10;
  constexpr double kSpacing = 8;
  constexpr double kColumnSpacing = 2;
  constexpr Font kCopyFont = font(14);
  const ContentState& state = input.state;
  const MeasureText& measure = input.measure;
  const TimeZone zone = textZone(state, input.deviceZone);
  Scene scene = emptyScene(size, palette::widgetBackground, 16);

  scene.items.push_back(
      intensityIcon(state, 22, {kInset, (size.height - kIconFrame) / 2, kIconFrame, kIconFrame}));
  const double left = kInset + kIconFrame + kSpacing;
  const double width = std::max(1.0, size.width - left - kInset);
  const std::string location = displayLocation(state.locationName);
  std::vector<TextRun> copy = copyLine(state, input.now, zone);
  const TextMetrics place = measure(location, kLocationFont);
  const TextMetrics line = measure(plainText(copy), kCopyFont);
  const int lines = linesNeeded(plainText(copy), kCopyFont, width, 2, measure);
  const double copyHeight = lines * line.height();
  const double columnHeight = (location.empty() ? 0 : place.height() + kColumnSpacing) + copyHeight;
  double y = (size.height - columnHeight) / 2;
  if (!location.empty()) {
    scene.items.push_back(TextBlock{{{location, render::named::white.opacity(kLocationOpacity)}},
                                    kLocationFont,
                                    {left, y, width, place.height()},
                                    y + place.ascent});
    y += place.height() + kColumnSpacing;
  }
  const std::string spoken = spokenCopyLine(copy);
  scene.items.push_back(TextBlock{std::move(copy),
                                  kCopyFont,
                                  {left, y, width, copyHeight},
                                  y + line.ascent,
                                  TextAlignment::kLeading,
                                  lines,
                                  0.65});
  scene.accessibilityLabel = accessibility({state.intensityLabel, location, spoken});
  return scene;
}

// The icon's frame on the region's leading edge, as the total keeps to the trailing one: in the
// expanded island the icon then stands over the place name and the chart below it.
Scene islandExpandedLeading(const PresentationInput& input, Size size) {
  Scene scene = emptyScene(size, palette::islandBlack, 0);
  scene.items.push_back(
      intensityIcon(input.state, 18, {0, (size.height - kIconFrame) / 2, kIconFrame, kIconFrame}));
  scene.accessibilityLabel = input.state.intensityLabel;
  return scene;
}

Scene islandExpandedTrailing(const PresentationInput& input, Size size) {
  Scene scene = emptyScene(size, palette::islandBlack, 0);
  const std::string amount = totalAmount(input.state);
  scene.items.push_back(centredLine({{amount, palette::rain}}, font(18, FontWeight::bold),
                                    {0, 0, size.width, size.height}, TextAlignment::kTrailing, 0.7,
                                    input.measure));
  scene.accessibilityLabel = amount;
  return scene;
}

// The compact chart (36 points leave no room for the full chart's label gutters) on the region's
// floor, and 8 points above it the header line: place on the left, total on the right, one
// baseline. A taller region leaves its spare room above the header.
Scene islandExpandedBottom(const PresentationInput& input, Size size) {
  const ContentState& state = input.state;
  const MeasureText& measure = input.measure;
  Scene scene = emptyScene(size, palette::islandBlack, 0);
  const std::string location = displayLocation(state.locationName);
  const std::string amount = totalAmount(state);
  const TextMetrics place = measure(location, kLocationFont);
  const TextMetrics total = measure(amount, kIslandAmountFont);
  const double ascent = std::max(place.ascent, total.ascent);
  const double headerHeight = ascent + std::max(place.descent, total.descent);
  const double amountWidth = std::min(total.width, size.width);
  const double locationWidth = std::max(0.0, size.width - amountWidth - kHeaderSpacing);
  const double chartTop = std::max(0.0, size.height - kIslandChartHeight);
  const double headerTop = chartTop - kIslandChartGap - headerHeight;
  if (!location.empty()) {
    scene.items.push_back(TextBlock{{{location, render::named::white.opacity(kLocationOpacity)}},
                                    kLocationFont,
                                    {0, headerTop, locationWidth, headerHeight},
                                    headerTop + ascent});
  }
  scene.items.push_back(TextBlock{{{amount, palette::rain}},
                                  kIslandAmountFont,
                                  {size.width - amountWidth, headerTop, amountWidth, headerHeight},
                                  headerTop + ascent,
                                  TextAlignment::kTrailing});
  MiniChartOptions options{input.now, true, findTimeZone(state.timeZoneIdentifier.value_or("")),
                           true};
  scene.items.push_back(ChartItem{{0, chartTop, size.width, kIslandChartHeight},
                                  makeMiniChart(state.hours, size.width, kIslandChartHeight,
                                                options, input.deviceZone, input.now, measure)});
  scene.accessibilityLabel = accessibility({location, amount});
  return scene;
}

// The expanded island: the icon and the total either side of the camera, the chart below.
Scene islandExpanded(const PresentationInput& input, Size size) {
  constexpr double kSide = 18;
  constexpr double kTop = 12;
  constexpr Size kLeading{52, 52};
  constexpr Size kTrailing{120, 52};
  Scene scene = emptyScene(size, palette::islandBlack, kIslandCorner);
  const double bottomTop = kTop + kLeading.height + 8;
  const Size bottom{std::max(1.0, size.width - 2 * kSide),
                    std::max(1.0, size.height - bottomTop - kTop)};
  Scene leading = islandExpandedLeading(input, kLeading);
  Scene trailing = islandExpandedTrailing(input, kTrailing);
  Scene chart = islandExpandedBottom(input, bottom);
  scene.accessibilityLabel = accessibility({leading.accessibilityLabel, trailing.accessibilityLabel,
                                            displayLocation(input.state.locationName)});
  place(scene, std::move(leading), {kSide, kTop});
  place(scene, std::move(trailing), {size.width - kSide - kTrailing.width, kTop});
  place(scene, std::move(chart), {kSide, bottomTop});
  return scene;
}

// The compact regions keep their content this far from the island's rounded ends, the symbol on
// the left as the total on the right, so the two mirror each other across the camera.
constexpr double kCompactOuterInset = 8;
// The 12-point symbol's outline is about 14 points wide: a frame that wide starts the glyph at the
// inset.
constexpr double kCompactSymbolSide = 14;

Scene islandCompactLeading(const PresentationInput& input, Size size) {
  Scene scene = emptyScene(size, palette::islandBlack, 0);
  const double side = std::min({kCompactSymbolSide, size.width, size.height});
  const double x = std::min(kCompactOuterInset, std::max(0.0, size.width - side));
  scene.items.push_back(intensityIcon(input.state, 12, {x, (size.height - side) / 2, side, side}));
  scene.accessibilityLabel = input.state.intensityLabel;
  return scene;
}

Scene islandCompactTrailing(const PresentationInput& input, Size size) {
  Scene scene = emptyScene(size, palette::islandBlack, 0);
  const std::string amount = totalAmount(input.state);
  scene.items.push_back(
      centredLine({{amount, render::named::white}}, font(12),
                  {0, 0, std::max(1.0, size.width - kCompactOuterInset), size.height},
                  TextAlignment::kTrailing, 0.6, input.measure));
  scene.accessibilityLabel = amount;
  return scene;
}

// The compact island: the symbol left of the camera, the total right of it.
Scene islandCompact(const PresentationInput& input, Size size) {
  const Size region{std::min(52.0, size.width / 2), size.height};
  Scene scene = emptyScene(size, palette::islandBlack, size.height / 2);
  Scene leading = islandCompactLeading(input, region);
  Scene trailing = islandCompactTrailing(input, region);
  scene.accessibilityLabel =
      accessibility({leading.accessibilityLabel, trailing.accessibilityLabel});
  place(scene, std::move(leading), {0, 0});
  place(scene, std::move(trailing), {size.width - region.width, 0});
  return scene;
}

Scene islandMinimal(const PresentationInput& input, Size size) {
  constexpr double kInset = 4;
  Scene scene = emptyScene(size, palette::islandBlack, std::min(size.width, size.height) / 2);
  const std::string amount = totalAmount(input.state);
  scene.items.push_back(
      centredLine({{amount, palette::rain}}, font(11, FontWeight::bold),
                  {kInset, 0, std::max(1.0, size.width - 2 * kInset), size.height},
                  TextAlignment::kCenter, 0.6, input.measure));
  scene.accessibilityLabel = accessibility({input.state.intensityLabel, amount});
  return scene;
}

}  // namespace pluvo::activity
