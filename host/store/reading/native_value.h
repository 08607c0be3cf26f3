// One value of a leaf in the fields that gNMI has for scalars (gNMI specification, section 2.2.3):
//
//   int8 to int64       int_val           string, enumeration, bits    string_val
//   uint8 to uint64     uint_val          instance-identifier          string_val
//   boolean             bool_val          identityref                  string_val, "module:name"
//   binary              bytes_val         empty                        bool_val, true
//   decimal64           double_val        union, leafref               as the type of the value
#ifndef HOST_STORE_READING_NATIVE_VALUE_H_
#define HOST_STORE_READING_NATIVE_VALUE_H_

#include "gnmi.pb.h"
#include "store/image/image.h"

namespace nexa::store {

// Of a leaf or of one entry of a leaf-list.
void set_native_value(const ImageLeaf& leaf, gnmi::TypedValue& value);

}  // namespace nexa::store

#endif  // HOST_STORE_READING_NATIVE_VALUE_H_
