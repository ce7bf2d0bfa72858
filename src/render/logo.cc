#include "render/logo.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "render/color.h"
#include "render/path.h"

namespace pluvo::render {

void drawPluvoLogoMark(Canvas& canvas, Rect box) {
  double height = std::min(box.height, box.width / kPluvoLogoMarkAspect);
  double width = height * kPluvoLogoMarkAspect;
  Rect r = Rect::centred(box.center(), {width, height});

  // The drop: a round body whose two sides run up as tangents to the tip.
  double radius = width / 2;
  Point tip{r.midX(), r.minY()};
  Point centre{r.midX(), r.maxY() - radius};
  double distance = centre.y - tip.y;
  double tangent = std::asin(radius / distance) * 180 / std::numbers::pi;  // at the tip
  // Where the sides touch the body, in degrees clockwise from +x.
  double rightTouch = -tangent, leftTouch = 180 + tangent;
  Path drop;
  drop.moveTo(tip);
  drop.addArc(centre, radius, rightTouch, leftTouch);
  drop.close();
  // On e-paper: a solid drop with its wave and highlight cut out of it.
  Canvas::Marks marks(canvas);
  canvas.fillPathWithLinearGradient(drop, {r.midX(), r.minY()}, {r.midX(), r.maxY()},
                                    {{0, palette::rain}, {1, palette::accent}});
  Canvas::Knockout cut(canvas);

  // A wave across the lower body: rain gathering into water.
  double u = width / 15;  // one point of the mark at its design size
  auto at = [&](double x, double y) { return Point{r.minX() + x * u, r.minY() + y * u}; };
  Path wave;
  wave.moveTo(at(3.0, 11.6));
  wave.curveTo(at(4.1, 10.6), at(5.2, 10.6), at(6.25, 11.6));
  wave.curveTo(at(7.3, 12.6), at(8.4, 12.6), at(9.5, 11.6));
  wave.curveTo(at(10.6, 10.6), at(11.3, 10.6), at(12.0, 11.2));
  canvas.strokePath(
      wave,
      {.color = named::white, .width = 1.35 * u, .cap = LineCap::round, .join = LineJoin::round});

  // A highlight on the upper left of the body.
  Path shine;
  shine.addArc(centre, radius * 0.6, 200, 250);
  canvas.strokePath(shine,
                    {.color = named::white.opacity(0.85), .width = 1.2 * u, .cap = LineCap::round});
}

}  // namespace pluvo::render
