// What a resolved path knows of its last node: keys in the schema and in the path, children, kind.
#include <gtest/gtest.h>

#include <set>
#include <stdexcept>

#include "nexa/kestrel_path.h"
#include "support/fake_schema.h"
#include "support/log_capture.h"

namespace nexa_test {
namespace kestrel_path_keys_test {

class KestrelPathKeysTest : public testing::Test {
 protected:
  // A resolved path to `name` below the root, with these keys in its last element.
  nexa::KestrelPath resolve(const std::string& name,
                            const std::vector<std::pair<std::string, std::string>>& keys = {}) {
    nexa::KestrelPath path = unresolved(name, keys);
    EXPECT_TRUE(path.path2cs_nodes());
    return path;
  }

  static nexa::KestrelPath unresolved(
      const std::string& name, const std::vector<std::pair<std::string, std::string>>& keys = {}) {
    gnmi::Path path;
    path.add_elem()->set_name("m:top");
    gnmi::PathElem* last = path.add_elem();
    last->set_name(name);
    for (const auto& [key, value] : keys) (*last->mutable_key())[key] = value;
    return nexa::KestrelPath(path, "");
  }

  // The texts of all lines so far, every one of them a trace of this unit.
  static std::vector<std::string> traced(LogCapture& log) {
    std::vector<std::string> texts;
    for (const Line& line : log.take()) {
      EXPECT_EQ(line.severity, GPR_LOG_SEVERITY_DEBUG) << line;
      EXPECT_EQ(line.file, "nexa_srv_rpc_msg_helpers/kestrel_path.cc");
      texts.push_back(mask_numbers(line.text));
    }
    return texts;
  }

  static std::vector<std::string> names_of(const nexa::KestrelPath& path) {
    return {path.key_names_.begin(), path.key_names_.end()};
  }

