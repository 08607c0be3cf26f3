// Which field of a gNMI value, beside numbers and texts, is made for a leaf?
#ifndef HOST_MODEL_VALUE_KIND_H_
#define HOST_MODEL_VALUE_KIND_H_

#include <cstdint>

struct lysc_node;

namespace nexa::model {

enum class ValueKind : std::uint8_t {
  kBinary,  // bytes: binary, or a union with it
  kEmpty,   // true: empty, or a union with it and without boolean
  kOther,
};

// Of a leaf or leaf-list; kOther for every other node.
ValueKind value_kind(const lysc_node* node);

}  // namespace nexa::model

#endif  // HOST_MODEL_VALUE_KIND_H_
