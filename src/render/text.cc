#include "render/text.h"

#include <fontconfig/fontconfig.h>
#include <pango/pangocairo.h>
#include <pango/pangofc-fontmap.h>

#include <cmath>
#include <mutex>

namespace pluvo::render {

namespace {

#ifndef PLUVO_FONT_DIR
#define PLUVO_FONT_DIR "/usr/share/fonts/opentype/inter"
#endif

// Only Inter's folder; the system's cache folder is read (Debian's fontconfig trigger fills it
// when fonts-inter is installed), the user's is written when that one is stale or missing.
constexpr char kFontConfigXml[] =
    "<?xml version=\"1.0\"?>\n<!DOCTYPE fontconfig SYSTEM \"urn:fontconfig:fonts.dtd\">\n"
    "<fontconfig>\n"
    "  <dir>" PLUVO_FONT_DIR
    "</dir>\n"
    "  <cachedir>/var/cache/fontconfig</cachedir>\n"
    "  <cachedir prefix=\"xdg\">fontconfig</cachedir>\n"
    "  <config><rescan><int>0</int></rescan></config>\n"
    "</fontconfig>\n";

struct FontSetup {
  FcConfig* config = nullptr;  // kept for the life of the process
  Expected<void> status;
};

const FontSetup& fontSetup() {
  static const FontSetup setup = [] {
    FontSetup s;
    FcConfig* config = FcConfigCreate();
    if (!config ||
        !FcConfigParseAndLoadFromMemory(config, reinterpret_cast<const FcChar8*>(kFontConfigXml),
                                        FcTrue) ||
        !FcConfigBuildFonts(config)) {
      if (config) FcConfigDestroy(config);
      s.status = fail("cannot set up fontconfig for " PLUVO_FONT_DIR);
      return s;
    }
    FcPattern* pattern = FcPatternBuild(nullptr, FC_FAMILY, FcTypeString, "Inter", nullptr);
    FcObjectSet* objects = FcObjectSetBuild(FC_FILE, nullptr);
    FcFontSet* found = FcFontList(config, pattern, objects);
    bool hasInter = found && found->nfont > 0;
    if (found) FcFontSetDestroy(found);
    FcObjectSetDestroy(objects);
    FcPatternDestroy(pattern);
    if (!hasInter) {
      FcConfigDestroy(config);
      s.status = fail("Inter is not installed: no Inter font files in " PLUVO_FONT_DIR
                      "; install Debian's fonts-inter (scripts/setup does)");
      return s;
    }
    // Pango asks fontconfig's current configuration in places; make it ours.
    FcConfigSetCurrent(config);
    s.config = config;
    return s;
  }();
  return setup;
}

// The thread's font map and context, bound to the program's font configuration.
struct ThreadFonts {
  PangoFontMap* map = nullptr;
  PangoContext* context = nullptr;
  ThreadFonts() {
    // Our configuration must be fontconfig's current one before the first font map exists: a
    // new map initialises fontconfig on a thread of its own, which would otherwise load the
    // system's configuration and every font it lists.
    const FontSetup& setup = fontSetup();
    map = pango_cairo_font_map_new_for_font_type(CAIRO_FONT_TYPE_FT);
    if (setup.config && PANGO_IS_FC_FONT_MAP(map)) {
      pango_fc_font_map_set_config(PANGO_FC_FONT_MAP(map), setup.config);
    }
    context = pango_font_map_create_context(map);
    cairo_font_options_t* options = cairo_font_options_create();
    cairo_font_options_set_hint_style(options, CAIRO_HINT_STYLE_NONE);
    cairo_font_options_set_hint_metrics(options, CAIRO_HINT_METRICS_OFF);
    cairo_font_options_set_antialias(options, CAIRO_ANTIALIAS_GRAY);
    pango_cairo_context_set_font_options(context, options);
    cairo_font_options_destroy(options);
    pango_context_set_round_glyph_positions(context, FALSE);
  }
  ~ThreadFonts() {
    g_object_unref(context);
    g_object_unref(map);
  }
  ThreadFonts(const ThreadFonts&) = delete;
  ThreadFonts& operator=(const ThreadFonts&) = delete;
};

PangoContext* threadContext() {
  thread_local ThreadFonts fonts;
  return fonts.context;
}

PangoWeight pangoWeight(FontWeight weight) {
  // Pango's own names differ: 800 is its "ultrabold", 900 its "heavy".
  return static_cast<PangoWeight>(static_cast<int>(weight));
}

struct Measured {
  double width, height, baseline;
};

Measured measure(PangoLayout* layout) {
  PangoRectangle logical;
  pango_layout_get_extents(layout, nullptr, &logical);
  return {static_cast<double>(logical.width) / PANGO_SCALE,
          static_cast<double>(logical.height) / PANGO_SCALE,
          static_cast<double>(pango_layout_get_baseline(layout)) / PANGO_SCALE};
}

void setSize(PangoLayout* layout, const Font& font, double size) {
  PangoFontDescription* description = pango_font_description_new();
  pango_font_description_set_family_static(description, "Inter");
  pango_font_description_set_weight(description, pangoWeight(font.weight));
  pango_font_description_set_absolute_size(description, size * PANGO_SCALE);
  pango_layout_set_font_description(layout, description);
  pango_font_description_free(description);
}

}  // namespace

std::string_view fontFolder() { return PLUVO_FONT_DIR; }

Expected<void> loadFonts() { return fontSetup().status; }

void TextLine::LayoutDeleter::operator()(PangoLayout* layout) const { g_object_unref(layout); }

TextLine::TextLine() = default;
TextLine::TextLine(TextLine&&) noexcept = default;
TextLine& TextLine::operator=(TextLine&&) noexcept = default;
TextLine::~TextLine() = default;

double TextLine::capHeight() const {
  // Inter's capital height is 1490 of 2048 units per em, in both cuts.
  return fontSize_ * (1490.0 / 2048.0);
}

TextLine layoutText(std::string_view text, const Font& font, const TextFit& fit) {
  TextLine line;
  line.text_ = std::string(text);
  line.layout_.reset(pango_layout_new(threadContext()));
  PangoLayout* layout = line.layout_.get();
  pango_layout_set_text(layout, line.text_.data(), static_cast<int>(line.text_.size()));
  pango_layout_set_single_paragraph_mode(layout, TRUE);
  if (font.monospacedDigits) {
    // Tabular figures for the digits alone, as the phone's monospaced digits: Inter's "tnum"
    // also widens hyphens and points, which would open up "--°" and "0.31".
    PangoAttrList* attributes = pango_attr_list_new();
    const std::string& t = line.text_;
    for (size_t i = 0; i < t.size();) {
      if (t[i] < '0' || t[i] > '9') {
        ++i;
        continue;
      }
      size_t end = i;
      while (end < t.size() && t[end] >= '0' && t[end] <= '9') ++end;
      PangoAttribute* tabular = pango_attr_font_features_new("tnum 1");
      tabular->start_index = static_cast<guint>(i);
      tabular->end_index = static_cast<guint>(end);
      pango_attr_list_insert(attributes, tabular);
      i = end;
    }
    pango_layout_set_attributes(layout, attributes);
    pango_attr_list_unref(attributes);
  }

  double size = font.size;
  setSize(layout, font, size);
  Measured m = measure(layout);
  double minimumSize = font.size * std::fmin(1.0, std::fmax(fit.minimumScaleFactor, 0.0));
  if (m.width > fit.maxWidth && minimumSize < size) {
    // With hinting off the width is proportional to the size; a second step absorbs rounding
    // to Pango units.
    for (int attempt = 0; attempt < 3 && m.width > fit.maxWidth && size > minimumSize; ++attempt) {
      size = std::fmax(minimumSize, size * fit.maxWidth / m.width * (attempt ? 0.999 : 1.0));
      setSize(layout, font, size);
      m = measure(layout);
    }
  }
  if (m.width > fit.maxWidth) {
    pango_layout_set_width(layout, static_cast<int>(std::floor(fit.maxWidth * PANGO_SCALE)));
    pango_layout_set_ellipsize(layout, PANGO_ELLIPSIZE_END);
    m = measure(layout);
    line.truncated_ = pango_layout_is_ellipsized(layout);
  }
  line.width_ = m.width;
  line.height_ = m.height;
  line.baseline_ = m.baseline;
  line.fontSize_ = size;
  return line;
}

}  // namespace pluvo::render
