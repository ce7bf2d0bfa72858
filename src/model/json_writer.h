// A compact JSON text writer.
//
// Writes objects, arrays and scalars in the order they are given, without white space, as the
// app's own encoder does (no pretty printing, no sorted keys). Numbers are written as the
// shortest decimal text that reads back to the same double; non-finite numbers are refused
// (`number` returns false) because JSON cannot carry them. Strings are escaped as JSON needs and
// otherwise kept as UTF-8.
//
//   JsonWriter w;
//   w.beginObject(); w.key("a"); w.number(0.1); w.endObject();
//   w.text();  // {"a":0.1}
//
// Thread safety: one writer per thread.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace pluvo::model {

class JsonWriter {
 public:
  void beginObject();
  void endObject();
  void beginArray();
  void endArray();
  void key(std::string_view name);

  void string(std::string_view value);
  [[nodiscard]] bool number(double value);
  void integer(std::int64_t value);
  void boolean(bool value);
  void null();

  const std::string& text() const { return out_; }
  std::string take() { return std::move(out_); }

 private:
  void separate();

  std::string out_;
  // One entry per open container: true until its first element is written.
  std::vector<bool> first_;
  bool afterKey_ = false;
};

// Appends `value` as a quoted, escaped JSON string.
void appendJsonString(std::string& out, std::string_view value);

}  // namespace pluvo::model
