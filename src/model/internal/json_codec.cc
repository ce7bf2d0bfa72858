#include "model/internal/json_codec.h"

#include <charconv>

namespace pluvo::model::internal {

std::string_view jsonTypeName(dom::element_type type) {
  switch (type) {
    case dom::element_type::ARRAY: return "an array";
    case dom::element_type::OBJECT: return "an object";
    case dom::element_type::INT64:
    case dom::element_type::UINT64: return "an integer";
    case dom::element_type::DOUBLE: return "a float";
    case dom::element_type::STRING: return "a string";
    case dom::element_type::BOOL: return "a Boolean";
    case dom::element_type::NULL_VALUE: return "null";
  }
  return "an unknown value";
}

Expected<dom::element> parseDocument(std::string_view bytes) {
  thread_local dom::parser parser;
  dom::element root;
  auto failure = parser.parse(bytes.data(), bytes.size()).get(root);
  if (failure == simdjson::NUMBER_ERROR) {
    if (std::optional<std::string> widened = widenOversizedIntegers(bytes)) {
      failure = parser.parse(widened->data(), widened->size()).get(root);
    }
  }
  if (failure) return fail(std::string("invalid JSON: ") + simdjson::error_message(failure));
  return root;
}

std::optional<std::string> widenOversizedIntegers(std::string_view json) {
  std::string out;
  size_t copied = 0;  // json[0, copied) is already in `out`
  bool inString = false;
  for (size_t i = 0; i < json.size(); ++i) {
    char c = json[i];
    if (inString) {
      if (c == '\\') ++i;
      else if (c == '"') inString = false;
      continue;
    }
    if (c == '"') {
      inString = true;
      continue;
    }
    if (c != '-' && (c < '0' || c > '9')) continue;
    size_t end = i + 1;
    bool integer = true;
    while (end < json.size() && std::string_view("0123456789.eE+-").find(json[end]) !=
                                    std::string_view::npos) {
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
