#include "render/internal/svg_path.h"

#include <cctype>
#include <charconv>
#include <cmath>
#include <numbers>
#include <optional>
#include <string>

namespace pluvo::render::internal {

namespace {

class Reader {
 public:
  explicit Reader(std::string_view data) : data_(data) {}

  void skipSeparators() {
    while (pos_ < data_.size() &&
           (std::isspace(static_cast<unsigned char>(data_[pos_])) || data_[pos_] == ',')) {
      ++pos_;
    }
  }
  bool atEnd() {
    skipSeparators();
    return pos_ >= data_.size();
  }
  bool atNumber() {
    skipSeparators();
    if (pos_ >= data_.size()) return false;
    char c = data_[pos_];
    return std::isdigit(static_cast<unsigned char>(c)) || c == '-' || c == '+' || c == '.';
  }
  std::optional<char> command() {
    skipSeparators();
    if (pos_ >= data_.size() || !std::isalpha(static_cast<unsigned char>(data_[pos_]))) {
      return std::nullopt;
    }
    return data_[pos_++];
  }
  // SVG numbers: an optional sign, digits with at most one point, an optional exponent.
  // "1.5.5" is 1.5 then .5, and "-3-4" is -3 then -4.
  std::optional<double> number() {
    skipSeparators();
    size_t start = pos_;
    if (pos_ < data_.size() && (data_[pos_] == '-' || data_[pos_] == '+')) ++pos_;
    bool digits = false, point = false;
    while (pos_ < data_.size()) {
      char c = data_[pos_];
      if (std::isdigit(static_cast<unsigned char>(c))) {
        digits = true;
      } else if (c == '.' && !point) {
        point = true;
      } else {
        break;
      }
      ++pos_;
    }
    if (!digits) {
      pos_ = start;
      return std::nullopt;
    }
    if (pos_ < data_.size() && (data_[pos_] == 'e' || data_[pos_] == 'E')) {
      size_t e = pos_ + 1;
      if (e < data_.size() && (data_[e] == '-' || data_[e] == '+')) ++e;
      if (e < data_.size() && std::isdigit(static_cast<unsigned char>(data_[e]))) {
        pos_ = e;
        while (pos_ < data_.size() && std::isdigit(static_cast<unsigned char>(data_[pos_]))) ++pos_;
      }
    }
    std::string_view text = data_.substr(start, pos_ - start);
    if (text.front() == '+') text.remove_prefix(1);
    double value = 0;
    auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (ec != std::errc() || end != text.data() + text.size()) {
      pos_ = start;
      return std::nullopt;
    }
    return value;
  }
  // Arc flags are single digits and may run into the next number ("a1 1 0 011 1").
  std::optional<bool> flag() {
    skipSeparators();
    if (pos_ < data_.size() && (data_[pos_] == '0' || data_[pos_] == '1')) {
      return data_[pos_++] == '1';
    }
    return std::nullopt;
  }
  size_t position() const { return pos_; }

