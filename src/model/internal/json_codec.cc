#include "model/internal/json_codec.h"

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

}  // namespace pluvo::model::internal
