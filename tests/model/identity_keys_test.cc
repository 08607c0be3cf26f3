// For every list of published models that has an identity as a key: all spellings of the identity
// name the same entry, or the short one is refused because it has several meanings.
#include <gtest/gtest.h>
#include <libyang/libyang.h>

#include <cstdio>
#include <set>
#include <string>
#include <vector>

#include "kestrel/loader.h"
#include "real/yang_folders.h"
#include "support/targets.h"

namespace nexa_test {
namespace {

using nexa::model::Purpose;
using nexa::model::Schema;

const lysc_type_identityref* identity_type(const lysc_node* leaf) {
  const lysc_type* type = reinterpret_cast<const lysc_node_leaf*>(leaf)->type;
  if (type->basetype == LY_TYPE_LEAFREF) {
    type = reinterpret_cast<const lysc_type_leafref*>(type)->realtype;
  }
  return type->basetype == LY_TYPE_IDENT ? reinterpret_cast<const lysc_type_identityref*>(type)
                                         : nullptr;
}

void collect(const lysc_ident* base, std::set<const lysc_ident*>& found) {
  LY_ARRAY_COUNT_TYPE i = 0;
  LY_ARRAY_FOR(base->derived, i) {
    if (found.insert(base->derived[i]).second) collect(base->derived[i], found);
  }
}

// The identities that a type takes: derived from each of its bases.
std::set<const lysc_ident*> identities(const lysc_type_identityref& type) {
  std::set<const lysc_ident*> taken;
  collect(type.bases[0], taken);
  for (LY_ARRAY_COUNT_TYPE i = 1; i < LY_ARRAY_COUNT(type.bases); ++i) {
    std::set<const lysc_ident*> other;
    collect(type.bases[i], other);
    std::erase_if(taken, [&](const lysc_ident* one) { return other.count(one) == 0; });
  }
  return taken;
}

gnmi::Path path_to(const Schema& schema, const kestrel_cs_node* node) {
  gnmi::Path path;
  if (node->parent != nullptr) path = path_to(schema, node->parent);
  path.add_elem()->set_name(schema.names().qualified(node));
  return path;
}

class IdentityKeys : public testing::TestWithParam<const char*> {
 protected:
  static std::vector<YangFolder> folders() {
    const std::string set = GetParam();
    if (set == "openconfig") return {openconfig_folder()};
    if (set == "frr") return {frr_folder()};
    return {ietf_nmda_folder(), ietf_folder()};
  }

  // The canonical value that the list's key gets from `value`, or "" for a refusal.
  static std::string canonical(const gnmi::Path& list, const char* key, const std::string& value) {
    gnmi::Path path = list;
    (*path.mutable_elem(path.elem_size() - 1)->mutable_key())[key] = value;
    const auto target = loaded_model().tolerant.resolve(gnmi::Path(), path, Purpose::kRead);
    return target.ok() ? target.value().last().keys.front().canonical : "";
  }

  void check(const kestrel_cs_node* list, const lysc_node* key) {
    const gnmi::Path path = path_to(loaded_model().schema, list);
    const std::set<const lysc_ident*> all = identities(*identity_type(key));
    ++lists_;
    for (const lysc_ident* identity : all) {
      const std::string module = identity->module->name;
      const std::string name = identity->name;
      const KestrelNsEntry* const entry = loaded_model().schema.names().by_module(module);
      ASSERT_NE(entry, nullptr);
      const std::string full = module + ":" + name;
      EXPECT_EQ(canonical(path, key->name, full), full) << path.ShortDebugString();
      EXPECT_EQ(canonical(path, key->name, std::string(entry->prefix) + ":" + name), full)
          << path.ShortDebugString();
      int meanings = 0;
      bool is_own = false;
      for (const lysc_ident* other : all) {
        meanings += other->name == name ? 1 : 0;
        is_own = is_own || (other->name == name && other->module == key->module);
      }
      const bool is_meant = is_own ? identity->module == key->module : meanings == 1;
      const std::string bare = canonical(path, key->name, name);
      if (is_meant) {
        EXPECT_EQ(bare, full) << path.ShortDebugString();
      } else {
        EXPECT_NE(bare, full) << path.ShortDebugString();
      }
      ++values_;
    }
  }

  std::size_t lists_ = 0;
  std::size_t values_ = 0;
};

TEST_P(IdentityKeys, AllSpellingsNameTheSameEntry) {
  kestrel::LoadOptions options;
  for (const YangFolder& folder : folders()) {
    NEXA_NEED_FOLDER(folder);
    options.search_dirs.push_back(folder.path);
  }
  const auto fault = kestrel::load(options);
  ASSERT_FALSE(fault.has_value()) << fault->text();
  const Schema& schema = loaded_model().schema;
  std::vector<kestrel_cs_node*> open(schema.names().tops());
  while (!open.empty()) {
    kestrel_cs_node* const node = open.back();
    open.pop_back();
    for (kestrel_cs_node* child = node->children; child != nullptr; child = child->next) {
      open.push_back(child);
    }
    if (!nexa::model::is_list(node) || node->keys == nullptr) continue;
    const lysc_node* key = lysc_node_child(schema.compiled(node));
    for (; key != nullptr && lysc_is_key(key); key = key->next) {
      if (identity_type(key) != nullptr) check(node, key);
    }
  }
  std::printf("%s: %zu keys, %zu identities\n", GetParam(), lists_, values_);
}

INSTANTIATE_TEST_SUITE_P(Sets, IdentityKeys, testing::Values("openconfig", "ietf", "frr"),
                         [](const auto& set) { return std::string(set.param); });

}  // namespace
}  // namespace nexa_test
