// The generic JSON codec behind every wire record (internal to model/).
//
// Records list their fields once with BOOST_DESCRIBE_STRUCT; this header maps them to and from
// JSON with the house rules:
//   - a `std::optional<T>` field is an optional key: absent or null gives no value, and an
//     absent value is omitted when encoding;
//   - every other field is required: missing, null or mistyped fails the whole decode;
//   - a JSON integer is accepted for a float, also one beyond 64 bits (read as the nearest
//     double); a float is accepted for an integer only when it is a whole number in range
//     (0.0, 1e3), as the app's decoder does;
//   - unknown keys are ignored; keys are written in declaration order.
// Records with forgiving rules specialise `JsonCoding<T>`.
//
// Failures carry the path of the failing key ("hours[17].values.windGust: missing required
// key"). The path is assembled only while a failure unwinds, so a successful decode pays
// nothing for it.
//
// Thread safety: decoding uses one simdjson parser per thread.
#pragma once

#include <simdjson.h>

#include <array>
#include <boost/describe.hpp>
#include <boost/mp11.hpp>
#include <boost/pfr/core.hpp>
#include <cmath>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "base/error.h"
#include "base/instant.h"
#include "base/text.h"
#include "model/json_writer.h"

namespace pluvo::model::internal {

namespace dom = simdjson::dom;

// A failure while decoding or encoding: the path to the failing value and what was wrong.
struct CodecError {
  std::string path;
  std::string reason;

