// Opaque nodes carry names and text only. libyang's own printer guesses types for them and writes
// text like 007 as a number, which is no JSON.
#include "store/reading/json_any.h"

#include <string_view>
#include <unordered_map>
#include <vector>

#include "store/reading/json_scalar.h"
#include "text/escape.h"

namespace nexa::store {
namespace {

// As deep as the JSON that a client can have stored; deeper content is cut.
constexpr int kMaxDepth = 1000;

std::string_view view(const char* text) { return text == nullptr ? std::string_view() : text; }

class AnyWriter {
 public:
  AnyWriter(bool qualify, const KnownNodeWriter& known, std::string& json)
      : qualify_(qualify), known_(known), json_(json) {}

  void object(const lyd_node* first, std::string_view parent_module) {
    ++depth_;
    std::vector<Member> members;
    if (depth_ <= kMaxDepth) collect(first, parent_module, members);
    json_ += '{';
    for (const Member& member : members) {
      if (&member != &members.front()) json_ += ',';
      text::append_json_string(member.name, json_);
      json_ += ':';
      values(member.nodes);
    }
    json_ += '}';
    --depth_;
  }

 private:
  struct Member {
    std::string name;
    std::vector<const lyd_node*> nodes;
  };

  void collect(const lyd_node* first, std::string_view parent_module,
               std::vector<Member>& members) const {
    std::unordered_map<std::string, std::size_t> places;
    for (const lyd_node* node = first; node != nullptr; node = node->next) {
      std::string name = LYD_NAME(node);
      const std::string_view module = module_of(node);
      if (qualify_ && !module.empty() && module != parent_module) {
        name.insert(0, ":").insert(0, module);
      }
      const auto [place, is_new] = places.try_emplace(name, members.size());
      if (is_new) members.push_back({std::move(name), {}});
      members[place->second].nodes.push_back(node);
    }
  }

  // Empty for a namespace that no module has.
  static std::string_view module_of(const lyd_node* node) {
    if (node->schema != nullptr) return node->schema->module->name;
    const auto* opaque = reinterpret_cast<const lyd_node_opaq*>(node);
    if (opaque->name.module_ns == nullptr) return {};
    if (opaque->format != LY_VALUE_XML) return opaque->name.module_name;
    const lys_module* module =
        ly_ctx_get_module_implemented_ns(opaque->ctx, opaque->name.module_ns);
    return module == nullptr ? std::string_view() : module->name;
  }

  void values(const std::vector<const lyd_node*>& nodes) {
    const lysc_node* schema = nodes.front()->schema;
    const bool is_array = nodes.size() > 1 || (schema != nullptr &&
                                               (schema->nodetype & (LYS_LIST | LYS_LEAFLIST)) != 0);
    if (is_array) json_ += '[';
    for (const lyd_node* node : nodes) {
      if (node != nodes.front()) json_ += ',';
      value(node);
    }
    if (is_array) json_ += ']';
  }

  void value(const lyd_node* node) {
    if (node->schema != nullptr) return known_(node);
    const auto* opaque = reinterpret_cast<const lyd_node_opaq*>(node);
    if (opaque->child != nullptr) return object(opaque->child, module_of(node));
    text::append_json_string(view(opaque->value), json_);
  }

  const bool qualify_;
  const KnownNodeWriter& known_;
  std::string& json_;
  int depth_ = 0;
};

}  // namespace

void append_json_any(const lyd_node* node, bool qualify, const KnownNodeWriter& known,
                     std::string& json) {
  const auto* any = reinterpret_cast<const lyd_node_any*>(node);
  switch (any->value_type) {
    case LYD_ANYDATA_DATATREE:
      AnyWriter(qualify, known, json).object(any->value.tree, node->schema->module->name);
      return;
    case LYD_ANYDATA_JSON:
      json += view(any->value.json);
      return;
    case LYD_ANYDATA_STRING:
    case LYD_ANYDATA_XML:
      text::append_json_string(view(any->value.str), json);
      return;
    case LYD_ANYDATA_LYB:
      json += "{}";
      return;
  }
}

}  // namespace nexa::store
