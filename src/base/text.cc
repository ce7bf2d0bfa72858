#include "base/text.h"

#include <algorithm>
#include <cstdint>

namespace pluvo {

namespace {

// Length of the white-space character that starts at `pos`, or 0.
size_t whitespaceAt(std::string_view s, size_t pos) {
  auto byte = [&](size_t i) { return static_cast<std::uint8_t>(s[i]); };
  std::uint8_t c = byte(pos);
  if (c == ' ' || (c >= '\t' && c <= '\r')) return 1;
  if (c == 0xC2 && pos + 1 < s.size() && (byte(pos + 1) == 0x85 || byte(pos + 1) == 0xA0)) {
    return 2;
  }
  if (pos + 2 >= s.size()) return 0;
  std::uint8_t c1 = byte(pos + 1), c2 = byte(pos + 2);
  if (c == 0xE1 && c1 == 0x9A && c2 == 0x80) return 3;  // U+1680
  if (c == 0xE2 && c1 == 0x80 && (c2 <= 0x8A || c2 == 0xA8 || c2 == 0xA9 || c2 == 0xAF)) {
    return 3;  // U+2000-200A, 2028/9, 202F
  }
  if (c == 0xE2 && c1 == 0x81 && c2 == 0x9F) return 3;  // U+205F
  if (c == 0xE3 && c1 == 0x80 && c2 == 0x80) return 3;  // U+3000
  return 0;
}

// Length of the white-space character that ends just before `end`, or 0.
size_t whitespaceBefore(std::string_view s, size_t end) {
  for (size_t width = 1; width <= 3 && width <= end; ++width) {
    if (whitespaceAt(s, end - width) == width) return width;
  }
  return 0;
}

}  // namespace

std::string_view trimWhitespace(std::string_view text) {
  size_t begin = 0;
  while (begin < text.size()) {
    size_t width = whitespaceAt(text, begin);
    if (width == 0) break;
    begin += width;
  }
  size_t end = text.size();
  while (end > begin) {
    size_t width = whitespaceBefore(text, end);
    if (width == 0) break;
    end -= width;
  }
  return text.substr(begin, end - begin);
}

std::string asciiLower(std::string_view text) {
  std::string out(text);
  std::transform(out.begin(), out.end(), out.begin(), [](char c) { return asciiLower(c); });
  return out;
}

bool equalsIgnoringAsciiCase(std::string_view a, std::string_view b) {
  return a.size() == b.size() && startsWithIgnoringAsciiCase(a, b);
}

bool startsWithIgnoringAsciiCase(std::string_view text, std::string_view prefix) {
  return text.size() >= prefix.size() &&
         std::equal(prefix.begin(), prefix.end(), text.begin(),
                    [](char x, char y) { return asciiLower(x) == asciiLower(y); });
}

bool containsIgnoringAsciiCase(std::string_view text, std::string_view word) {
  for (size_t i = 0; i + word.size() <= text.size(); ++i) {
    if (startsWithIgnoringAsciiCase(text.substr(i), word)) return true;
  }
  return false;
}

std::string asciiUpper(std::string_view text) {
  std::string out(text);
  std::transform(out.begin(), out.end(), out.begin(),
                 [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c; });
  return out;
}

namespace {

// The length of the well-formed UTF-8 character at `pos` (1 for ASCII), or 0.
size_t utf8CharacterAt(std::string_view text, size_t pos) {
  auto c = static_cast<std::uint8_t>(text[pos]);
  if (c < 0x80) return 1;
  size_t length = c >= 0xC2 && c <= 0xDF   ? 2
                  : c >= 0xE0 && c <= 0xEF ? 3
                  : c >= 0xF0 && c <= 0xF4 ? 4
                                           : 0;
  if (length == 0 || pos + length > text.size()) return 0;
  auto next = static_cast<std::uint8_t>(text[pos + 1]);
  // The second byte's range rules out overlong forms, surrogates and code points past U+10FFFF.
  std::uint8_t low = c == 0xE0 ? 0xA0 : c == 0xF0 ? 0x90 : 0x80;
  std::uint8_t high = c == 0xED ? 0x9F : c == 0xF4 ? 0x8F : 0xBF;
  if (next < low || next > high) return 0;
  for (size_t k = 2; k < length; ++k) {
    if ((static_cast<std::uint8_t>(text[pos + k]) & 0xC0) != 0x80) return 0;
  }
  return length;
}

}  // namespace

std::string printable(std::string_view text) {
  static constexpr char kHex[] = "0123456789abcdef";
  std::string out;
  out.reserve(text.size());
  for (size_t i = 0; i < text.size();) {
    auto c = static_cast<std::uint8_t>(text[i]);
    size_t length = utf8CharacterAt(text, i);
    if (length == 1 && c >= 0x20 && c != 0x7F) {
      out += static_cast<char>(c);
    } else if (length == 2 && c == 0xC2 && static_cast<std::uint8_t>(text[i + 1]) < 0xA0) {
      auto code = static_cast<std::uint8_t>(text[i + 1]);  // C1 control U+0080-U+009F
      out += "\\u00";
      out += kHex[code >> 4];
      out += kHex[code & 0xF];
    } else if (length > 1) {
      out.append(text.substr(i, length));
    } else {
      length = 1;
      switch (c) {
        case '\n':
          out += "\\n";
          break;
        case '\r':
          out += "\\r";
          break;
        case '\t':
          out += "\\t";
          break;
        default:
          out += "\\x";
          out += kHex[c >> 4];
          out += kHex[c & 0xF];
      }
    }
    i += length;
  }
  return out;
}

size_t validUtf8Length(std::string_view text) {
  size_t i = 0;
  while (i < text.size()) {
    size_t length = utf8CharacterAt(text, i);
    if (length == 0) break;
    i += length;
  }
  return i;
}

bool isValidUtf8(std::string_view text) { return validUtf8Length(text) == text.size(); }

}  // namespace pluvo
