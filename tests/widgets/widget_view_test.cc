// Every widget kind as the host draws it (one surface per size kept and reused, the PNG rows
// packed in the drawing's own pixels, the observed hours hatched from a tile) against a reference
// drawn on a fresh surface with the hatch stroked line by line and written by cairo's own PNG
// writer: the same pixels outside the hatch and within a few levels inside it, per kind. E-paper
// pictures likewise against the drawn surface's own luminance threshold.
#include "widgets/widget_view.h"

#include <cairo.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>

#include "model/chart_packet.h"
#include "render/color.h"
#include "render/png.h"
#include "snapshot/builder.h"
#include "support/png_pixels.h"
#include "support/test_support.h"

namespace pluvo::widgets {
namespace {

// 3:05 p.m. in Galveston on the rainy week's first day: the morning's hours are observed.
const Instant kNow = testing::at("2026-10-29T20:05:00Z");

model::PluvoWidgetSnapshot rainyWeek() {
  auto packet = model::decodeChartPacket(testing::readSample("rainy-week.json"));
  EXPECT_TRUE(packet) << (packet ? "" : packet.error().message);
  return snapshot::makeWidgetSnapshot(*packet, {.dayCount = 7, .temperatureUnit = "F"}, kNow);
}

struct Reference {
  render::Canvas canvas;
  std::vector<render::Rect> hatched;  // points
};

// The kind drawn on a fresh surface, any hatch stroked line by line as a path.
Reference drawReference(const WidgetDescription& widget, const model::PluvoWidgetSnapshot& shown,
                        std::optional<render::EPaper> epaper = std::nullopt) {
  render::Size size = familySize(widget.family);
  Reference r{render::Canvas::create(render::ImageFormat::png, size, 3, epaper).value(), {}};
  r.canvas.fillRect(r.canvas.bounds(), render::palette::widgetBackground);
  WidgetLayoutConstants constants = layoutFor(widget.family, widget.variant);
  if (constants.layout == LayoutKind::small || epaper) {
    drawWidgetContent(r.canvas, r.canvas.bounds(), widget, shown, kNow);
    return r;
  }
  WidgetLayout layout = layoutWidget(constants, shown, kNow, nullptr, r.canvas.bounds());
  for (PlacedElement& e : layout.elements) {
    if (e.kind != ElementKind::hatch) continue;
    r.hatched.push_back(e.frame);
    for (double x = e.frame.minX() - e.frame.height; x < e.frame.maxX(); x += e.style.pitch) {
      e.path.moveTo({x, e.frame.maxY()});
      e.path.lineTo({x + e.frame.height, e.frame.minY()});
    }
    e.kind = ElementKind::stroke;
    e.style.cap = render::LineCap::butt;
    e.style.clip = e.frame;
  }
  paintLayout(r.canvas, layout);
  return r;
}

TEST(WidgetView, HostDrawingsMatchAFreshStrokedReferenceAndRepeatOnReusedSurfaces) {
  const model::PluvoWidgetSnapshot shown = rainyWeek();
  render::SurfacePool pool;
  // The largest difference a tile makes inside a 16%-opacity hatch.
  constexpr int kHatchLevels = 11;
  int hatchedKinds = 0;
  for (int round = 0; round < 2; ++round) {
    for (const WidgetDescription& widget : kWidgetCatalogue) {
      SCOPED_TRACE(std::string(widget.kind) + ", round " + std::to_string(round));
      auto drawn = renderWidget(widget.kind, shown, kNow, {.surfaces = &pool});
      ASSERT_TRUE(drawn) << drawn.error().message;
      // A surface kept from the previous round holds packed rows, not a drawing: cleared first.
      auto fresh = renderWidget(widget.kind, shown, kNow, {});
      EXPECT_EQ(drawn->bytes, fresh->bytes);

      Reference reference = drawReference(widget, shown);
      testing::DecodedPng ours = testing::decodePng(drawn->bytes);
      testing::DecodedPng theirs =
          testing::decodePng(render::encodePngWithCairo(reference.canvas.imageSurface()).value());
      ASSERT_EQ(ours.width, theirs.width);
      ASSERT_EQ(ours.height, theirs.height);
      int inHatch = 0, outside = 0;
      for (int y = 0; y < ours.height; ++y) {
        for (int x = 0; x < ours.width; ++x) {
          testing::Rgba a = ours.at(x, y), b = theirs.at(x, y);
          int difference = std::max(
              {std::abs(a.r - b.r), std::abs(a.g - b.g), std::abs(a.b - b.b), std::abs(a.a - b.a)});
          bool hatched = std::any_of(reference.hatched.begin(), reference.hatched.end(),
                                     [&](const render::Rect& r) {
                                       return x + 1 >= r.minX() * 3 && x <= r.maxX() * 3 &&
                                              y + 1 >= r.minY() * 3 && y <= r.maxY() * 3;
                                     });
          int& worst = hatched ? inHatch : outside;
          worst = std::max(worst, difference);
        }
      }
      EXPECT_EQ(outside, 0);
      EXPECT_LE(inHatch, kHatchLevels);
      if (round == 0 && !reference.hatched.empty()) ++hatchedKinds;
    }
  }
  EXPECT_GE(hatchedKinds, 3);  // the two-day and both large kinds show the observed morning
  EXPECT_EQ(pool.keptBytes(), 1092u * 4 * 1146);  // the large widget's pixels, no more
}

TEST(WidgetView, EPaperPicturesAreTheDrawnSurfaceThresholdedAtHalfLuminance) {
  const model::PluvoWidgetSnapshot shown = rainyWeek();
  render::SurfacePool pool;
  for (const WidgetDescription& widget : kWidgetCatalogue) {
    SCOPED_TRACE(widget.kind);
    for (int round = 0; round < 2; ++round) {
      auto drawn =
          renderWidget(widget.kind, shown, kNow, {.epaper = render::EPaper{}, .surfaces = &pool});
      ASSERT_TRUE(drawn) << drawn.error().message;
      testing::DecodedPng ours = testing::decodePng(drawn->bytes);
      Reference reference = drawReference(widget, shown, render::EPaper{});
      cairo_surface_t* surface = reference.canvas.imageSurface();
      cairo_surface_flush(surface);
      const unsigned char* data = cairo_image_surface_get_data(surface);
      const int stride = cairo_image_surface_get_stride(surface);
      ASSERT_EQ(ours.width, cairo_image_surface_get_width(surface));
      int wrong = 0;
      for (int y = 0; y < ours.height; ++y) {
        for (int x = 0; x < ours.width; ++x) {
          std::uint32_t p = reinterpret_cast<const std::uint32_t*>(data + y * stride)[x];
          unsigned luma = 299 * ((p >> 16) & 0xff) + 587 * ((p >> 8) & 0xff) + 114 * (p & 0xff);
          std::uint8_t expected = luma >= 128 * 1000 ? 255 : 0;
          testing::Rgba got = ours.at(x, y);
          if (got.r != expected || got.g != expected || got.b != expected) ++wrong;
        }
      }
      EXPECT_EQ(wrong, 0);
    }
  }
}

}  // namespace
}  // namespace pluvo::widgets