 private:
  std::string_view data_;
  size_t pos_ = 0;
};

// Appends an elliptical arc from `from` to `to` as cubic curves (the endpoint parameterisation
// of SVG, with its out-of-range radii corrected as SVG prescribes).
void appendArc(Path& path, Point from, double rx, double ry, double rotationDegrees, bool largeArc,
               bool sweep, Point to) {
  if (from == to) return;
  rx = std::fabs(rx);
  ry = std::fabs(ry);
  if (rx == 0 || ry == 0) return path.lineTo(to);
  double phi = rotationDegrees * std::numbers::pi / 180;
  double cosPhi = std::cos(phi), sinPhi = std::sin(phi);
  double dx = (from.x - to.x) / 2, dy = (from.y - to.y) / 2;
  double x1 = cosPhi * dx + sinPhi * dy, y1 = -sinPhi * dx + cosPhi * dy;
  double lambda = (x1 * x1) / (rx * rx) + (y1 * y1) / (ry * ry);
  if (lambda > 1) {
    rx *= std::sqrt(lambda);
    ry *= std::sqrt(lambda);
  }
  double num = rx * rx * ry * ry - rx * rx * y1 * y1 - ry * ry * x1 * x1;
  double den = rx * rx * y1 * y1 + ry * ry * x1 * x1;
  double factor = std::sqrt(std::fmax(0.0, num / den)) * (largeArc == sweep ? -1 : 1);
  double cx1 = factor * rx * y1 / ry, cy1 = -factor * ry * x1 / rx;
  double cx = cosPhi * cx1 - sinPhi * cy1 + (from.x + to.x) / 2;
  double cy = sinPhi * cx1 + cosPhi * cy1 + (from.y + to.y) / 2;
  auto angle = [](double ux, double uy, double vx, double vy) {
    return std::atan2(ux * vy - uy * vx, ux * vx + uy * vy);
  };
  double theta = angle(1, 0, (x1 - cx1) / rx, (y1 - cy1) / ry);
  double delta = angle((x1 - cx1) / rx, (y1 - cy1) / ry, (-x1 - cx1) / rx, (-y1 - cy1) / ry);
  if (!sweep && delta > 0) delta -= 2 * std::numbers::pi;
  if (sweep && delta < 0) delta += 2 * std::numbers::pi;
  int pieces = std::max(1, static_cast<int>(std::ceil(std::fabs(delta) / (std::numbers::pi / 2))));
  double step = delta / pieces;
  double k = 4.0 / 3.0 * std::tan(step / 4);
  auto onEllipse = [&](double t) {
    return Point{cx + rx * std::cos(t) * cosPhi - ry * std::sin(t) * sinPhi,
                 cy + rx * std::cos(t) * sinPhi + ry * std::sin(t) * cosPhi};
  };
  auto derivative = [&](double t) {
    return Point{-rx * std::sin(t) * cosPhi - ry * std::cos(t) * sinPhi,
                 -rx * std::sin(t) * sinPhi + ry * std::cos(t) * cosPhi};
  };
  for (int i = 0; i < pieces; ++i) {
    double t0 = theta + i * step, t1 = t0 + step;
    Point p0 = onEllipse(t0), p3 = i + 1 == pieces ? to : onEllipse(t1);
    Point d0 = derivative(t0), d1 = derivative(t1);
    path.curveTo({p0.x + k * d0.x, p0.y + k * d0.y}, {p3.x - k * d1.x, p3.y - k * d1.y}, p3);
  }
}

}  // namespace

Expected<std::vector<Path>> parseSvgPathData(std::string_view data) {
  Reader in(data);
  std::vector<Path> subpaths;
  Point current{}, subpathStart{};
  Point lastCubicControl{}, lastQuadControl{};
  char previous = 0;
  char command = 0;
  auto failAt = [&](std::string_view what) {
    return fail("path data: " + std::string(what) + " at offset " + std::to_string(in.position()));
  };
  auto path = [&]() -> Path& {
    if (subpaths.empty() || previous == 'Z' || previous == 'z') {
      subpaths.emplace_back();
      subpaths.back().moveTo(current);
      subpathStart = current;
    }
    return subpaths.back();
  };

  while (!in.atEnd()) {
    if (auto c = in.command()) {
      command = *c;
    } else if (command == 0 || !in.atNumber() || command == 'Z' || command == 'z') {
      return failAt("expected a command");
    }
    // After a move, further coordinate pairs are implicit lines.
    bool relative = std::islower(static_cast<unsigned char>(command));
    char upper = static_cast<char>(std::toupper(static_cast<unsigned char>(command)));
    auto coordinate = [&](double& value) {
      auto n = in.number();
      if (!n) return false;
      value = *n;
      return true;
    };
    auto pointArg = [&](Point& p) {
      if (!coordinate(p.x) || !coordinate(p.y)) return false;
      if (relative) p = {p.x + current.x, p.y + current.y};
      return true;
    };
    switch (upper) {
      case 'M': {
        Point p;
        if (!pointArg(p)) return failAt("expected a point");
        subpaths.emplace_back();
        subpaths.back().moveTo(p);
        current = subpathStart = p;
        command = relative ? 'l' : 'L';
        previous = 'M';
        continue;
      }
      case 'Z':
        if (!subpaths.empty()) subpaths.back().close();
        current = subpathStart;
        previous = 'Z';
        command = 0;
        continue;
      case 'L': {
        Point p;
        if (!pointArg(p)) return failAt("expected a point");
        path().lineTo(p);
        current = p;
        break;
      }
      case 'H':
      case 'V': {
        double v;
        if (!coordinate(v)) return failAt("expected a number");
        Point p = current;
        if (upper == 'H') {
          p.x = relative ? current.x + v : v;
        } else {
          p.y = relative ? current.y + v : v;
        }
        path().lineTo(p);
        current = p;
        break;
      }
      case 'C':
      case 'S': {
        Point c1, c2, p;
        if (upper == 'C') {
          if (!pointArg(c1)) return failAt("expected a control point");
        } else {
          bool smooth = previous == 'C' || previous == 'S';
          c1 = smooth
                   ? Point{2 * current.x - lastCubicControl.x, 2 * current.y - lastCubicControl.y}
                   : current;
        }
        if (!pointArg(c2) || !pointArg(p)) return failAt("expected a point");
        path().curveTo(c1, c2, p);
        lastCubicControl = c2;
        current = p;
        break;
      }
      case 'Q':
      case 'T': {
        Point q, p;
        if (upper == 'Q') {
          if (!pointArg(q)) return failAt("expected a control point");
        } else {
          bool smooth = previous == 'Q' || previous == 'T';
          q = smooth ? Point{2 * current.x - lastQuadControl.x, 2 * current.y - lastQuadControl.y}
                     : current;
        }
        if (!pointArg(p)) return failAt("expected a point");
        Point from = current;
        path().curveTo({from.x + 2.0 / 3 * (q.x - from.x), from.y + 2.0 / 3 * (q.y - from.y)},
                       {p.x + 2.0 / 3 * (q.x - p.x), p.y + 2.0 / 3 * (q.y - p.y)}, p);
        lastQuadControl = q;
        current = p;
        break;
      }
      case 'A': {
        double rx, ry, rotation;
        if (!coordinate(rx) || !coordinate(ry) || !coordinate(rotation)) {
          return failAt("expected arc radii and rotation");
        }
        auto large = in.flag();
        auto sweep = large ? in.flag() : std::nullopt;
        if (!sweep) return failAt("expected an arc flag");
        Point p;
        if (!pointArg(p)) return failAt("expected a point");
        appendArc(path(), current, rx, ry, rotation, *large, *sweep, p);
        current = p;
        break;
      }
      default:
        return failAt(std::string("unknown command '") + command + "'");
    }
    previous = upper;
  }
  return subpaths;
}

}  // namespace pluvo::render::internal
