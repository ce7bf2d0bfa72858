// The Material Symbols glyphs the widgets draw: path data copied at build time from the
// vendored SVG files by src/render/embed_symbols.cmake (the generated symbol_data.cc). Coordinates
// are in the set's 960-unit em with y running from -960 (top) to 0 (bottom).
//
// Thread safety: constant data.
#pragma once

#include <cstddef>
#include <string_view>

namespace pluvo::render::internal {

struct SymbolPathData {
  std::string_view file;  // the glyph's file name without ".svg", e.g. "cloud-fill"
  std::string_view pathData;
};

extern const SymbolPathData kSymbolPathData[];
extern const std::size_t kSymbolPathDataCount;

}  // namespace pluvo::render::internal
