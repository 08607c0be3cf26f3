// One binding: what it takes from its schema node, its kind, and the child that a member names.
#include <cjson/cJSON.h>
#include <gtest/gtest.h>

#include <memory>

#include "nexa/cjson_csnode.h"
#include "support/fake_schema.h"
#include "support/log_capture.h"

namespace nexa_test {
namespace json_binding_test {

using nexa::cJsonCsnode;
using Names = std::vector<std::string>;

constexpr char kFile[] = "nexa_srv_rpc_msg_helpers/json_binding.cc";

class JsonBindingTest : public testing::Test {
 protected:
  // An item of this name; without one, an array element.
  cJSON* item_of(const char* name) {
    items_.emplace_back(
        cJSON_Parse(name == nullptr ? "[1]" : ("{\"" + std::string(name) + "\":1}").c_str()),
        &cJSON_Delete);
    return items_.back()->child;
  }
  kestrel_cs_node* match(const char* name, kestrel_cs_node* parent) {
    return cJsonCsnode::find_matching_cs_node(item_of(name), parent);
  }
  // The texts of all lines so far, every one of them a trace of this unit.
  static Names traced(LogCapture& log) {
    Names texts;
    for (const Line& line : log.take()) {
      EXPECT_EQ(line.severity, GPR_LOG_SEVERITY_DEBUG) << line;
      EXPECT_EQ(line.file, kFile);
      texts.push_back(mask_numbers(line.text));
    }
    return texts;
  }
  static Names keys_of(const cJsonCsnode& binding) {
    return {binding.keys.begin(), binding.keys.end()};
  }

  FakeSchema schema_;
  FakeModule& module_ = schema_.module("mod", "m", "urn:m");
  FakeModule& other_ = schema_.module("oth", "o", "urn:o");
  FakeNode top_ = module_.container("top");

