// Vector paths in points: lines, cubic Bézier curves, rectangles with rounded corners, ellipses
// and arcs, kept as plain values so that layouts can build them without a canvas and tests can
// read them. A canvas fills or strokes them (render/canvas.h).
//
//   Path bar;
//   bar.addRoundedRect({10, 40, 6, 30}, 2);
//   Path line;
//   line.moveTo({0, 10});
//   line.lineTo({50, 4});
//   line.bounds();  // {0, 4, 50, 6}
//
// Thread safety: plain values.
#pragma once

#include <array>
#include <vector>

#include "render/geometry.h"

namespace pluvo::render {

class Path {
 public:
  enum class Verb { move, line, curve, close };
  struct Element {
    Verb verb = Verb::move;
    // move and line use points[0]; curve uses control points [0], [1] and the end point [2].
    std::array<Point, 3> points{};
    bool operator==(const Element&) const = default;
  };

  void moveTo(Point p);
  void lineTo(Point p);
  void curveTo(Point control1, Point control2, Point end);
  void close();

  void addRect(Rect r);
  // Corners are quarter circles of `radius`, clamped to half the shorter side.
  void addRoundedRect(Rect r, double radius);
  void addEllipse(Rect r);
  // A circular arc, clockwise on screen from `startDegrees` to `endDegrees` (0 = +x, 90 = down),
  // joined to the current point by a line when there is one.
  void addArc(Point centre, double radius, double startDegrees, double endDegrees);
  // Appends every element of `other`.
  void append(const Path& other);

  bool empty() const { return elements_.empty(); }
  const std::vector<Element>& elements() const { return elements_; }
  // The current point (the end of the last element); the origin for an empty path.
  Point currentPoint() const;

  // The smallest rectangle holding every point of the path, curves included (not just their
  // control points). Empty paths give a zero rectangle.
  Rect bounds() const;

  // Every point mapped by p * scale + offset.
  Path transformed(double scale, Point offset) const;
  Path transformed(double scaleX, double scaleY, Point offset) const;

  bool operator==(const Path&) const = default;

 private:
  std::vector<Element> elements_;
  Point start_{};  // start of the current subpath, where close returns to
};

// How a path's outline is drawn.
enum class LineCap { butt, round, square };
enum class LineJoin { miter, round, bevel };

}  // namespace pluvo::render
