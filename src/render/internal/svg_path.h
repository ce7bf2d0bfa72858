// SVG path data ("M10 20h5q3 0 3 3Z") turned into render::Path values, one per subpath, with
// every command (M L H V C S Q T A Z, absolute and relative) made absolute: quadratic curves
// and elliptical arcs become cubic Béziers. Coordinates stay in the data's own units.
//
//   Expected<std::vector<Path>> parts = parseSvgPathData("M0 0h10v10H0Z");
//
// Thread safety: pure function.
#pragma once

#include <string_view>
#include <vector>

#include "base/error.h"
#include "render/path.h"

namespace pluvo::render::internal {

// An error names the offset of the first character that cannot be read.
Expected<std::vector<Path>> parseSvgPathData(std::string_view data);

}  // namespace pluvo::render::internal
