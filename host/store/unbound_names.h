// libyang reads elements below anydata that stand in no namespace, and dies when several of them
// have one name, or when it prints one whose prefix is not declared. So a text is looked at before.
#ifndef HOST_STORE_UNBOUND_NAMES_H_
#define HOST_STORE_UNBOUND_NAMES_H_

#include <string>
#include <string_view>

namespace nexa::store {

// The first name in elements without one around them that stands in no namespace: of an element
// inside another, or of an element or attribute with a prefix. Empty when there is none, or none
// before the text stops being XML.
std::string unbound_name(std::string_view xml);

}  // namespace nexa::store

#endif  // HOST_STORE_UNBOUND_NAMES_H_
