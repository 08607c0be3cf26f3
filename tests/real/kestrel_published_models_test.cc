// Whole sets of published models: none is refused, and the tree is what libyang compiled, node by
// node.
#include <gtest/gtest.h>
#include <libyang/libyang.h>

#include <set>
#include <string>
#include <vector>

#include "real/schema_text.h"
#include "real/temp_folder.h"
#include "real/yang_folders.h"
#include "support/log_capture.h"

namespace nexa_test {
namespace kestrel_published_models_test {

using Names = std::vector<std::string>;

constexpr std::uint16_t kDataNodes =
    LYS_CONTAINER | LYS_LEAF | LYS_LEAFLIST | LYS_LIST | LYS_ANYXML | LYS_ANYDATA;

// The tree by libyang's own walk, which knows how to pass choices.
std::vector<const lysc_node*> data_children(const lysc_node* parent, const lysc_module* module) {
  std::vector<const lysc_node*> children;
  const lysc_node* node = nullptr;
  while ((node = lys_getnext(node, parent, module, 0)) != nullptr) {
    if ((node->nodetype & kDataNodes) != 0) children.push_back(node);
  }
  return children;
}

std::string describe(const lysc_node& node) {
  std::string text = std::string(node.module->ns) + " " + node.name;
  if ((node.flags & LYS_CONFIG_R) != 0) text += " state";
  if (node.nodetype == LYS_LIST || node.nodetype == LYS_LEAFLIST) text += " list";
  if (node.nodetype == LYS_LEAFLIST) text += " leaf-list";
  if (node.nodetype == LYS_CONTAINER && (node.flags & LYS_PRESENCE) != 0) text += " presence";
  if ((node.nodetype & LYS_ANYDATA) != 0) text += " any";
  if (node.nodetype == LYS_LIST) {
    for (const lysc_node* key : data_children(&node, nullptr)) {
      if (lysc_is_key(key)) text += std::string(" ") + key->name;
    }
  }
  return text;
}

std::string describe(const kestrel_cs_node& node) {
  std::string text = text_of(node.ns) + " " + text_of(node.tag);
  if ((node.flags & KESTREL_FLAG_STATE) != 0) text += " state";
  if ((node.flags & KESTREL_FLAG_LIST) != 0) text += " list";
  if ((node.flags & KESTREL_FLAG_LEAF_LIST) != 0) text += " leaf-list";
  if ((node.flags & KESTREL_FLAG_PRESENCE) != 0) text += " presence";
  if ((node.flags & KESTREL_FLAG_ANY_DATA) != 0) text += " any";
  for (const std::string& key : key_names(node)) text += " " + key;
  return text;
}

// Compares the children of one node and all below; counts the nodes.
void expect_same(const std::vector<const lysc_node*>& expected, const kestrel_cs_node* first,
                 const kestrel_cs_node* parent, std::size_t& count) {
  const kestrel_cs_node* node = first;
  for (const lysc_node* source : expected) {
    ASSERT_NE(node, nullptr) << describe(*source);
    ASSERT_EQ(describe(*node), describe(*source));
    ASSERT_EQ(node->parent, parent);
    if (parent != nullptr) {
      ASSERT_EQ(kestrel_find_cs_node_child(parent, node->tag, node->ns), node);
    }
    const bool is_leaf = (source->nodetype & (LYS_LEAF | LYS_LEAFLIST)) != 0;
    ASSERT_EQ(node->shallow_type != 0, is_leaf) << describe(*source);
    ++count;
    ASSERT_NO_FATAL_FAILURE(
        expect_same(data_children(source, nullptr), node->children, node, count));
    node = node->next;
  }
  // Behind the roots of a module comes its model-data node.
  if (parent == nullptr) {
    ASSERT_NE(node, nullptr);
    ASSERT_EQ(text_of(node->tag), "gnmi-model-data");
    node = node->next;
  }
  ASSERT_EQ(node, nullptr);
}

void expect_whole_tree_is_libyangs() {
  std::size_t count = 0;
  for (const KestrelNsEntry& entry : namespace_list()) {
    const lys_module* const module =
        ly_ctx_get_module_implemented(kestrel::context(), entry.module);
    ASSERT_NE(module, nullptr) << entry.module;
    ASSERT_STREQ(entry.uri, module->ns);
    ASSERT_EQ(text_of(entry.hash), entry.uri);
    ASSERT_NO_FATAL_FAILURE(expect_same(data_children(nullptr, module->compiled),
                                        kestrel_find_cs_root(entry.hash), nullptr, count))
        << entry.module;
    EXPECT_EQ(model_data(entry.module).at("module-name"), entry.module);
  }
  EXPECT_EQ(count, kestrel::node_count());
}

void expect_prefixes_and_hashes_are_unique() {
  std::set<std::string> prefixes;
  std::set<std::uint32_t> hashes;
  for (const KestrelNsEntry& entry : namespace_list()) {
    EXPECT_TRUE(prefixes.insert(entry.prefix).second) << entry.prefix;
    EXPECT_TRUE(hashes.insert(entry.hash).second) << entry.uri;
  }
}

class PublishedModels : public testing::Test {
 protected:
  // Loads in silence: neither the standard streams nor the log get an error.
  std::string load_quietly(const kestrel::LoadOptions& options) {
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    std::string error = load_text(options);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(log_.take(), Lines{});
    return error;
  }
  LogCapture log_{GPR_LOG_SEVERITY_ERROR};
};

TEST_F(PublishedModels, OpenConfigLoadsAsAWhole) {
  NEXA_NEED_FOLDER(openconfig_folder());
  kestrel::LoadOptions options;
  options.search_dirs = {openconfig_folder().path};
  ASSERT_EQ(load_quietly(options), "");
  EXPECT_EQ(namespace_list().size(), 181U);
  // Less the nine nodes of libyang's own ietf-yang-schema-mount, which no model asks for.
  EXPECT_EQ(kestrel::node_count(), 15390U - 9U);
  expect_whole_tree_is_libyangs();
  expect_prefixes_and_hashes_are_unique();

  kestrel_cs_node* const interface = find_node("openconfig-interfaces", "interfaces/interface");
  ASSERT_NE(interface, nullptr);
  EXPECT_EQ(key_names(*interface), (Names{"name"}));
  EXPECT_EQ(find_node("openconfig-interfaces", "interfaces/interface/name")->flags, 0x4000U);
  EXPECT_EQ(find_node("openconfig-interfaces", "interfaces/interface/config/type")->shallow_type,
            44U);
  const kestrel_cs_node* const ethernet = among(interface->children, "ethernet");
  ASSERT_NE(ethernet, nullptr);
  EXPECT_EQ(text_of(ethernet->ns), "http://openconfig.net/yang/interfaces/ethernet");
  EXPECT_EQ(model_data("openconfig-interfaces").at("organization"), "OpenConfig working group");
  EXPECT_NE(model_data("openconfig-interfaces").at("semver").find('.'), std::string::npos);
}

TEST_F(PublishedModels, IetfModulesLoadByNameInTheirNmdaForm) {
  NEXA_NEED_FOLDER(ietf_nmda_folder());
  NEXA_NEED_FOLDER(ietf_folder());
  kestrel::LoadOptions options;
  options.search_dirs = {ietf_nmda_folder().path, ietf_folder().path};
  options.modules = {"ietf-interfaces", "ietf-ip",     "ietf-routing",
                     "ietf-hardware",   "ietf-system", "iana-if-type"};
  ASSERT_EQ(load_quietly(options), "");
  EXPECT_STREQ(entry_of("ietf-interfaces").revision, "2018-02-20");
  EXPECT_STREQ(entry_of("ietf-ip").revision, "2018-02-22");
  EXPECT_STREQ(entry_of("ietf-routing").revision, "2018-03-13");
  const kestrel_cs_node* const ipv4 = find_node("ietf-interfaces", "interfaces/interface/ipv4");
  ASSERT_NE(ipv4, nullptr);
  EXPECT_EQ(ipv4->ns, entry_of("ietf-ip").hash);
  EXPECT_EQ(ipv4->flags, 0x10000U);
  EXPECT_EQ(model_data("ietf-system").at("semver"), "2014-08-06");
  EXPECT_NE(entry_of("iana-crypt-hash").module, nullptr) << "imported definitions";
  EXPECT_EQ(entry_of("ietf-netconf-acm").module, nullptr) << "imported for an extension only";
  expect_whole_tree_is_libyangs();
  expect_prefixes_and_hashes_are_unique();
}

TEST_F(PublishedModels, AllIetfModulesLoadTogether) {
  NEXA_NEED_FOLDER(ietf_nmda_folder());
  NEXA_NEED_FOLDER(ietf_folder());
  kestrel::LoadOptions options;
  options.search_dirs = {ietf_nmda_folder().path, ietf_folder().path};
  ASSERT_EQ(load_quietly(options), "");
  EXPECT_GT(namespace_list().size(), 25U);
  const kestrel_cs_node* const path = find_node("ietf-netconf-acm", "nacm/rule-list/rule/path");
  ASSERT_NE(path, nullptr);
  EXPECT_EQ(path->shallow_type, 41U) << "node-instance-identifier";
  EXPECT_STREQ(entry_of("ietf-interfaces").revision, "2018-02-20");
  expect_whole_tree_is_libyangs();
  expect_prefixes_and_hashes_are_unique();
}

TEST_F(PublishedModels, FrrModulesLoadTogether) {
  NEXA_NEED_FOLDER(frr_folder());
  kestrel::LoadOptions options;
  options.search_dirs = {frr_folder().path};
  ASSERT_EQ(load_quietly(options), "");
  EXPECT_NE(find_node("frr-interface", "lib/interface"), nullptr);
  EXPECT_GT(kestrel::node_count(), 1000U);
  expect_whole_tree_is_libyangs();
  expect_prefixes_and_hashes_are_unique();
}

// What a module needs comes along.
TEST_F(PublishedModels, AnOpenConfigModuleLoadsOnItsOwn) {
  NEXA_NEED_FOLDER(openconfig_folder());
  kestrel::LoadOptions options;
  options.search_dirs = {openconfig_folder().path};
  options.modules = {"openconfig-platform-transceiver"};
  ASSERT_EQ(load_quietly(options), "");
  const std::size_t alone = kestrel::node_count();
  EXPECT_GT(alone, 100U);
  EXPECT_LT(alone, 5000U);
  expect_whole_tree_is_libyangs();
}

}  // namespace kestrel_published_models_test
}  // namespace nexa_test