  FakeSchema schema_;
  FakeModule& module_ = schema_.module("mod", "m", "urn:m");
  FakeModule& other_ = schema_.module("oth", "o", "urn:o");
  FakeNode top_ = module_.container("top");
};

using Keys = std::unordered_map<std::string, std::string>;

TEST_F(KestrelPathKeysTest, KeepsSchemaKeysInOrderAndTheKeysThePathGives) {
  FakeNode list = top_.list("list", {"a", "b"});
  list.leaf("b");
  list.leaf("a");
  const nexa::KestrelPath path = resolve("list", {{"b", "1"}});
  EXPECT_EQ(names_of(path), (std::vector<std::string>{"a", "b"}));
  EXPECT_EQ(path.possible_keys_,
            (std::unordered_map<std::string, void*>{{"a", nullptr}, {"b", nullptr}}));
  EXPECT_EQ(path.instantiated_keys_, (Keys{{"b", "1"}}));
}

TEST_F(KestrelPathKeysTest, KeysOfThePathAreTakenAsTheyStand) {
  top_.list("list", {"a"}).leaf("a");
  const nexa::KestrelPath path = resolve("list", {{"o:a", "x y"}, {"unknown", ""}});
  EXPECT_EQ(path.instantiated_keys_, (Keys{{"o:a", "x y"}, {"unknown", ""}}));
}

TEST_F(KestrelPathKeysTest, ListWithoutKeys) {
  top_.list("list", {}).leaf("x");
  LogCapture log;
  const nexa::KestrelPath path = resolve("list", {{"k", "v"}});
  EXPECT_TRUE(path.possible_keys_.empty());
  EXPECT_TRUE(path.key_names_.empty());
  EXPECT_EQ(path.instantiated_keys_, (Keys{{"k", "v"}}));
  bool seen = false;
  for (const std::string& text : log.take_texts()) {
    seen = seen || mask_numbers(text) == "in path2cs_nodes at #. NO KEYS";
  }
  EXPECT_TRUE(seen);
}

TEST_F(KestrelPathKeysTest, LeafListTakesKeysOfThePath) {
  top_.leaf_list("values");
  const nexa::KestrelPath path = resolve("values", {{".", "1"}});
  EXPECT_EQ(path.instantiated_keys_, (Keys{{".", "1"}}));
  EXPECT_TRUE(path.key_names_.empty());
}

TEST_F(KestrelPathKeysTest, OnlyAListOrLeafListAtTheEndHasKeys) {
  FakeNode list = top_.list("list", {"a"});
  list.leaf("a");
  gnmi::Path below;
  below.add_elem()->set_name("m:top");
  (*below.add_elem()->mutable_key())["a"] = "1";
  below.mutable_elem(1)->set_name("list");
  below.add_elem()->set_name("a");
  nexa::KestrelPath path(below, "");
  ASSERT_TRUE(path.path2cs_nodes());
  EXPECT_TRUE(path.possible_keys_.empty());
  EXPECT_TRUE(path.instantiated_keys_.empty());
  EXPECT_TRUE(path.key_names_.empty());

  top_.container("plain");
  EXPECT_TRUE(resolve("plain", {{"a", "1"}}).instantiated_keys_.empty());
}

TEST_F(KestrelPathKeysTest, KeyTagWithoutStringThrowsAfterItsLine) {
  top_.list("list", {"gone"}).leaf("x");
  schema_.forget("gone");
  LogCapture log;
  nexa::KestrelPath path = unresolved("list");
  EXPECT_THROW(path.path2cs_nodes(), std::logic_error);
  EXPECT_EQ(mask_numbers(log.take_texts().back()),
            "in path2cs_nodes at # key (null) found in cs_node");
  EXPECT_TRUE(path.possible_keys_.empty());
  EXPECT_TRUE(path.key_names_.empty());
  EXPECT_TRUE(path.resolved_) << "set before the last node is looked at";
}

TEST_F(KestrelPathKeysTest, KeepsEveryChildOfTheLastNodeByName) {
  FakeNode inner = top_.container("inner");
  FakeNode x = inner.leaf("x");
  FakeNode y = inner.list("y", {"k"});
  const nexa::KestrelPath path = resolve("inner");
  EXPECT_EQ(path.last_children_,
            (std::unordered_map<std::string, kestrel_cs_node*>{{"x", x}, {"y", y}}));
}

TEST_F(KestrelPathKeysTest, LaterChildOfTheSameNameReplacesTheEarlierOne) {
  FakeNode inner = top_.container("inner");
  inner.leaf("twin");
  FakeNode second = inner.in(other_).leaf("twin");
  const nexa::KestrelPath path = resolve("inner");
  EXPECT_EQ(path.last_children_,
            (std::unordered_map<std::string, kestrel_cs_node*>{{"twin", second}}));
}

TEST_F(KestrelPathKeysTest, ChildTagWithoutStringThrows) {
  top_.container("inner").leaf("gone");
  schema_.forget("gone");
  nexa::KestrelPath path = unresolved("inner");
  EXPECT_THROW(path.path2cs_nodes(), std::logic_error);
}

TEST_F(KestrelPathKeysTest, LinesOfAListAtTheEnd) {
  FakeNode list = top_.list("list", {"a", "b"});
  LogCapture log;
  nexa::KestrelPath path = resolve("list", {{"b", "one"}});
  EXPECT_EQ(
      traced(log),
      (std::vector<std::string>{
          "Path Elem m:top", "Scanning child_name list with tag " + std::to_string(list->tag),
          "in path2cs_nodes at # last cs_node in xpath is list flags 1",
          "in path2cs_nodes at # last cs_node in xpath is an OBJECTLIST", "in path2cs_nodes at #",
          "in path2cs_nodes at # instantiated key one  in last element", "in path2cs_nodes at #",
          "in path2cs_nodes at # key a found in cs_node",
          "in path2cs_nodes at # key b found in cs_node",
          "in path2cs_nodes at #. The cs_node 0x# matching the last element in the path has 2 "
          "keys",
          "Finished Scanning, exiting path2cs_nodes with true. 0 children of last cs_node "
          "were found"}));
}

TEST_F(KestrelPathKeysTest, LinesOfALeafListAtTheEnd) {
  FakeNode values = top_.leaf_list("values");
  LogCapture log;
  nexa::KestrelPath path = resolve("values");
  EXPECT_EQ(
      traced(log),
      (std::vector<std::string>{
          "Path Elem m:top", "Scanning child_name values with tag " + std::to_string(values->tag),
          "in path2cs_nodes at # last cs_node in xpath is values flags 8193",
          "in path2cs_nodes at # last cs_node in xpath is a LEAFLIST", "in path2cs_nodes at #",
          "in path2cs_nodes at #", "in path2cs_nodes at #. NO KEYS",
          "Finished Scanning, exiting path2cs_nodes with true. 0 children of last cs_node "
          "were found"}));
}

TEST_F(KestrelPathKeysTest, KindOfTheLastNode) {
  struct Kind {
    bool leaf, leaf_list, object_list;
    bool operator==(const Kind&) const = default;
  };
  const auto kind_of = [](const nexa::KestrelPath& path) {
    return Kind{path.last_cs_node_is_leaf(), path.last_cs_node_is_leaflist(),
                path.last_cs_node_is_object_list()};
  };
  top_.leaf("leaf");
  top_.leaf_list("leaf-list");
  top_.list("list", {"k"});
  top_.container("container");
  top_.node_of("odd", kContainerType, KESTREL_FLAG_LEAF_LIST);
  EXPECT_EQ(kind_of(resolve("leaf")), (Kind{true, false, false}));
  EXPECT_EQ(kind_of(resolve("leaf-list")), (Kind{true, true, false}));
  EXPECT_EQ(kind_of(resolve("list")), (Kind{false, false, true}));
  EXPECT_EQ(kind_of(resolve("container")), (Kind{false, false, false}));
  EXPECT_EQ(kind_of(resolve("odd")), (Kind{false, true, false}));

  nexa::KestrelPath none = unresolved("leaf");
  EXPECT_EQ(kind_of(none), (Kind{false, false, false})) << "no nodes";
  none.cs_nodes_ = {top_, nullptr};
  EXPECT_EQ(kind_of(none), (Kind{false, false, false})) << "null at the end";
}

TEST_F(KestrelPathKeysTest, ValueTypeCodesOfLeaves) {
  std::set<std::uint32_t> no_leaf = {0,  1,  2,  3,  21, 22, 24, 25, 26,
                                     31, 32, 33, 34, 36, 37, 38, 45};
  FakeNode leaf = top_.leaf("leaf");
  const nexa::KestrelPath path = resolve("leaf");
  for (std::uint32_t code = 0; code <= 50; ++code) {
    leaf->shallow_type = code;
    EXPECT_EQ(path.last_cs_node_is_leaf(), no_leaf.count(code) == 0) << code;
  }
  for (const std::uint32_t code : {51u, 64u, 68u, 255u, 0xFFFFFFFFu}) {
    leaf->shallow_type = code;
    EXPECT_FALSE(path.last_cs_node_is_leaf()) << code;
  }
}

}  // namespace kestrel_path_keys_test
}  // namespace nexa_test