 private:
  std::vector<std::unique_ptr<cJSON, void (*)(cJSON*)>> items_;
};

using Children = std::vector<kestrel_cs_node*>;

TEST_F(JsonBindingTest, ConstructionTakesKeysAndChildrenInSchemaOrder) {
  FakeNode list = top_.list("list", {"b", "a"});
  FakeNode a = list.leaf("a");
  FakeNode b = list.leaf("b");
  FakeNode c = list.in(other_).leaf("c");
  cJSON* item = item_of("list");
  const cJsonCsnode binding(item, list);
  EXPECT_EQ(binding.cjson, item);
  EXPECT_EQ(binding.cs_node, list.get());
  EXPECT_EQ(binding.spare, nullptr);
  EXPECT_EQ(keys_of(binding), (Names{"b", "a"}));
  EXPECT_TRUE(binding.keys_done);
  EXPECT_EQ(binding.children, (Children{a, b, c}));
}

TEST_F(JsonBindingTest, ConstructionWithoutNodeOrKeys) {
  const cJsonCsnode unbound(nullptr, nullptr);
  EXPECT_TRUE(unbound.keys.empty());
  EXPECT_TRUE(unbound.keys_done);
  EXPECT_TRUE(unbound.children.empty());
  const cJsonCsnode keyless(nullptr, top_.list("list", {}));
  EXPECT_TRUE(keyless.keys.empty());
  EXPECT_TRUE(keyless.keys_done);
}

TEST_F(JsonBindingTest, ConstructionTakesKeysOfListsOnly) {
  FakeNode list = top_.list("list", {"a"});
  list->flags = 0;
  EXPECT_TRUE(cJsonCsnode(nullptr, list).keys.empty());
  list->flags = KESTREL_FLAG_LIST | KESTREL_FLAG_STATE;
  EXPECT_EQ(keys_of(cJsonCsnode(nullptr, list)), Names{"a"});
}

TEST_F(JsonBindingTest, RefillingKeysReplacesThem) {
  FakeNode list = top_.list("list", {"a", "b"});
  cJsonCsnode binding(nullptr, list);
  binding.keys.push_back(nullptr);
  EXPECT_TRUE(binding.get_keys_of_list().ok());
  EXPECT_EQ(keys_of(binding), (Names{"a", "b"}));

  binding.cs_node = top_;
  EXPECT_TRUE(binding.get_keys_of_list().ok());
  EXPECT_TRUE(binding.keys.empty());
  binding.keys.push_back(nullptr);
  binding.cs_node = nullptr;
  EXPECT_TRUE(binding.get_keys_of_list().ok());
  EXPECT_TRUE(binding.keys.empty());
}

TEST_F(JsonBindingTest, KindsOfSchemaNodes) {
  struct Kinds {
    bool list, leaf_list, object_list, leafref, identityref;
    bool operator==(const Kinds&) const = default;
  };
  const auto kinds_of = [](kestrel_cs_node* node) {
    const cJsonCsnode binding(nullptr, node);
    return Kinds{binding.is_list(), binding.is_leaflist(), binding.is_objectlist(),
                 binding.is_leafref(), binding.is_identityref()};
  };
  EXPECT_EQ(kinds_of(nullptr), (Kinds{false, false, false, false, false}));
  EXPECT_EQ(kinds_of(top_), (Kinds{false, false, false, false, false}));
  EXPECT_EQ(kinds_of(top_.list("l", {"k"})), (Kinds{true, false, true, false, false}));
  EXPECT_EQ(kinds_of(top_.leaf_list("ll")), (Kinds{true, true, false, false, false}));
  EXPECT_EQ(kinds_of(top_.node_of("x", 4, KESTREL_FLAG_LEAF_LIST)),
            (Kinds{false, true, false, false, false}));
  EXPECT_EQ(kinds_of(top_.node_of("r", 4, KESTREL_FLAG_LEAFREF)),
            (Kinds{false, false, false, true, false}));
  EXPECT_EQ(kinds_of(top_.leaf("i", 44)), (Kinds{false, false, false, false, true}));
  EXPECT_EQ(kinds_of(top_.leaf("j", 43)), (Kinds{false, false, false, false, false}));
}

TEST_F(JsonBindingTest, TagIsTheNodesName) {
  EXPECT_STREQ(cJsonCsnode(nullptr, top_).cs_node_tag(), "top");
  EXPECT_EQ(cJsonCsnode(nullptr, nullptr).cs_node_tag(), nullptr);
}

TEST_F(JsonBindingTest, PrefixedAndBareMembersNameTheSameChild) {
  FakeNode leaf = top_.leaf("leaf");
  EXPECT_EQ(match("leaf", top_), leaf.get());
  EXPECT_EQ(match("mod:leaf", top_), leaf.get());
  EXPECT_EQ(match("unknown:leaf", top_), leaf.get());
  EXPECT_EQ(match(":leaf", top_), leaf.get());
}

TEST_F(JsonBindingTest, MemberNamesAreComparedWholeAndExactly) {
  top_.leaf("leaf");
  LogCapture log(GPR_LOG_SEVERITY_ERROR);
  for (const char* name : {"lea", "leaff", "Leaf", "", "mod:", "leaf:mod", "a:b:leaf"}) {
    EXPECT_EQ(match(name, top_), nullptr) << name;
    Lines lines = log.take();
    ASSERT_EQ(lines.size(), 1u);
    lines[0].text = mask_numbers(lines[0].text);
    EXPECT_EQ(lines[0],
              (Line{GPR_LOG_SEVERITY_ERROR, kFile,
                    std::string("in find_matching_cs_node at #: Failed to find schema matching "
                                "cJSON->string: ") +
                        name}));
  }
}

TEST_F(JsonBindingTest, FirstOfTwoChildrenWithOneNameIsTaken) {
  FakeNode first = top_.leaf("twin");
  top_.in(other_).leaf("twin");
  EXPECT_EQ(match("oth:twin", top_), first.get());
}

TEST_F(JsonBindingTest, ArrayElementMatchesTheOnlyChildOfAList) {
  FakeNode list = top_.list("list", {"k"});
  EXPECT_EQ(match(nullptr, list), nullptr) << "no child";
  FakeNode only = list.leaf("k");
  EXPECT_EQ(match(nullptr, list), only.get());
  list.leaf("second");
  EXPECT_EQ(match(nullptr, list), nullptr) << "two children";
}

TEST_F(JsonBindingTest, ArrayElementUnderAListIsTraced) {
  FakeNode list = top_.list("list", {"k"});
  list.leaf("k");
  LogCapture log;
  match(nullptr, list);
  EXPECT_EQ(traced(log),
            (Names{"IN find_matching_cs_node at # cjson->string (null) parent_cs_node tag list",
                   "in find_matching_cs_node at #, Parent kestrel_cs_node is a list",
                   "in find_matching_cs_node at #, cJSON array element string: (null)"}));
}

TEST_F(JsonBindingTest, ItemWithoutNameUnderAContainerHasNoMatch) {
  top_.leaf("leaf");
  LogCapture log;
  EXPECT_EQ(match(nullptr, top_), nullptr);
  Lines lines = log.take();
  for (Line& line : lines) line.text = mask_numbers(line.text);
  EXPECT_EQ(lines,
            (Lines{{GPR_LOG_SEVERITY_DEBUG, kFile,
                    "IN find_matching_cs_node at # cjson->string (null) parent_cs_node tag top"},
                   {GPR_LOG_SEVERITY_ERROR, kFile,
                    "in find_matching_cs_node at #, cJSON element has no name. type: 8"}}));
}

TEST_F(JsonBindingTest, NothingMatchesWithoutParentOrChildren) {
  LogCapture log;
  EXPECT_EQ(match("leaf", nullptr), nullptr);
  EXPECT_EQ(match(nullptr, nullptr), nullptr);
  EXPECT_EQ(match("leaf", top_), nullptr);
  EXPECT_EQ(match(nullptr, top_), nullptr);
  EXPECT_EQ(traced(log),
            (Names{"IN find_matching_cs_node at # cjson->string leaf parent_cs_node is NULL",
                   "IN find_matching_cs_node at # cjson->string (null) parent_cs_node is NULL",
                   "IN find_matching_cs_node at # cjson->string leaf parent_cs_node tag top",
                   "IN find_matching_cs_node at # cjson->string (null) parent_cs_node tag top"}));
}

TEST_F(JsonBindingTest, ChildTagWithoutStringEndsTheSearch) {
  top_.leaf("first");
  FakeNode gone = top_.leaf("gone");
  top_.leaf("last");
  schema_.forget("gone");
  LogCapture log;
  EXPECT_NE(match("first", top_), nullptr);
  EXPECT_TRUE(log.take(GPR_LOG_SEVERITY_ERROR).empty());
  EXPECT_EQ(match("last", top_), nullptr);
  EXPECT_EQ(log.take(GPR_LOG_SEVERITY_ERROR),
            (Lines{{GPR_LOG_SEVERITY_ERROR, kFile,
                    "Failed to find string for tag hash " + std::to_string(gone->tag)}}));
}

TEST_F(JsonBindingTest, LinesOfASearch) {
  FakeNode one = top_.leaf("one");
  FakeNode two = top_.leaf("two");
  top_.leaf("three");
  LogCapture log;
  EXPECT_EQ(match("mod:two", top_), two.get());
  const auto found = [](const char* name, kestrel_cs_node* node) {
    return "IN find_matching_cs_node at # found cs_node with tag hash " +
           std::to_string(node->tag) + " and tag " + name;
  };
  EXPECT_EQ(traced(log),
            (Names{"IN find_matching_cs_node at # cjson->string mod:two parent_cs_node tag top",
                   "IN find_matching_cs_node at # CJSON->string: mod:two",
                   "IN find_matching_cs_node at # cjson_string_without_prefix two",
                   "IN find_matching_cs_node at #: there are 3 cs_node Children of top:  one",
                   found("one", one),
                   "IN find_matching_cs_node at # comparintg cs_node tag one with "
                   "cjson_string_without_prefix two",
                   found("two", two),
                   "IN find_matching_cs_node at # comparintg cs_node tag two with "
                   "cjson_string_without_prefix two",
                   "IN find_matching_cs_node at # FOUND CS_NODE MATCHING TAG two"}));
}

TEST_F(JsonBindingTest, FirstChildTagWithoutStringIsNotShownAmongTheChildren) {
  const FakeNode gone = top_.leaf("gone");
  schema_.forget("gone");
  LogCapture log;
  EXPECT_EQ(match("gone", top_), nullptr);
  Names texts;
  for (const Line& line : log.take(GPR_LOG_SEVERITY_DEBUG)) texts.push_back(line.text);
  ASSERT_EQ(texts.size(), 5u);
  EXPECT_EQ(mask_numbers(texts[3]),
            "IN find_matching_cs_node at #: there are 1 cs_node Children of top:  ");
  EXPECT_EQ(mask_numbers(texts[4]), "IN find_matching_cs_node at # found cs_node with tag hash " +
                                        std::to_string(gone->tag) + " and tag (null)");
}

TEST_F(JsonBindingTest, SearchIsSilentWhenOnlyErrorsAreLogged) {
  top_.leaf("one");
  LogCapture log(GPR_LOG_SEVERITY_ERROR);
  EXPECT_NE(match("one", top_), nullptr);
  EXPECT_TRUE(log.take().empty());
}

}  // namespace json_binding_test
}  // namespace nexa_test
