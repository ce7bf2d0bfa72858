// Text helpers shared by the decoders and the builder.
//
// `trimWhitespace` removes white space and line breaks from both ends the way the app's
// `.whitespacesAndNewlines` does: ASCII blanks and controls \t \n \v \f \r, and the Unicode
// spaces and separators (U+0085, U+00A0, U+1680, U+2000-U+200A, U+2028, U+2029, U+202F,
// U+205F, U+3000). Text is UTF-8.
//
//   trimWhitespace(" A1 \n");  // "A1"
//
// Thread safety: pure functions.
#pragma once

#include <string>
#include <string_view>

namespace pluvo {

std::string_view trimWhitespace(std::string_view text);

// ASCII case mapping and comparison; other bytes are left as they are and compared exactly.
constexpr char asciiLower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; }
std::string asciiLower(std::string_view text);
std::string asciiUpper(std::string_view text);
bool equalsIgnoringAsciiCase(std::string_view a, std::string_view b);
bool startsWithIgnoringAsciiCase(std::string_view text, std::string_view prefix);
bool containsIgnoringAsciiCase(std::string_view text, std::string_view word);

// `text` safe to put into a log line or an error message: control characters (C0, DEL, C1) and
// bytes that are not UTF-8 are written as escapes ("\n", "\t", "\x1b", "\u009b", "\xff"), so
// a text from a packet or a server can neither end the line nor drive the terminal.
//
//   printable("Galveston\n\x1b[31m");  // "Galveston\\n\\x1b[31m"
std::string printable(std::string_view text);

// Whether `text` is well-formed UTF-8: no overlong forms, no surrogates, nothing above U+10FFFF.
bool isValidUtf8(std::string_view text);
// The length of the longest well-formed UTF-8 start of `text` (where the first bad byte is).
size_t validUtf8Length(std::string_view text);

}  // namespace pluvo
