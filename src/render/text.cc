#include "render/text.h"

#include <cairo-ft.h>
#include <cairo.h>
#include <ft2build.h>
#include <hb.h>
#include <unistd.h>

#include <array>
#include <cmath>
#include <mutex>

#include FT_FREETYPE_H

namespace pluvo::render {

namespace {

#ifndef PLUVO_FONT_DIR
#define PLUVO_FONT_DIR "/usr/share/fonts/opentype/inter"
#endif

// Inter's text cut for each of the product's weights. Large sizes stay in the text cut too: the
// display cut would be one more file to map in a process that starts, draws and exits.
struct CutFile {
  FontWeight weight;
  const char* file;
};
constexpr std::array<CutFile, 6> kCuts = {{{FontWeight::regular, "Inter-Regular.otf"},
                                           {FontWeight::medium, "Inter-Medium.otf"},
                                           {FontWeight::semibold, "Inter-SemiBold.otf"},
                                           {FontWeight::bold, "Inter-Bold.otf"},
                                           {FontWeight::heavy, "Inter-ExtraBold.otf"},
                                           {FontWeight::black, "Inter-Black.otf"}}};

std::string cutPath(size_t index) { return std::string(PLUVO_FONT_DIR "/") + kCuts[index].file; }

// One cut of Inter, loaded on first use and kept for the life of the process. HarfBuzz shapes
// with it (an immutable font is safe on every thread) and Cairo draws it (Cairo locks the
// FreeType face it wraps while it renders). Both read the same mapped file.
struct Cut {
  hb_font_t* font = nullptr;
  cairo_font_face_t* face = nullptr;
  double unitsPerEm = 0;
  double ascender = 0;   // font units above the baseline
  double descender = 0;  // font units below it, positive
};

Cut loadCut(size_t index) {
  static std::mutex freeTypeLock;  // one FreeType library; opening faces in it is not reentrant
  static FT_Library freeType = nullptr;
  Cut cut;
  hb_blob_t* file = hb_blob_create_from_file_or_fail(cutPath(index).c_str());
  if (!file) return cut;
  hb_face_t* face = hb_face_create(file, 0);
  unsigned length = 0;
  const char* bytes = hb_blob_get_data(file, &length);
  FT_Face ftFace = nullptr;
  {
    std::lock_guard lock(freeTypeLock);
    if (!freeType && FT_Init_FreeType(&freeType) != 0) freeType = nullptr;
    if (freeType && hb_face_get_glyph_count(face) > 0 && hb_face_get_upem(face) > 0 &&
        FT_New_Memory_Face(freeType, reinterpret_cast<const FT_Byte*>(bytes),
                           static_cast<FT_Long>(length), 0, &ftFace) != 0) {
      ftFace = nullptr;
    }
  }
  if (!ftFace) {
    hb_face_destroy(face);
    hb_blob_destroy(file);
    return cut;
  }
  // The face keeps the mapped file for HarfBuzz and FreeType alike; neither is ever released.
  cut.font = hb_font_create(face);
  hb_font_make_immutable(cut.font);
  hb_face_destroy(face);
  hb_font_extents_t extents{};
  hb_font_get_h_extents(cut.font, &extents);
  cut.unitsPerEm = hb_face_get_upem(hb_font_get_face(cut.font));
  cut.ascender = extents.ascender;
  cut.descender = -extents.descender;
  cut.face = cairo_ft_font_face_create_for_ft_face(ftFace, 0);
  return cut;
}

// The cut for a weight; a cut that cannot be read falls back to the regular one (loadFonts has
// said which file is missing), and that to an unusable cut, which lays out as an empty line.
const Cut& cutFor(FontWeight weight) {
  static std::array<std::once_flag, kCuts.size()> once;
  static std::array<Cut, kCuts.size()> cuts;
  size_t index = 0;
  while (index < kCuts.size() && kCuts[index].weight != weight) ++index;
  if (index == kCuts.size()) index = 0;
  std::call_once(once[index], [index] { cuts[index] = loadCut(index); });
  if (!cuts[index].font && index != 0) return cutFor(FontWeight::regular);
  return cuts[index];
}

// A HarfBuzz buffer per thread, cleared between lines.
hb_buffer_t* threadBuffer() {
  struct Owned {
    hb_buffer_t* buffer = hb_buffer_create();
    ~Owned() { hb_buffer_destroy(buffer); }
  };
  thread_local Owned owned;
  hb_buffer_clear_contents(owned.buffer);
  return owned.buffer;
}

// Glyphs in font units, as HarfBuzz placed them.
struct Run {
  std::vector<hb_glyph_info_t> info;
  std::vector<hb_glyph_position_t> position;
  double advance = 0;  // font units
};

Run shape(const Cut& cut, std::string_view text, bool tabularDigits) {
  hb_buffer_t* buffer = threadBuffer();
  hb_buffer_add_utf8(buffer, text.data(), static_cast<int>(text.size()), 0,
                     static_cast<int>(text.size()));
  hb_buffer_guess_segment_properties(buffer);
  hb_buffer_set_direction(buffer, HB_DIRECTION_LTR);
  // Tabular figures for the digits alone, as the phone's monospaced digits: Inter's "tnum" also
  // widens hyphens and points, which would open up "--°" and "0.31".
  std::vector<hb_feature_t> features;
  for (size_t i = 0; tabularDigits && i < text.size();) {
    if (text[i] < '0' || text[i] > '9') {
      ++i;
      continue;
    }
    size_t end = i;
    while (end < text.size() && text[end] >= '0' && text[end] <= '9') ++end;
    features.push_back(
        {HB_TAG('t', 'n', 'u', 'm'), 1, static_cast<unsigned>(i), static_cast<unsigned>(end)});
    i = end;
  }
  hb_shape(cut.font, buffer, features.data(), static_cast<unsigned>(features.size()));
  unsigned count = 0;
  hb_glyph_info_t* info = hb_buffer_get_glyph_infos(buffer, &count);
  hb_glyph_position_t* position = hb_buffer_get_glyph_positions(buffer, nullptr);
  Run run{{info, info + count}, {position, position + count}, 0};
  for (const hb_glyph_position_t& p : run.position) run.advance += p.x_advance;
  return run;
}

// How many bytes of `text`, cut between characters, fit `maxWidth` (font units).
size_t fittingLength(const Run& run, std::string_view text, double maxWidth) {
  size_t length = 0;
  double advance = 0;
  for (size_t g = 0; g < run.info.size(); ++g) {
    advance += run.position[g].x_advance;
    if (advance > maxWidth) break;
    // Where this glyph's character ends: the next glyph's cluster (left to right).
    size_t next = g + 1 < run.info.size() ? run.info[g + 1].cluster : text.size();
    if (next != run.info[g].cluster) length = next;
  }
  return length;
}

// The first `length` bytes of `text` as they stand before an ellipsis: without trailing blanks.
std::string_view beforeEllipsis(std::string_view text, size_t length) {
  std::string_view kept = text.substr(0, length);
  while (!kept.empty() && (kept.back() == ' ' || kept.back() == '\t')) kept.remove_suffix(1);
  return kept;
}

}  // namespace

std::string_view fontFolder() { return PLUVO_FONT_DIR; }

Expected<void> loadFonts() {
  static const Expected<void> status = []() -> Expected<void> {
    for (size_t i = 0; i < kCuts.size(); ++i) {
      std::string path = cutPath(i);
      if (access(path.c_str(), R_OK) != 0) {
        return fail("Inter is not installed: cannot read " + path +
                    "; install Debian's fonts-inter (scripts/setup does)");
      }
    }
    if (!cutFor(FontWeight::regular).font) {
      return fail("cannot read Inter from " + cutPath(0) +
                  ": not a font file; reinstall Debian's fonts-inter");
    }
    return {};
  }();
  return status;
}

TextLine::TextLine() = default;
TextLine::TextLine(TextLine&&) noexcept = default;
TextLine& TextLine::operator=(TextLine&&) noexcept = default;
TextLine::~TextLine() = default;

double TextLine::capHeight() const {
  // Inter's capital height is 1490 of 2048 units per em, in both cuts.
  return fontSize_ * (1490.0 / 2048.0);
}

void TextLine::show(cairo_t* cr, Point topLeft) const {
  const Cut& cut = cutFor(weight_);
  if (glyphs_.empty() || !cut.face) return;
  // Outlines as designed: no hinting, so a line keeps its proportions at every size and scale.
  static const cairo_font_options_t* const options = [] {
    cairo_font_options_t* o = cairo_font_options_create();
    cairo_font_options_set_hint_style(o, CAIRO_HINT_STYLE_NONE);
    cairo_font_options_set_hint_metrics(o, CAIRO_HINT_METRICS_OFF);
    cairo_font_options_set_antialias(o, CAIRO_ANTIALIAS_GRAY);
    return o;
  }();
  cairo_set_font_face(cr, cut.face);
  cairo_set_font_size(cr, fontSize_);
  cairo_set_font_options(cr, options);

  double baseline = topLeft.y + baseline_;
  std::vector<cairo_glyph_t> glyphs(glyphs_.size());
  for (size_t i = 0; i < glyphs_.size(); ++i) {
    glyphs[i] = {glyphs_[i].index, topLeft.x + glyphs_[i].x, baseline + glyphs_[i].y};
  }
  if (!cairo_surface_has_show_text_glyphs(cairo_get_target(cr))) {
    cairo_show_glyphs(cr, glyphs.data(), static_cast<int>(glyphs.size()));
    return;
  }
  // PDF keeps the words: each cluster maps its bytes of the text to its glyphs.
  std::vector<cairo_text_cluster_t> clusters;
  for (size_t g = 0; g < glyphs_.size();) {
    size_t end = g;
    while (end < glyphs_.size() && glyphs_[end].cluster == glyphs_[g].cluster) ++end;
    size_t next = end < glyphs_.size() ? glyphs_[end].cluster : shown_.size();
    clusters.push_back({static_cast<int>(next - glyphs_[g].cluster), static_cast<int>(end - g)});
    g = end;
  }
  cairo_show_text_glyphs(cr, shown_.data(), static_cast<int>(shown_.size()), glyphs.data(),
                         static_cast<int>(glyphs.size()), clusters.data(),
                         static_cast<int>(clusters.size()), cairo_text_cluster_flags_t{});
}

TextLine layoutText(std::string_view text, const Font& font, const TextFit& fit) {
  TextLine line;
  line.text_ = std::string(text);
  line.shown_ = line.text_;
  line.weight_ = font.weight;
  const Cut& cut = cutFor(font.weight);
  if (!cut.font) return line;

  // Without hinting a line's width is exactly proportional to its size: the size that fits is
  // found in one step.
  Run run = shape(cut, line.shown_, font.monospacedDigits);
  double size = font.size;
  double unitsToPoints = size / cut.unitsPerEm;
  double minimumSize = font.size * std::fmin(1.0, std::fmax(fit.minimumScaleFactor, 0.0));
  if (run.advance * unitsToPoints > fit.maxWidth && minimumSize < size) {
    size = std::fmax(minimumSize, fit.maxWidth * cut.unitsPerEm / run.advance);
    unitsToPoints = size / cut.unitsPerEm;
  }
  // Rounding may leave the shrunk line a hair over its width; that is not a reason to cut it.
  if (run.advance * unitsToPoints > fit.maxWidth * (1 + 1e-9)) {
    Run ellipsis = shape(cut, "…", false);
    double room = fit.maxWidth / unitsToPoints - ellipsis.advance;
    // Kerning across the cut can differ from the whole line's: shape the cut line and step back
    // a character while it is still too wide.
    size_t length = fittingLength(run, line.text_, room);
    for (;;) {
      std::string_view kept = beforeEllipsis(line.text_, length);
      line.shown_.assign(kept).append("…");
      run = shape(cut, line.shown_, font.monospacedDigits);
      if (kept.empty() || run.advance * unitsToPoints <= fit.maxWidth) break;
      // One character back.
      length = kept.size() - 1;
      while (length > 0 && (static_cast<unsigned char>(kept[length]) & 0xC0) == 0x80) --length;
    }
    line.truncated_ = true;
  }

  line.glyphs_.reserve(run.info.size());
  double x = 0;
  for (size_t g = 0; g < run.info.size(); ++g) {
    const hb_glyph_position_t& p = run.position[g];
    line.glyphs_.push_back({run.info[g].codepoint, run.info[g].cluster,
                            (x + p.x_offset) * unitsToPoints, -p.y_offset * unitsToPoints});
    x += p.x_advance;
  }
  line.width_ = x * unitsToPoints;
  line.baseline_ = cut.ascender * unitsToPoints;
  line.height_ = (cut.ascender + cut.descender) * unitsToPoints;
  line.fontSize_ = size;
  return line;
}

}  // namespace pluvo::render