  void prefixKey(std::string_view key) {
    if (path.empty() || path.front() == '[') {
      path.insert(0, key);
    } else {
      path.insert(0, ".");
      path.insert(0, key);
    }
  }
  void prefixIndex(size_t index) {
    if (!path.empty() && path.front() != '[') path.insert(0, ".");
    path.insert(0, "[" + std::to_string(index) + "]");
  }
  Error toError() const { return Error{path.empty() ? reason : path + ": " + reason}; }
};

std::string_view jsonTypeName(dom::element_type type);

inline bool typeMismatch(CodecError& error, std::string_view expected, dom::element e) {
  error.reason = "expected ";
  error.reason += expected;
  error.reason += ", found ";
  error.reason += jsonTypeName(e.type());
  return false;
}

template <class T>
struct JsonCoding;

template <class T>
struct IsOptional : std::false_type {};
template <class T>
struct IsOptional<std::optional<T>> : std::true_type {};

template <class T>
concept Described = boost::describe::has_describe_members<T>::value;

template <class T>
concept DescribedEnum = boost::describe::has_describe_enumerators<T>::value;

// A record's description must list every one of its fields: one left out would silently be
// skipped by decoding and encoding alike. Boost.PFR counts the aggregate's fields.
template <Described T>
constexpr bool describesEveryField() {
  return boost::pfr::tuple_size_v<T> ==
         boost::mp11::mp_size<
             boost::describe::describe_members<T, boost::describe::mod_public>>::value;
}

template <class T>
bool decodeValue(dom::element e, T& out, CodecError& error) {
  return JsonCoding<T>::decode(e, out, error);
}

template <class T>
bool encodeValue(JsonWriter& w, const T& value, CodecError& error) {
  return JsonCoding<T>::encode(w, value, error);
}

template <>
struct JsonCoding<bool> {
  static bool decode(dom::element e, bool& out, CodecError& error) {
    if (e.type() != dom::element_type::BOOL) return typeMismatch(error, "a Boolean", e);
    out = e.get_bool().value_unsafe();
    return true;
  }
  static bool encode(JsonWriter& w, bool value, CodecError&) {
    w.boolean(value);
    return true;
  }
};

template <>
struct JsonCoding<std::int64_t> {
  static bool decode(dom::element e, std::int64_t& out, CodecError& error) {
    switch (e.type()) {
      case dom::element_type::INT64:
        out = e.get_int64().value_unsafe();
        return true;
      case dom::element_type::DOUBLE: {
        double d = e.get_double().value_unsafe();
        if (d != std::trunc(d)) return typeMismatch(error, "an integer", e);
        // [-2^63, 2^63): both bounds are exact doubles.
        if (d < -9223372036854775808.0 || d >= 9223372036854775808.0) break;
        out = static_cast<std::int64_t>(d);
        return true;
      }
      case dom::element_type::UINT64:
        break;
      default:
        return typeMismatch(error, "an integer", e);
    }
    error.reason = "integer out of range";
    return false;
  }
  static bool encode(JsonWriter& w, std::int64_t value, CodecError&) {
    w.integer(value);
    return true;
  }
};

template <>
struct JsonCoding<double> {
  static bool decode(dom::element e, double& out, CodecError& error) {
    switch (e.type()) {
      case dom::element_type::DOUBLE:
        out = e.get_double().value_unsafe();
        return true;
      case dom::element_type::INT64:
        out = static_cast<double>(e.get_int64().value_unsafe());
        return true;
      case dom::element_type::UINT64:
        out = static_cast<double>(e.get_uint64().value_unsafe());
        return true;
      default:
        return typeMismatch(error, "a number", e);
    }
  }
  static bool encode(JsonWriter& w, double value, CodecError& error) {
    if (w.number(value)) return true;
    error.reason = "cannot encode a non-finite number";
    return false;
  }
};

template <>
struct JsonCoding<std::string> {
  static bool decode(dom::element e, std::string& out, CodecError& error) {
    if (e.type() != dom::element_type::STRING) return typeMismatch(error, "a string", e);
    out = e.get_string().value_unsafe();
    return true;
  }
  static bool encode(JsonWriter& w, const std::string& value, CodecError&) {
    w.string(value);
    return true;
  }
};

// Instants travel as ISO 8601 texts with whole seconds.
template <>
struct JsonCoding<Instant> {
  static bool decode(dom::element e, Instant& out, CodecError& error) {
    if (e.type() != dom::element_type::STRING) return typeMismatch(error, "an ISO 8601 date", e);
    std::string_view text = e.get_string().value_unsafe();
    auto parsed = parseIso8601(text);
    if (!parsed) {
      error.reason = "malformed ISO 8601 date \"";
      error.reason += printable(text.substr(0, 64));
      error.reason += "\"";
      return false;
    }
    out = *parsed;
    return true;
  }
  static bool encode(JsonWriter& w, Instant value, CodecError& error) {
    if (!std::isfinite(value.sinceReferenceDate)) {
      error.reason = "cannot encode a non-finite date";
      return false;
    }
    w.string(formatIso8601(value));
    return true;
  }
};

template <class T>
struct JsonCoding<std::vector<T>> {
  static bool decode(dom::element e, std::vector<T>& out, CodecError& error) {
    if (e.type() != dom::element_type::ARRAY) return typeMismatch(error, "an array", e);
    dom::array array = e.get_array().value_unsafe();
    out.clear();
    out.reserve(array.size());
    size_t index = 0;
    for (dom::element item : array) {
      if (!decodeValue(item, out.emplace_back(), error)) {
        error.prefixIndex(index);
        return false;
      }
      ++index;
    }
    return true;
  }
  static bool encode(JsonWriter& w, const std::vector<T>& values, CodecError& error) {
    w.beginArray();
    for (size_t i = 0; i < values.size(); ++i) {
      if (!encodeValue(w, values[i], error)) {
        error.prefixIndex(i);
        return false;
      }
    }
    w.endArray();
    return true;
  }
};

// Enumerations whose raw values equal their case names, strict: an unknown value fails.
template <DescribedEnum E>
struct JsonCoding<E> {
  static bool decode(dom::element e, E& out, CodecError& error) {
    if (e.type() != dom::element_type::STRING) return typeMismatch(error, "a string", e);
    std::string_view text = e.get_string().value_unsafe();
    bool found = false;
    boost::mp11::mp_for_each<boost::describe::describe_enumerators<E>>([&](auto d) {
      if (!found && text == d.name) {
        out = d.value;
        found = true;
      }
    });
    if (!found) {
      error.reason = "unknown value \"";
      error.reason += printable(text.substr(0, 64));
      error.reason += "\"";
    }
    return found;
  }
  static bool encode(JsonWriter& w, E value, CodecError& error) {
    const char* name = nullptr;
    boost::mp11::mp_for_each<boost::describe::describe_enumerators<E>>([&](auto d) {
      if (value == d.value) name = d.name;
    });
    if (name == nullptr) {
      error.reason = "cannot encode an undeclared enumeration value";
      return false;
    }
    w.string(name);
    return true;
  }
};

// Described records: one pass over the object's keys, dispatched through a table of the fields.
template <Described T>
struct DescribedCoding {
  using Members = boost::describe::describe_members<T, boost::describe::mod_public>;
  static constexpr size_t kCount = boost::mp11::mp_size<Members>::value;
  static_assert(kCount <= 64, "the seen-set of a record is one 64-bit mask");
  static_assert(describesEveryField<T>(),
                "BOOST_DESCRIBE_STRUCT of this record does not list all of its fields");

  using DecodeFn = bool (*)(dom::element, T&, CodecError&);
  struct Table {
    std::array<std::string_view, kCount> names{};
    std::array<bool, kCount> optional{};
    std::array<DecodeFn, kCount> decode{};
  };

  static const Table& table() {
    static const Table t = [] {
      Table built;
      size_t i = 0;
      boost::mp11::mp_for_each<Members>([&](auto d) {
        using D = decltype(d);
        using Field = std::remove_cvref_t<decltype(std::declval<T&>().*D::pointer)>;
        built.names[i] = D::name;
        built.optional[i] = IsOptional<Field>::value;
        built.decode[i] = +[](dom::element e, T& out, CodecError& error) {
          auto& field = out.*D::pointer;
          if constexpr (IsOptional<Field>::value) {
            if (e.type() == dom::element_type::NULL_VALUE) {
              field.reset();
              return true;
            }
            return decodeValue(e, field.emplace(), error);
          } else {
            return decodeValue(e, field, error);
          }
        };
        ++i;
      });
      return built;
    }();
    return t;
  }

