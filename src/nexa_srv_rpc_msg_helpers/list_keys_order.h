// The ordering of one bound list entry, for the binding walk: as the member function does it, with
// a word on whether doing it again would change anything.
#ifndef NEXA_LIST_KEYS_ORDER_H_
#define NEXA_LIST_KEYS_ORDER_H_

#include "nexa/cjson_csnode.h"

namespace nexa {

// reorder_cjson_object_according_to_keys() of `entry`. True when every key was found once at most,
// so that ordering the entry by the same keys again leaves it as it is.
bool reorder_entry(const cJsonCsnode& entry);

}  // namespace nexa

#endif  // NEXA_LIST_KEYS_ORDER_H_
