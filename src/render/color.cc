#include "render/color.h"

#include <cmath>

namespace pluvo::render {

namespace {

int hexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

unsigned to8(double component) {
  double clamped = std::fmin(1.0, std::fmax(0.0, component));
  return static_cast<unsigned>(std::lround(clamped * 255));
}

}  // namespace

std::optional<Color> parseHexColor(std::string_view text) {
  if (text.size() != 7 || text[0] != '#') return std::nullopt;
  int v[6];
  for (int i = 0; i < 6; ++i) {
    v[i] = hexDigit(text[static_cast<size_t>(i) + 1]);
    if (v[i] < 0) return std::nullopt;
  }
  return rgb255(v[0] * 16 + v[1], v[2] * 16 + v[3], v[4] * 16 + v[5]);
}

Color hexColor(std::string_view text, Color fallback) {
  return parseHexColor(text).value_or(fallback);
}

unsigned Color::red8() const { return to8(red); }
unsigned Color::green8() const { return to8(green); }
unsigned Color::blue8() const { return to8(blue); }

std::string Color::hexText() const {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string text = "#";
  for (unsigned c : {red8(), green8(), blue8()}) {
    text += kDigits[c >> 4];
    text += kDigits[c & 15];
  }
  return text;
}

}  // namespace pluvo::render
