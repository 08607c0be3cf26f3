// What converted XML still lacks: namespaces where a node's module differs from its parent's, list
// keys in schema order, list entries directly in their parent, and leaf texts exactly as the client
// sent them.
#ifndef HOST_TRANSLATE_BARE_XML_COMPLETION_H_
#define HOST_TRANSLATE_BARE_XML_COMPLETION_H_

#include <cjson/cJSON.h>
#include <grpcpp/support/status.h>
#include <libxml/tree.h>

#include <vector>

#include "gnmi/gnmi_base_namespace_mapper.h"
#include "kestrel/kestrel.h"
#include "nexa/cjson_csnode.h"
#include "translate/bare/payload.h"

namespace nexa::host::bare {

// Completes the elements of a path: `last` is the element of the last node of `nodes`, its
// ancestors those of the earlier ones.
void complete_wrapper(xmlNodePtr last, const std::vector<kestrel_cs_node*>& nodes);

struct ConvertedValue {
  const cJSON* item;              // the value's root
  const Prepared* prepared;       // what was made of the payload before its conversion
  xmlNodePtr first;               // the first of its elements, in the order of the payload
  const kestrel_cs_node* parent;  // the node of the element they stand in; null at the top
  bool is_own_element;            // false when `first` is a member of the root, not the root itself
  bool arrays_wrapped;  // whether arrays have an element of their own around their entries
};

// Completes the elements of a converted value. INTERNAL when an element does not correspond to its
// item.
grpc::Status complete_value(const ConvertedValue& value, const Json2cJsonCsnodeHash& bindings,
                            const gnmi::BaseNamespaceMapper& mapper);

}  // namespace nexa::host::bare

#endif  // HOST_TRANSLATE_BARE_XML_COMPLETION_H_
