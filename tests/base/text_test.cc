// Text helpers on crafted bytes: what a log line may carry, what counts as UTF-8 and as a blank.
#include "base/text.h"

#include <gtest/gtest.h>

#include "platform/system_environment.h"

namespace pluvo {
namespace {

TEST(Text, OutsideTextsCannotEndALineOrDriveATerminal) {
  const std::pair<std::string_view, std::string_view> kEscaped[] = {
      {"Galveston, TX \u00b7 0.41\" \u2191", "Galveston, TX \u00b7 0.41\" \u2191"},
      {"x\nPluvo widget snapshot saved", "x\\nPluvo widget snapshot saved"},
      {"\x1b[31mred\r\t", "\\x1b[31mred\\r\\t"},
      {"C1 \xc2\x9b"
       "31m, DEL \x7f",
       "C1 \\u009b31m, DEL \\x7f"},
      {"broken \xff\xfe, cut \xe2\x86", "broken \\xff\\xfe, cut \\xe2\\x86"},
      {"surrogate \xed\xa0\x80", "surrogate \\xed\\xa0\\x80"},
  };
  for (auto [raw, shown] : kEscaped) EXPECT_EQ(printable(raw), shown);
  const std::pair<std::string_view, std::string_view> kTrimmed[] = {
      {" \t A1 \n", "A1"},
      {"\u00a0\u2003Galveston, TX\u3000\u2028", "Galveston, TX"},
      {" \n ", ""},
      {"a b", "a b"},
      {"caf\xc3\xa9", "caf\xc3\xa9"},  // é is not a blank
  };
  for (auto [raw, trimmed] : kTrimmed) EXPECT_EQ(trimWhitespace(raw), trimmed) << raw;

  std::vector<std::string> lines;
  platform::SystemEnvironment env(
      {.container = "/nonexistent", .logSink = [&](auto line) { lines.emplace_back(line); }});
  env.log("unknown value \"x\n\x1b[31mPluvo widget snapshot saved\"");
  EXPECT_EQ(lines,
            std::vector<std::string>{"unknown value \"x\\n\\x1b[31mPluvo widget snapshot saved\""});
}

TEST(Text, Utf8IsWellFormedOrNot) {
  for (std::string_view good : {"", "ascii", "\u00b7\u2191\U0001F327", "\xf4\x8f\xbf\xbf"}) {
    EXPECT_TRUE(isValidUtf8(good)) << good;
  }
  for (std::string_view bad : {"\xff", "\xc0\xaf", "\xe0\x80\xaf", "\xed\xa0\x80",
                               "\xf4\x90\x80\x80", "\xe2\x86", "\xc2"}) {
    EXPECT_FALSE(isValidUtf8(bad)) << printable(bad);
  }
}

}  // namespace
}  // namespace pluvo
