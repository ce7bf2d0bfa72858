#include "widgets/catalogue.h"

namespace pluvo::widgets {

std::string_view familyName(WidgetFamily family) {
  switch (family) {
    case WidgetFamily::systemSmall:
      return "systemSmall";
    case WidgetFamily::systemMedium:
      return "systemMedium";
    case WidgetFamily::systemLarge:
      return "systemLarge";
    case WidgetFamily::systemExtraLarge:
      return "systemExtraLarge";
  }
  return "systemLarge";
}

std::string_view variantName(PluvoWidgetVariant variant) {
  switch (variant) {
    case PluvoWidgetVariant::standard:
      return "standard";
    case PluvoWidgetVariant::mediumToday:
      return "mediumToday";
    case PluvoWidgetVariant::largeThreeDay:
      return "largeThreeDay";
  }
  return "standard";
}

std::string_view layoutKindName(LayoutKind kind) {
  switch (kind) {
    case LayoutKind::small:
      return "SmallPluvoWidget";
    case LayoutKind::mediumToday:
      return "MediumTodayPluvoWidget";
    case LayoutKind::mediumTrend:
      return "MediumTrendPluvoWidget";
    case LayoutKind::largeTrend:
      return "LargeTrendPluvoWidget";
  }
  return "LargeTrendPluvoWidget";
}

const WidgetDescription* findWidget(std::string_view kind) {
  for (const WidgetDescription& widget : kWidgetCatalogue) {
    if (widget.kind == kind) return &widget;
  }
  return nullptr;
}

render::Size familySize(WidgetFamily family) {
  switch (family) {
    case WidgetFamily::systemSmall:
      return {170, 170};
    case WidgetFamily::systemMedium:
      return {364, 170};
    case WidgetFamily::systemLarge:
      return {364, 382};
    case WidgetFamily::systemExtraLarge:
      return {715, 338};
  }
  return {364, 382};
}

WidgetLayoutConstants layoutFor(WidgetFamily family, PluvoWidgetVariant variant) {
  switch (family) {
    case WidgetFamily::systemSmall:
      return {.layout = LayoutKind::small};
    case WidgetFamily::systemMedium:
      if (variant == PluvoWidgetVariant::mediumToday) {
        return {.layout = LayoutKind::mediumToday,
                .topPadding = 10,
                .bottomPadding = 10,
                .horizontalPadding = 11,
                .headerHeight = 26,
                .headerSpacing = 6};
      }
      // The trend layout keeps one point less under its header than the other two.
      return {.layout = LayoutKind::mediumTrend,
              .topPadding = 10,
              .bottomPadding = 10,
              .horizontalPadding = 11,
              .headerHeight = 26,
              .headerSpacing = 5,
              .rowSpacing = 3,
              .rowSeparatorHeight = 0.6};
    case WidgetFamily::systemLarge:
    case WidgetFamily::systemExtraLarge:
      break;
  }
  // Large, and any family the phone may add: 16 points at the bottom against 10 at the top.
  return {.layout = LayoutKind::largeTrend,
          .topPadding = 10,
          .bottomPadding = 16,
          .horizontalPadding = 11,
          .headerHeight = 26,
          .headerSpacing = 6,
          .rowSpacing = 3,
          .rowSeparatorHeight = 0.6,
          .fixedDayCount =
              variant == PluvoWidgetVariant::largeThreeDay ? std::optional<int>(3) : std::nullopt};
}

}  // namespace pluvo::widgets
