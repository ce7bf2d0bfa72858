#include "model/json_writer.h"

#include <charconv>
#include <cmath>

namespace pluvo::model {

void JsonWriter::separate() {
  if (afterKey_) {
    afterKey_ = false;
    return;
  }
  if (!first_.empty()) {
    if (!first_.back()) out_.push_back(',');
    first_.back() = false;
  }
}

void JsonWriter::beginObject() {
  separate();
  out_.push_back('{');
  first_.push_back(true);
}

void JsonWriter::endObject() {
  out_.push_back('}');
  first_.pop_back();
}

void JsonWriter::beginArray() {
  separate();
  out_.push_back('[');
  first_.push_back(true);
}

void JsonWriter::endArray() {
  out_.push_back(']');
  first_.pop_back();
}

void JsonWriter::key(std::string_view name) {
  separate();
  appendJsonString(out_, name);
  out_.push_back(':');
  afterKey_ = true;
}

void JsonWriter::string(std::string_view value) {
  separate();
  appendJsonString(out_, value);
}

bool JsonWriter::number(double value) {
  if (!std::isfinite(value)) return false;
  separate();
  char buffer[32];
  // Whole numbers beyond the 64-bit integer range would come out as long digit strings that
  // readers take for (overflowing) integers; the exponent form keeps them floats.
  auto format = std::fabs(value) >= 9.2e18 ? std::chars_format::scientific : std::chars_format{};
  auto result = format == std::chars_format{}
                    ? std::to_chars(buffer, buffer + sizeof buffer, value)
                    : std::to_chars(buffer, buffer + sizeof buffer, value, format);
  out_.append(buffer, result.ptr);
  return true;
}

void JsonWriter::integer(std::int64_t value) {
  separate();
  char buffer[24];
  auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
  out_.append(buffer, result.ptr);
}

void JsonWriter::boolean(bool value) {
  separate();
  out_.append(value ? "true" : "false");
}

void JsonWriter::null() {
  separate();
  out_.append("null");
}

void appendJsonString(std::string& out, std::string_view value) {
  static constexpr char kHex[] = "0123456789abcdef";
  out.push_back('"');
  size_t run = 0;  // start of the pending run of characters that need no escape
  for (size_t i = 0; i < value.size(); ++i) {
    auto c = static_cast<unsigned char>(value[i]);
    if (c >= 0x20 && c != '"' && c != '\\') continue;
    out.append(value.substr(run, i - run));
    run = i + 1;
    switch (c) {
      case '"':
        out.append("\\\"");
        break;
      case '\\':
        out.append("\\\\");
        break;
      case '\n':
        out.append("\\n");
        break;
      case '\r':
        out.append("\\r");
        break;
      case '\t':
        out.append("\\t");
        break;
      case '\b':
        out.append("\\b");
        break;
      case '\f':
        out.append("\\f");
        break;
      default:
        out.append("\\u00");
        out.push_back(kHex[c >> 4]);
        out.push_back(kHex[c & 0xF]);
    }
  }
  out.append(value.substr(run));
  out.push_back('"');
}

}  // namespace pluvo::model
