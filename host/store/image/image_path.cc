// Values stand in apostrophes, or in quotation marks when they hold an apostrophe.
#include "store/image/image_path.h"

namespace nexa::store {
namespace {

void append_predicate(std::string_view name, std::string_view value, std::string& path) {
  const char quote = value.find('\'') == std::string_view::npos ? '\'' : '"';
  path.append("[").append(name).append("=").append(1, quote).append(value).append(1, quote);
  path.append("]");
}

}  // namespace

void append_path_step(const ImageNode& node, const lysc_node* parent, std::string& path) {
  const lysc_node* const schema = node.schema();
  path.append("/");
  if (parent == nullptr || parent->module != schema->module) {
    path.append(schema->module->name).append(":");
  }
  path.append(schema->name);
  if (schema->nodetype == LYS_LEAFLIST) {
    append_predicate(".", node.leaf().text(), path);
  } else if (schema->nodetype == LYS_LIST) {
    for (const ImageSlot& child : node.inner().children()) {
      if (child->kind() != ImageKind::kLeaf || !lysc_is_key(child->schema())) break;
      append_predicate(child->schema()->name, child->leaf().text(), path);
    }
  }
}

}  // namespace nexa::store
