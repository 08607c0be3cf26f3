// The walk against a literal model of it: the same members in the same order, the same bindings,
// the same errors, whether traces are logged or not.
#include <cjson/cJSON.h>
#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <algorithm>
#include <memory>
#include <unordered_map>

#include "nexa/cjson_csnode.h"
#include "support/fake_schema.h"
#include "support/log_capture.h"

namespace nexa_test {
namespace json_binding_reference_test {

using Tree = std::unique_ptr<cJSON, void (*)(cJSON*)>;
using Bindings = std::unordered_map<const cJSON*, kestrel_cs_node*>;

std::string local_name(const char* name) {
  const std::string full = name;
  return full.substr(full.find(':') + 1);
}

// The walk, step by step, with nothing saved.
class Model {
 public:
  void visit(cJSON* item, kestrel_cs_node* node) {
    bindings[item] = node;
    if (cJSON_IsObject(item)) visit_object(item, node);
    if (cJSON_IsArray(item)) {
      for (cJSON* child = item->child; child != nullptr; child = child->next) visit(child, node);
      for (cJSON* child = item->child; child != nullptr; child = child->next) {
        if (cJSON_IsObject(child)) reorder(child, node);
      }
    }
  }

  Bindings bindings;
  std::vector<std::string> unmatched;

 private:
  static kestrel_cs_node* child_of(kestrel_cs_node* node, const std::string& name) {
    for (kestrel_cs_node* child = node->children; child != nullptr; child = child->next) {
      if (name == kestrel_hash2str(child->tag)) return child;
    }
    return nullptr;
  }

  void visit_object(cJSON* item, kestrel_cs_node* node) {
    for (cJSON* member = item->child; member != nullptr; member = member->next) {
      kestrel_cs_node* child = child_of(node, local_name(member->string));
      if (child == nullptr) {
        unmatched.push_back(member->string);
        return;
      }
      visit(member, child);
    }
    if ((node->flags & 0x2001) != 0) reorder(item, node);
  }

  static void reorder(cJSON* entry, kestrel_cs_node* node) {
    std::vector<cJSON*> members;
    for (cJSON* member = entry->child; member != nullptr; member = member->next) {
      members.push_back(member);
    }
    for (std::size_t k = 0; node->keys != nullptr && node->keys[k] != 0; ++k) {
      for (std::size_t j = 0; j < members.size(); ++j) {
        if (local_name(members[j]->string) != kestrel_hash2str(node->keys[k])) continue;
        if (k < members.size()) exchange(*members[j], *members[k]);
      }
    }
  }

