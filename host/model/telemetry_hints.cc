// libyang keeps the statements of extensions with the compiled nodes, also of extensions that it
// has no code for.
#include "model/telemetry_hints.h"

#include <libyang/libyang.h>

#include <cstring>
#include <string_view>

namespace nexa::model {
namespace {

constexpr char kModule[] = "openconfig-extensions";

bool has_itself_or_above(const std::unordered_set<const lysc_node*>& marked,
                         const lysc_node* node) {
  for (; node != nullptr && !marked.empty(); node = lysc_data_parent(node)) {
    if (marked.count(node) != 0) return true;
  }
  return false;
}

}  // namespace

void TelemetryHints::read(const lysc_node* node) {
  LY_ARRAY_COUNT_TYPE at = 0;
  LY_ARRAY_FOR(node->exts, at) {
    const lysc_ext* const statement = node->exts[at].def;
    if (std::strcmp(statement->module->name, kModule) != 0) continue;
    const std::string_view name = statement->name;
    const bool has_children = (node->nodetype & (LYS_CONTAINER | LYS_LIST)) != 0;
    if (name == "telemetry-atomic" && has_children) atomic_.insert(node);
    if (name == "telemetry-atomic-exempt") exempt_.insert(node);
    if (name == "telemetry-on-change") on_change_.insert(node);
  }
}

bool TelemetryHints::is_in_atomic(const lysc_node* node) const {
  return has_itself_or_above(atomic_, node);
}

bool TelemetryHints::changes_by_events(const lysc_node* node) const {
  return has_itself_or_above(on_change_, node);
}

}  // namespace nexa::model
