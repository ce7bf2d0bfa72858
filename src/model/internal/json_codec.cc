#include "model/internal/json_codec.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <vector>

namespace pluvo::model::internal {

std::string_view jsonTypeName(dom::element_type type) {
  switch (type) {
    case dom::element_type::ARRAY:
      return "an array";
    case dom::element_type::OBJECT:
      return "an object";
    case dom::element_type::INT64:
    case dom::element_type::UINT64:
      return "an integer";
    case dom::element_type::DOUBLE:
      return "a float";
    case dom::element_type::STRING:
      return "a string";
    case dom::element_type::BOOL:
      return "a Boolean";
    case dom::element_type::NULL_VALUE:
      return "null";
  }
  return "an unknown value";
}

namespace {

// A reader of JSON's grammar that only looks for the first mistake.
class SyntaxScan {
 public:
  explicit SyntaxScan(std::string_view json) : json_(json) {}

  std::optional<SyntaxError> run() {
    size_t utf8 = validUtf8Length(json_);
    if (utf8 < json_.size()) return SyntaxError{utf8, "a byte that is not UTF-8"};
    enum class Next { value, valueOrEnd, key, keyOrEnd, colon, commaOrEnd };
    Next next = Next::value;
    std::vector<char> open;  // '{' or '['
    while (true) {
      skipBlanks();
      if (at_ == json_.size()) {
        if (open.empty() && next == Next::commaOrEnd) return std::nullopt;
        return error(open.empty() && next == Next::value ? "the document is empty"
                                                         : "the text ends too early");
      }
      char c = json_[at_];
      switch (next) {
        case Next::valueOrEnd:
        case Next::value:
          if (c == ']' && next == Next::valueOrEnd) {
            ++at_;
            open.pop_back();
            next = Next::commaOrEnd;
          } else if (c == '{' || c == '[') {
            ++at_;
            open.push_back(c);
            next = c == '{' ? Next::keyOrEnd : Next::valueOrEnd;
          } else if (auto failed = value()) {
            return failed;
          } else {
            next = Next::commaOrEnd;
          }
          break;
        case Next::keyOrEnd:
        case Next::key:
          if (c == '}' && next == Next::keyOrEnd) {
            ++at_;
            open.pop_back();
            next = Next::commaOrEnd;
          } else if (c != '"') {
            return error("expected a key in double quotes");
          } else if (auto failed = string()) {
            return failed;
          } else {
            next = Next::colon;
          }
          break;
        case Next::colon:
          if (c != ':') return error("expected ':' after a key");
          ++at_;
          next = Next::value;
          break;
        case Next::commaOrEnd:
          if (open.empty()) return error("more text after the document");
          if (c == ',') {
            ++at_;
            next = open.back() == '{' ? Next::key : Next::value;
          } else if (c == (open.back() == '{' ? '}' : ']')) {
            ++at_;
            open.pop_back();
          } else {
            return error(open.back() == '{' ? "expected ',' or '}'" : "expected ',' or ']'");
          }
          break;
      }
    }
  }

 private:
  std::optional<SyntaxError> error(std::string what) const { return SyntaxError{at_, what}; }

  void skipBlanks() {
    while (at_ < json_.size() &&
           std::string_view(" \t\n\r").find(json_[at_]) != std::string_view::npos) {
      ++at_;
    }
  }

  bool digits() {
    size_t start = at_;
    while (at_ < json_.size() && json_[at_] >= '0' && json_[at_] <= '9') ++at_;
    return at_ > start;
  }

  std::optional<SyntaxError> value() {
    char c = json_[at_];
    if (c == '"') return string();
    if (c == '-' || (c >= '0' && c <= '9')) return number();
    for (std::string_view literal : {"true", "false", "null"}) {
      if (json_.substr(at_).starts_with(literal)) {
        at_ += literal.size();
        return std::nullopt;
      }
    }
    return error("expected a value");
  }

  std::optional<SyntaxError> number() {
    if (json_[at_] == '-') ++at_;
    if (at_ < json_.size() && json_[at_] == '0') {
      ++at_;
    } else if (!digits()) {
      return error("a malformed number");
    }
    if (at_ < json_.size() && json_[at_] == '.' && (++at_, !digits())) {
      return error("a malformed number");
    }
    if (at_ < json_.size() && (json_[at_] == 'e' || json_[at_] == 'E')) {
      ++at_;
      if (at_ < json_.size() && (json_[at_] == '+' || json_[at_] == '-')) ++at_;
      if (!digits()) return error("a malformed number");
    }
    return std::nullopt;
  }

