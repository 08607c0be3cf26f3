// Digestion over published models: every data node that can stand in a path goes from its database
// form (YANG prefixes) to its external form (module names) and resolves to itself; and OpenConfig
// nodes are found without any module name.
#include <google/protobuf/util/message_differencer.h>
#include <gtest/gtest.h>

#include <iostream>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "kestrel/loader.h"
#include "nexa/nexa_srv_kestrel_namespace_mapper_impl.h"
#include "real/schema_text.h"
#include "real/yang_folders.h"

namespace {

using gnmi::rfc7951::KcnPathPointer;
using nexa::Rfc7951MapperToken;
using nexa_test::text_of;
using nexa_test::YangFolder;
using Mapper = nexa::ServiceKestrelNamespaceMapperImpl;

// Whether the cache may serve another node of this name and depth: the node repeats its parent's
// name, or a sibling of another module has its name.
bool cache_is_ambiguous(const kestrel_cs_node& node) {
  if (node.parent == nullptr) return false;
  if (node.tag == node.parent->tag && node.ns == node.parent->ns) return true;
  for (const kestrel_cs_node* other = node.parent->children; other != nullptr;
       other = other->next) {
    if (other->tag == node.tag && other->ns != node.ns) return true;
  }
  return false;
}

// Walks the loaded schema depth first with the path to each node in its forms: a prefix on every
// element, or only where the module changes; internal and external.
class Walker {
 public:
  // Both mappers know the loaded schema; the cache of `cold` is emptied before each path.
  Walker(Mapper& warm, Mapper& cold) : warm_(warm), cold_(cold) {}

  void walk_all() {
    for (const KestrelNsEntry& entry : nexa_test::namespace_list()) {
      for (kestrel_cs_node* root = kestrel_find_cs_root(entry.hash); root != nullptr;
           root = root->next) {
        if ((root->flags & KESTREL_FLAG_META_DATA) != 0) continue;
        // Only a root with children is registered, so no other top-level node can begin a path.
        if (root->children == nullptr) {
          ++childless_roots;
        } else {
          std::string module = entry.module;
          openconfig_ = warm_.isOpenconfigModel_(module);
          walk(*root, false);
        }
      }
    }
  }

  std::size_t nodes = 0;
  std::size_t childless_roots = 0;
  std::size_t served_by_name = 0;
  std::size_t found_by_bare_names = 0;
  std::vector<std::string> failures;

 private:
  void walk(const kestrel_cs_node& node, bool ambiguous) {
    push(node);
    ++nodes;
    ambiguous = ambiguous || cache_is_ambiguous(node);
    for (const auto& [in, expected] :
         {std::pair(&sparse_, &sparse_external_), std::pair(&full_, &full_external_)}) {
      const std::string warm = problem(warm_, node, *in, *expected);
      if (!warm.empty() && ambiguous) {
        ++served_by_name;
      } else if (!warm.empty()) {
        failures.push_back("warm: " + warm);
      }
      cold_.schemaif_.snodeCache_.clear();
      const std::string cold = problem(cold_, node, *in, *expected);
      if (!cold.empty()) failures.push_back("cold: " + cold);
    }
    if (openconfig_) check_bare_names(node);
    for (const kestrel_cs_node* child = node.children; child != nullptr; child = child->next) {
      walk(*child, ambiguous);
    }
    for (gnmi::Path* path : {&sparse_, &full_, &sparse_external_, &full_external_}) {
      path->mutable_elem()->RemoveLast();
    }
  }

  void check_bare_names(const kestrel_cs_node& node) {
    gnmi::Path bare = full_;
    for (gnmi::PathElem& element : *bare.mutable_elem()) {
      element.set_name(element.name().substr(element.name().find(':') + 1));
    }
    cold_.schemaif_.snodeCache_.clear();
    gnmi::Path internal;
    const grpc::Status status = cold_.newToken()->internalizePath(bare, internal);
    const std::string wrong =
        status.ok() ? problem(cold_, node, internal, sparse_external_) : status.error_message();
    if (wrong.empty()) {
      ++found_by_bare_names;
    } else {
      failures.push_back("bare: " + wrong);
    }
  }

