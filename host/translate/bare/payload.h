// Makes a parsed payload fit for the library's binding walk: every shape that the walk would abort
// on, lose or misplace is refused here by the path of its member, and list keys are moved to the
// front, so that the walk's own reordering finds nothing to swap.
#ifndef HOST_TRANSLATE_BARE_PAYLOAD_H_
#define HOST_TRANSLATE_BARE_PAYLOAD_H_

#include <cjson/cJSON.h>
#include <grpcpp/support/status.h>

#include <unordered_set>
#include <vector>

#include "gnmi/gnmi_base_namespace_mapper.h"
#include "kestrel/kestrel.h"
#include "nexa/cjson_csnode.h"
#include "translate/bare/target.h"

namespace nexa::host::bare {

// An item and the schema node that it must be bound to.
struct Expected {
  cJSON* item;
  const kestrel_cs_node* node;
};

struct Prepared {
  std::vector<Expected> expected;
  // Items that stood for the value of the empty type and now hold a blank.
  std::unordered_set<const cJSON*> empty_values;
};

// Checks and orders the value `root` of `target`, in place, and records what each item stands for.
// INVALID_ARGUMENT names the first offending member. Not for a value whose form contradicts the
// path's keys: that verdict is the library's (form_contradicts_path).
grpc::Status prepare_payload(const Target& target, const gnmi::BaseNamespaceMapper& mapper,
                             cJSON* root, Prepared& prepared);

// Whether the library's walk refuses the value before it looks inside: an array where the path
// names one entry, no array where it leaves keys open.
bool form_contradicts_path(const Target& target, const cJSON& root);

// After the walk: whether every item is bound to the node that it stands for. INVALID_ARGUMENT
// otherwise.
grpc::Status check_bindings(const Target& target, const Prepared& prepared,
                            const Json2cJsonCsnodeHash& bindings);

}  // namespace nexa::host::bare

#endif  // HOST_TRANSLATE_BARE_PAYLOAD_H_