  std::optional<SyntaxError> string() {
    ++at_;  // the opening quote
    while (at_ < json_.size()) {
      auto c = static_cast<unsigned char>(json_[at_]);
      if (c == '"') {
        ++at_;
        return std::nullopt;
      }
      if (c < 0x20) return error("a control character inside a string");
      if (c == '\\') {
        ++at_;
        if (at_ == json_.size()) break;
        char escape = json_[at_];
        if (escape == 'u') {
          for (int k = 1; k <= 4; ++k) {
            if (at_ + k >= json_.size() ||
                !std::isxdigit(static_cast<unsigned char>(json_[at_ + k]))) {
              return error("a malformed \\u escape");
            }
          }
          at_ += 4;
        } else if (std::string_view("\"\\/bfnrt").find(escape) == std::string_view::npos) {
          return error("an unknown escape");
        }
      }
      ++at_;
    }
    return error("the text ends inside a string");
  }

  std::string_view json_;
  size_t at_ = 0;
};

}  // namespace

std::optional<SyntaxError> findSyntaxError(std::string_view json) { return SyntaxScan(json).run(); }

Expected<dom::element> parseDocument(std::string_view bytes) {
  // The app's decoder accepts a leading byte-order mark; it says nothing about the data.
  if (bytes.starts_with("\xEF\xBB\xBF")) bytes.remove_prefix(3);
  if (bytes.find_first_not_of(" \t\n\r") == std::string_view::npos) {
    return fail("invalid JSON: the document is empty");
  }
  thread_local dom::parser parser;
  dom::element root;
  auto failure = parser.parse(bytes.data(), bytes.size()).get(root);
  if (failure == simdjson::NUMBER_ERROR) {
    if (std::optional<std::string> widened = widenOversizedIntegers(bytes)) {
      failure = parser.parse(widened->data(), widened->size()).get(root);
    }
  }
  if (!failure) return root;
  std::optional<SyntaxError> found =
      failure == simdjson::DEPTH_ERROR || failure == simdjson::CAPACITY ? std::nullopt
                                                                        : findSyntaxError(bytes);
  if (!found) return fail(std::string("invalid JSON: ") + simdjson::error_message(failure));
  std::string_view before = bytes.substr(0, found->offset);
  size_t line = 1 + static_cast<size_t>(std::count(before.begin(), before.end(), '\n'));
  size_t lineStart = before.rfind('\n');
  size_t column = found->offset - (lineStart == std::string_view::npos ? 0 : lineStart + 1) + 1;
  return fail("invalid JSON at line " + std::to_string(line) + ", column " +
              std::to_string(column) + ": " + found->what);
}

std::optional<std::string> widenOversizedIntegers(std::string_view json) {
  std::string out;
  size_t copied = 0;  // json[0, copied) is already in `out`
  bool inString = false;
  for (size_t i = 0; i < json.size(); ++i) {
    char c = json[i];
    if (inString) {
      if (c == '\\')
        ++i;
      else if (c == '"')
        inString = false;
      continue;
    }
    if (c == '"') {
      inString = true;
      continue;
    }
    if (c != '-' && (c < '0' || c > '9')) continue;
    size_t end = i + 1;
    bool integer = true;
    while (end < json.size() &&
           std::string_view("0123456789.eE+-").find(json[end]) != std::string_view::npos) {
      if (json[end] == '.' || json[end] == 'e' || json[end] == 'E') integer = false;
      ++end;
    }
    std::string_view token = json.substr(i, end - i);
    bool fits = true;
    if (integer) {
      const char* first = token.data();
      const char* last = token.data() + token.size();
      if (token.front() == '-') {
        std::int64_t value;
        fits = std::from_chars(first, last, value).ec != std::errc::result_out_of_range;
      } else {
        std::uint64_t value;
        fits = std::from_chars(first, last, value).ec != std::errc::result_out_of_range;
      }
    }
    if (!fits) {
      out.append(json.substr(copied, end - copied)).append(".0");
      copied = end;
    }
    i = end - 1;
  }
  if (copied == 0) return std::nullopt;
  out.append(json.substr(copied));
  return out;
}

}  // namespace pluvo::model::internal