  void push(const kestrel_cs_node& node) {
    const std::string name = text_of(node.tag);
    const std::string ns = text_of(node.ns);
    const std::string internal = warm_.ympPrefixFromNs_(ns) + ":" + name;
    const std::string external = warm_.moduleNamePrefixFromNs_(ns) + ":" + name;
    const bool changes = node.parent == nullptr || node.parent->ns != node.ns;
    add(node, changes ? internal : name, sparse_);
    add(node, changes ? external : name, sparse_external_);
    add(node, internal, full_);
    add(node, external, full_external_);
  }

  static void add(const kestrel_cs_node& node, const std::string& name, gnmi::Path& path) {
    gnmi::PathElem* element = path.add_elem();
    element->set_name(name);
    for (const std::string& key : nexa_test::key_names(node)) {
      (*element->mutable_key())[key] = "value of " + key;
    }
  }

  // What is wrong with the digestion of `in`; empty when nothing is.
  static std::string problem(Mapper& mapper, const kestrel_cs_node& node, const gnmi::Path& in,
                             const gnmi::Path& expected) {
    KcnPathPointer pointer;
    gnmi::Path out;
    const grpc::Status status =
        mapper.newToken()
            ->digestPath<Mapper::SchemaIf, KcnPathPointer, &Rfc7951MapperToken::digestPathElement>(
                mapper.schemaifPtr_, in, pointer, out);
    if (!status.ok()) return status.error_message() + " in " + in.ShortDebugString();
    if (pointer.snode->node != &node || pointer.index + 1 != in.elem_size()) {
      return "another node for " + in.ShortDebugString();
    }
    if (!google::protobuf::util::MessageDifferencer::Equals(out, expected)) {
      return out.ShortDebugString() + " instead of " + expected.ShortDebugString();
    }
    return {};
  }

  Mapper& warm_;
  Mapper& cold_;
  bool openconfig_ = false;
  gnmi::Path sparse_, full_, sparse_external_, full_external_;
};

void expect_every_node_resolves(const char* set, const std::vector<YangFolder>& folders) {
  kestrel::LoadOptions options;
  for (const YangFolder& folder : folders) options.search_dirs.push_back(folder.path);
  const std::optional<kestrel::LoadError> error = kestrel::load(options);
  ASSERT_FALSE(error) << error->text();
  Mapper warm;
  Mapper cold;
  ASSERT_TRUE(warm.populate().ok());
  ASSERT_TRUE(cold.populate().ok());
  Walker walker(warm, cold);
  walker.walk_all();
  std::cout << set << ": " << walker.nodes << " nodes walked, " << walker.childless_roots
            << " top-level nodes without children, " << walker.served_by_name
            << " look-ups served by name from the cache, " << walker.found_by_bare_names
            << " found by bare names\n";
  EXPECT_EQ(walker.nodes + walker.childless_roots, kestrel::node_count());
  EXPECT_GT(walker.nodes, 0U);
  EXPECT_EQ(walker.failures.size(), 0U);
  for (std::size_t i = 0; i < walker.failures.size() && i < 10; ++i) {
    ADD_FAILURE() << walker.failures[i];
  }
}

TEST(DigestionWalk, EveryNodeOfOpenconfigResolvesToItself) {
  NEXA_NEED_FOLDER(nexa_test::openconfig_folder());
  expect_every_node_resolves("OpenConfig", {nexa_test::openconfig_folder()});
}

TEST(DigestionWalk, EveryNodeOfTheIetfModulesResolvesToItself) {
  NEXA_NEED_FOLDER(nexa_test::ietf_nmda_folder());
  NEXA_NEED_FOLDER(nexa_test::ietf_folder());
  expect_every_node_resolves("IETF", {nexa_test::ietf_nmda_folder(), nexa_test::ietf_folder()});
}

TEST(DigestionWalk, EveryNodeOfTheFrrModulesResolvesToItself) {
  NEXA_NEED_FOLDER(nexa_test::frr_folder());
  expect_every_node_resolves("frr", {nexa_test::frr_folder()});
}

}  // namespace
