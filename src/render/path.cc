#include "render/path.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace pluvo::render {

namespace {

// Control-point distance of a cubic that approximates a quarter circle of radius 1.
constexpr double kQuarterCircleKappa = 0.5522847498307936;

Point cubicAt(Point p0, Point p1, Point p2, Point p3, double t) {
  double u = 1 - t;
  double a = u * u * u, b = 3 * u * u * t, c = 3 * u * t * t, d = t * t * t;
  return {a * p0.x + b * p1.x + c * p2.x + d * p3.x, a * p0.y + b * p1.y + c * p2.y + d * p3.y};
}

// Parameters in (0, 1) where one coordinate of a cubic has an extreme value.
void cubicExtremes(double p0, double p1, double p2, double p3, std::vector<double>& ts) {
  // Derivative: a t^2 + b t + c.
  double a = -p0 + 3 * p1 - 3 * p2 + p3;
  double b = 2 * (p0 - 2 * p1 + p2);
  double c = p1 - p0;
  auto keep = [&](double t) {
    if (t > 0 && t < 1) ts.push_back(t);
  };
  if (std::fabs(a) < 1e-12) {
    if (std::fabs(b) > 1e-12) keep(-c / b);
    return;
  }
  double disc = b * b - 4 * a * c;
  if (disc < 0) return;
  double root = std::sqrt(disc);
  keep((-b + root) / (2 * a));
  keep((-b - root) / (2 * a));
}

}  // namespace

void Path::moveTo(Point p) {
  elements_.push_back({Verb::move, {p}});
  start_ = p;
}

void Path::lineTo(Point p) {
  if (elements_.empty()) return moveTo(p);
  elements_.push_back({Verb::line, {p}});
}

void Path::curveTo(Point control1, Point control2, Point end) {
  if (elements_.empty()) moveTo(control1);
  elements_.push_back({Verb::curve, {control1, control2, end}});
}

void Path::close() {
  if (elements_.empty() || elements_.back().verb == Verb::close) return;
  elements_.push_back({Verb::close, {start_}});
}

Point Path::currentPoint() const {
  if (elements_.empty()) return {};
  const Element& last = elements_.back();
  return last.verb == Verb::curve ? last.points[2] : last.points[0];
}

void Path::addRect(Rect r) {
  moveTo({r.minX(), r.minY()});
  lineTo({r.maxX(), r.minY()});
  lineTo({r.maxX(), r.maxY()});
  lineTo({r.minX(), r.maxY()});
  close();
}

void Path::addRoundedRect(Rect r, double radius) {
  double rad = std::clamp(radius, 0.0, std::min(r.width, r.height) / 2);
  if (rad <= 0) return addRect(r);
  double k = rad * kQuarterCircleKappa;
  moveTo({r.minX() + rad, r.minY()});
  lineTo({r.maxX() - rad, r.minY()});
  curveTo({r.maxX() - rad + k, r.minY()}, {r.maxX(), r.minY() + rad - k},
          {r.maxX(), r.minY() + rad});
  lineTo({r.maxX(), r.maxY() - rad});
  curveTo({r.maxX(), r.maxY() - rad + k}, {r.maxX() - rad + k, r.maxY()},
          {r.maxX() - rad, r.maxY()});
  lineTo({r.minX() + rad, r.maxY()});
  curveTo({r.minX() + rad - k, r.maxY()}, {r.minX(), r.maxY() - rad + k},
          {r.minX(), r.maxY() - rad});
  lineTo({r.minX(), r.minY() + rad});
  curveTo({r.minX(), r.minY() + rad - k}, {r.minX() + rad - k, r.minY()},
          {r.minX() + rad, r.minY()});
  close();
}

void Path::addEllipse(Rect r) {
  double rx = r.width / 2, ry = r.height / 2, cx = r.midX(), cy = r.midY();
  double kx = rx * kQuarterCircleKappa, ky = ry * kQuarterCircleKappa;
  moveTo({cx + rx, cy});
  curveTo({cx + rx, cy + ky}, {cx + kx, cy + ry}, {cx, cy + ry});
  curveTo({cx - kx, cy + ry}, {cx - rx, cy + ky}, {cx - rx, cy});
  curveTo({cx - rx, cy - ky}, {cx - kx, cy - ry}, {cx, cy - ry});
  curveTo({cx + kx, cy - ry}, {cx + rx, cy - ky}, {cx + rx, cy});
  close();
}

void Path::addArc(Point centre, double radius, double startDegrees, double endDegrees) {
  constexpr double kRadians = std::numbers::pi / 180;
  double a0 = startDegrees * kRadians, a1 = endDegrees * kRadians;
  while (a1 < a0) a1 += 2 * std::numbers::pi;
  Point first{centre.x + radius * std::cos(a0), centre.y + radius * std::sin(a0)};
  if (elements_.empty() || elements_.back().verb == Verb::close) {
    moveTo(first);
  } else {
    lineTo(first);
  }
  // At most a quarter turn per cubic keeps the error below 0.03% of the radius.
  int pieces = std::max(1, static_cast<int>(std::ceil((a1 - a0) / (std::numbers::pi / 2))));
  double step = (a1 - a0) / pieces;
  double k = 4.0 / 3.0 * std::tan(step / 4) * radius;
  for (int i = 0; i < pieces; ++i) {
    double s = a0 + i * step, e = s + step;
    Point p0{centre.x + radius * std::cos(s), centre.y + radius * std::sin(s)};
    Point p3{centre.x + radius * std::cos(e), centre.y + radius * std::sin(e)};
    curveTo({p0.x - k * std::sin(s), p0.y + k * std::cos(s)},
            {p3.x + k * std::sin(e), p3.y - k * std::cos(e)}, p3);
  }
}

void Path::append(const Path& other) {
  elements_.insert(elements_.end(), other.elements_.begin(), other.elements_.end());
  start_ = other.start_;
}

Rect Path::bounds() const {
  if (elements_.empty()) return {};
  double minX = INFINITY, minY = INFINITY, maxX = -INFINITY, maxY = -INFINITY;
  auto add = [&](Point p) {
    minX = std::min(minX, p.x);
    minY = std::min(minY, p.y);
    maxX = std::max(maxX, p.x);
    maxY = std::max(maxY, p.y);
  };
  Point current{};
  std::vector<double> ts;
  for (const Element& e : elements_) {
    switch (e.verb) {
      case Verb::move:
      case Verb::line:
      case Verb::close:
        add(e.points[0]);
        current = e.points[0];
        break;
      case Verb::curve: {
        ts.clear();
        cubicExtremes(current.x, e.points[0].x, e.points[1].x, e.points[2].x, ts);
        cubicExtremes(current.y, e.points[0].y, e.points[1].y, e.points[2].y, ts);
        for (double t : ts) add(cubicAt(current, e.points[0], e.points[1], e.points[2], t));
        add(e.points[2]);
        current = e.points[2];
        break;
      }
    }
  }
  return {minX, minY, maxX - minX, maxY - minY};
}

Path Path::transformed(double scale, Point offset) const {
  return transformed(scale, scale, offset);
}

Path Path::transformed(double scaleX, double scaleY, Point offset) const {
  Path out = *this;
  for (Element& e : out.elements_) {
    for (Point& p : e.points) p = {p.x * scaleX + offset.x, p.y * scaleY + offset.y};
  }
  out.start_ = {start_.x * scaleX + offset.x, start_.y * scaleY + offset.y};
  return out;
}

}  // namespace pluvo::render