  static bool decode(dom::element e, T& out, CodecError& error) {
    if (e.type() != dom::element_type::OBJECT) return typeMismatch(error, "an object", e);
    dom::object object = e.get_object().value_unsafe();
    const Table& t = table();
    std::uint64_t seen = 0;
    size_t cursor = 0;  // keys usually arrive in declaration order: try the next one first
    for (dom::key_value_pair field : object) {
      size_t index = kCount;
      for (size_t probe = 0; probe < kCount; ++probe) {
        size_t candidate = cursor + probe < kCount ? cursor + probe : cursor + probe - kCount;
        if (t.names[candidate] == field.key) {
          index = candidate;
          break;
        }
      }
      if (index == kCount) continue;  // unknown keys are ignored
      if (!t.decode[index](field.value, out, error)) {
        error.prefixKey(t.names[index]);
        return false;
      }
      seen |= std::uint64_t{1} << index;
      cursor = index + 1 < kCount ? index + 1 : 0;
    }
    for (size_t i = 0; i < kCount; ++i) {
      if ((seen >> i & 1U) == 0 && !t.optional[i]) {
        error.path = std::string(t.names[i]);
        error.reason = "missing required key";
        return false;
      }
    }
    return true;
  }

  static bool encode(JsonWriter& w, const T& value, CodecError& error) {
    w.beginObject();
    bool ok = true;
    boost::mp11::mp_for_each<Members>([&](auto d) {
      if (!ok) return;
      const auto& field = value.*decltype(d)::pointer;
      using Field = std::remove_cvref_t<decltype(field)>;
      if constexpr (IsOptional<Field>::value) {
        if (!field) return;
        w.key(d.name);
        ok = encodeValue(w, *field, error);
      } else {
        w.key(d.name);
        ok = encodeValue(w, field, error);
      }
      if (!ok) error.prefixKey(d.name);
    });
    if (!ok) return false;
    w.endObject();
    return true;
  }
};

template <Described T>
struct JsonCoding<T> : DescribedCoding<T> {};

// `json` with every integer literal beyond the 64-bit ranges written as a float (its digits get
// ".0"), which the parser then reads as the nearest double; nullopt when there is none.
std::optional<std::string> widenOversizedIntegers(std::string_view json);

// Parses one JSON document with this thread's parser; the element lives until the thread's next
// parse. A UTF-8 byte-order mark is skipped; a syntax error says where it is ("invalid JSON at
// line 3, column 14: expected ',' or '}'").
Expected<dom::element> parseDocument(std::string_view bytes);

// Where the first syntax error of `json` is, and what it is; nullopt when the text is valid JSON
// as far as this reader can tell (the nesting depth is not checked).
struct SyntaxError {
  size_t offset;
  std::string what;
};
std::optional<SyntaxError> findSyntaxError(std::string_view json);

// Parses `bytes` as one JSON document and decodes a T from it.
template <class T>
Expected<T> decodeDocument(std::string_view bytes) {
  Expected<dom::element> parsed = parseDocument(bytes);
  if (!parsed) return std::unexpected(std::move(parsed).error());
  dom::element root = *parsed;
  T value{};
  CodecError error;
  if (!decodeValue(root, value, error)) return std::unexpected(error.toError());
  return value;
}

template <class T>
Expected<std::string> encodeDocument(const T& value) {
  JsonWriter w;
  CodecError error;
  if (!encodeValue(w, value, error)) return std::unexpected(error.toError());
  return w.take();
}

// Member-wise hash of described records, for the records' std::hash.
inline void hashCombine(size_t& seed, size_t h) {
  seed ^= h + 0x9e3779b97f4a7c15ULL + (seed << 6) + (seed >> 2);
}

template <class T>
void hashOne(size_t& seed, const T& value) {
  if constexpr (Described<T>) {
    static_assert(describesEveryField<T>(),
                  "BOOST_DESCRIBE_STRUCT of this record does not list all of its fields");
    boost::mp11::mp_for_each<boost::describe::describe_members<T, boost::describe::mod_public>>(
        [&](auto d) { hashOne(seed, value.*decltype(d)::pointer); });
  } else if constexpr (IsOptional<T>::value) {
    hashCombine(seed, value.has_value());
    if (value) hashOne(seed, *value);
  } else if constexpr (requires {
                         value.begin();
                         value.end();
                       } &&
                       !std::is_same_v<T, std::string>) {
    hashCombine(seed, value.size());
    for (const auto& item : value) hashOne(seed, item);
  } else if constexpr (std::is_same_v<T, Instant>) {
    hashCombine(seed, std::hash<double>{}(value.sinceReferenceDate));
  } else {
    hashCombine(seed, std::hash<T>{}(value));
  }
}

template <class T>
size_t hashValue(const T& value) {
  size_t seed = 0;
  hashOne(seed, value);
  return seed;
}

}  // namespace pluvo::model::internal
