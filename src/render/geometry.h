// Plain geometry values for drawing: points, sizes and rectangles, in points (1/72 inch; the
// phone's logical unit). The origin is the top-left corner; y grows downwards.
//
//   Rect frame{10, 10, 150, 24};
//   frame.inset(2).midY();  // 22
//
// Thread safety: plain values.
#pragma once

namespace pluvo::render {

struct Point {
  double x = 0;
  double y = 0;
  bool operator==(const Point&) const = default;
};

struct Size {
  double width = 0;
  double height = 0;
  bool operator==(const Size&) const = default;
};

struct Rect {
  double x = 0;
  double y = 0;
  double width = 0;
  double height = 0;
  bool operator==(const Rect&) const = default;

  double minX() const { return x; }
  double minY() const { return y; }
  double maxX() const { return x + width; }
  double maxY() const { return y + height; }
  double midX() const { return x + width / 2; }
  double midY() const { return y + height / 2; }
  Point center() const { return {midX(), midY()}; }
  Size size() const { return {width, height}; }
  // The rectangle shrunk by `d` on every side (grown when negative).
  Rect inset(double d) const { return {x + d, y + d, width - 2 * d, height - 2 * d}; }
  Rect inset(double dx, double dy) const {
    return {x + dx, y + dy, width - 2 * dx, height - 2 * dy};
  }
  // True when the two share some area (touching edges do not count).
  bool intersects(const Rect& other) const {
    return x < other.maxX() && other.x < maxX() && y < other.maxY() && other.y < maxY();
  }
  bool contains(Rect other) const {
    return other.x >= x && other.y >= y && other.maxX() <= maxX() && other.maxY() <= maxY();
  }
  // A rectangle of `size` centred on `centre`.
  static Rect centred(Point centre, Size size) {
    return {centre.x - size.width / 2, centre.y - size.height / 2, size.width, size.height};
  }
};

}  // namespace pluvo::render