  static void exchange(cJSON& left, cJSON& right) {
    std::swap(left, right);
    std::swap(left.next, right.next);
    std::swap(left.prev, right.prev);
  }
};

std::string print(const cJSON* tree) {
  const std::unique_ptr<char, decltype(&cJSON_free)> text(cJSON_PrintUnformatted(tree),
                                                          &cJSON_free);
  return text.get();
}

// Any value for `node`, down to `depth` levels, with members of every kind: keys in any order,
// missing, repeated, prefixed, and names that the schema does not have.
rc::Gen<std::string> value_gen(const kestrel_cs_node* node, int depth);

rc::Gen<std::string> object_gen(const kestrel_cs_node* node, int depth) {
  std::vector<std::pair<std::string, const kestrel_cs_node*>> names;
  for (const kestrel_cs_node* child = node->children; child != nullptr; child = child->next) {
    names.emplace_back(kestrel_hash2str(child->tag), child);
  }
  return rc::gen::exec([names, depth] {
    const auto count = *rc::gen::inRange<std::size_t>(0, names.size() + 3);
    std::string text;
    for (std::size_t i = 0; i < count; ++i) {
      const auto& [name, child] = *rc::gen::elementOf(names);
      const int form = *rc::gen::inRange(0, 12);
      const std::string written = form == 0 ? "nope" : (form < 4 ? "mod:" + name : name);
      text += (i == 0 ? "\"" : ",\"") + written + "\":" + *value_gen(child, depth - 1);
    }
    return "{" + text + "}";
  });
}

rc::Gen<std::string> array_gen(const kestrel_cs_node* node, int depth) {
  return rc::gen::exec([node, depth] {
    const int count = *rc::gen::inRange(1, 4);
    std::string text;
    for (int i = 0; i < count; ++i) {
      const bool nested = depth > 0 && *rc::gen::inRange(0, 20) == 0;
      if (i > 0) text += ",";
      text += nested ? *array_gen(node, depth - 1)
                     : (node->children != nullptr ? *object_gen(node, depth) : "1");
    }
    return "[" + text + "]";
  });
}

rc::Gen<std::string> value_gen(const kestrel_cs_node* node, int depth) {
  return rc::gen::exec([node, depth]() -> std::string {
    if (depth <= 0 || *rc::gen::inRange(0, 15) == 0) {
      return *rc::gen::element<std::string>("1", "\"s\"", "null");
    }
    if ((node->flags & KESTREL_FLAG_LIST) != 0) return *array_gen(node, depth);
    return node->children != nullptr ? *object_gen(node, depth) : "\"leaf\"";
  });
}

// Walks `json` at `root` and compares everything that can be seen with the model.
void compare_with_model(const std::string& json, kestrel_cs_node* root) {
  const Tree expected(cJSON_Parse(json.c_str()), &cJSON_Delete);
  RC_ASSERT(expected != nullptr);
  Model model;
  model.visit(expected.get(), root);

  for (const gpr_log_severity level : {GPR_LOG_SEVERITY_ERROR, GPR_LOG_SEVERITY_DEBUG}) {
    const Tree tree(cJSON_Parse(json.c_str()), &cJSON_Delete);
    nexa::Json2cJsonCsnodeHash hash;
    LogCapture log(level);
    visit_value(tree.get(), root, &hash);
    RC_ASSERT(print(tree.get()) == print(expected.get()));
    RC_ASSERT(hash.size() == model.bindings.size());

    // Both trees have the same shape, so their items pair up.
    std::vector<std::pair<const cJSON*, const cJSON*>> open = {{tree.get(), expected.get()}};
    while (!open.empty()) {
      const auto [item, twin] = open.back();
      open.pop_back();
      const auto bound = model.bindings.find(twin);
      const nexa::cJsonCsnode* binding = hash.find(item);
      RC_ASSERT((binding != nullptr) == (bound != model.bindings.end()));
      if (binding != nullptr) RC_ASSERT(binding->cs_node == bound->second);
      if (item->next != nullptr) open.emplace_back(item->next, twin->next);
      if (item->child != nullptr) open.emplace_back(item->child, twin->child);
    }

    const Lines errors = log.take(GPR_LOG_SEVERITY_ERROR);
    RC_ASSERT(errors.size() == 2 * model.unmatched.size());
    for (std::size_t i = 0; i < model.unmatched.size(); ++i) {
      RC_ASSERT(mask_numbers(errors[2 * i].text) ==
                "in find_matching_cs_node at #: Failed to find schema matching cJSON->string: " +
                    model.unmatched[i]);
    }
  }
}

TEST(JsonBindingReference, WalkEqualsItsModel) {
  FakeSchema schema;
  FakeModule& module = schema.module("mod", "m", "urn:m");
  FakeNode top = module.container("top");
  FakeNode list = top.list("list", {"a", "b", "c"});
  for (const char* name : {"x", "c", "a", "y", "b"}) list.leaf(name);
  FakeNode inner = list.list("inner", {"k"});
  inner.leaf("v");
  inner.leaf("k");
  inner.container("box").leaf("a");
  list.container("box").list("list", {"a"}).leaf("a");
  top.leaf_list("values");
  top.leaf("twin");
  top.leaf("twin");
  // Few names, so that entries repeat some and lack others.
  FakeNode narrow = top.list("narrow", {"a", "b"});
  narrow.leaf("b");
  narrow.leaf("a");
  kestrel_cs_node* const roots[] = {top, list, inner, narrow};

  EXPECT_TRUE(rc::check("quiet, traced and model", [&] {
    kestrel_cs_node* root = roots[*rc::gen::inRange(0, 4)];
    const auto payload = root == top.get() ? object_gen(root, 4) : array_gen(root, 4);
    for (int i = 0; i < 10; ++i) compare_with_model(*payload, root);
  }));
}

}  // namespace json_binding_reference_test
}  // namespace nexa_test
