// The complete trace of small walks: every line, in its order, with its file.
#include <cjson/cJSON.h>
#include <gtest/gtest.h>

#include <memory>

#include "nexa/cjson_csnode.h"
#include "support/fake_schema.h"
#include "support/log_capture.h"

namespace nexa_test {
namespace json_binding_log_test {

using nexa::Json2cJsonCsnodeHash;
using Tree = std::unique_ptr<cJSON, void (*)(cJSON*)>;

// Short names of the files, in front of every expected line.
std::string short_name(const std::string& file) {
  if (file == "nexa_srv_rpc_msg_helpers/json_binding_visit.cc") return "visit";
  if (file == "nexa_srv_rpc_msg_helpers/json_binding.cc") return "match";
  if (file == "nexa_srv_rpc_msg_helpers/list_keys.cc") return "order";
  return file;
}

std::vector<std::string> traced(LogCapture& log) {
  std::vector<std::string> lines;
  for (const Line& line : log.take()) {
    EXPECT_EQ(line.severity, GPR_LOG_SEVERITY_DEBUG) << line;
    lines.push_back(short_name(line.file) + "| " + mask_numbers(line.text));
  }
  return lines;
}

std::string bound(const std::string& function) {
  return "visit| in " + function + " at # cjson 0x# kestrel_cs_node 0x# cJsonCsnode 0x#";
}

using Names = std::vector<std::string>;

class JsonBindingLogTest : public testing::Test {
 protected:
  static Tree parse(const std::string& json) { return {cJSON_Parse(json.c_str()), &cJSON_Delete}; }

  static std::string tag_of(kestrel_cs_node* node) { return std::to_string(node->tag); }

  // The lines of find_matching_cs_node for a member that names the `count`-th of the children.
  static Names match(const std::string& member, const std::string& parent,
                     const std::vector<FakeNode>& children, const Names& names, std::size_t found) {
    const std::string in = "match| IN find_matching_cs_node at #";
    const std::string local = member.substr(member.find(':') + 1);
    Names lines = {in + " cjson->string " + member + " parent_cs_node tag " + parent,
                   in + " CJSON->string: " + member, in + " cjson_string_without_prefix " + local,
                   in + ": there are " + std::to_string(children.size()) + " cs_node Children of " +
                       parent + ":  " + names[0]};
    for (std::size_t i = 0; i <= found; ++i) {
      lines.push_back(in + " found cs_node with tag hash " + tag_of(children[i]) + " and tag " +
                      names[i]);
      lines.push_back(in + " comparintg cs_node tag " + names[i] +
                      " with cjson_string_without_prefix " + local);
    }
    lines.push_back(in + " FOUND CS_NODE MATCHING TAG " + names[found]);
    return lines;
  }

  static void append(Names& lines, const Names& more) {
    lines.insert(lines.end(), more.begin(), more.end());
  }

  FakeSchema schema_;
  FakeModule& module_ = schema_.module("mod", "m", "urn:m");
  FakeNode list_ = module_.list("list", {"k"});
  FakeNode value_ = list_.leaf("v");
  FakeNode key_ = list_.leaf("k");
  FakeNode leaf_list_ = module_.leaf_list("values");
  Json2cJsonCsnodeHash hash_;
};

TEST_F(JsonBindingLogTest, ListEntryWithAKeyToMove) {
  const Tree tree = parse(R"({"mod:v":"text","k":1.5})");
  LogCapture log;
  EXPECT_TRUE(visit_object(tree.get(), list_, &hash_).ok());
  Names expected = {bound("visit_object"),
                    "visit| in visit_object at #, parent cs_node ptr 0x# tag is list",
                    bound("visit_name"), "visit| in visit_name at # node name: (null)",
                    "visit| in visit_object at # visiting cjson child type 16 child->string mod:v"};
  append(expected, match("mod:v", "list", {value_, key_}, {"v", "k"}, 0));
  append(expected, {bound("visit_name"), "visit| in visit_name at # node name: mod:v",
                    bound("visit_value"), bound("visit_string"),
                    "visit| in visit_string at # cjson value: text, parent cs_node tag v",
                    "visit| in visit_string at # string value text",
                    "visit| in visit_object at # visiting cjson child type 8 child->string k"});
  append(expected, match("k", "list", {value_, key_}, {"v", "k"}, 1));
  const std::string in = "order| in reorder_cjson_object_according_to_keys";
  append(expected,
         {bound("visit_name"), "visit| in visit_name at # node name: k", bound("visit_value"),
          bound("visit_number"), "visit| in visit_number at # node value: 1.500000", in + " at #",
          in + " at # object name is \"(null)\" ordering key k of 1 keys",
          in + " at # child mod:v of singleton object \"(null)\" key is k ",
          in + " at # child k of singleton object \"(null)\" key is k ",
          in + " comparing mod:v with k", in + " comparing k with k", "order| SWAPING k and mod:v",
          "order| Exiting reorder_cjson_object_according_to_keys at #"});
  EXPECT_EQ(traced(log), expected);
}

TEST_F(JsonBindingLogTest, LeafListWithAnElementOfEachType) {
  const Tree tree = parse(R"({"values":["s",1,true,null,[false]]})");
  LogCapture log;
  testing::internal::CaptureStdout();
  visit_array(tree->child, leaf_list_, &hash_);
  testing::internal::GetCapturedStdout();
  const std::string element = "visit| in visit_array at # child of array values is ";
  const Names name = {bound("visit_name"), "visit| in visit_name at # node name: (null)"};
  Names expected = {bound("visit_array"),
                    "visit| in visit_array at #  cJsonCsnode indicates LEAFLIST"};
  append(expected, name);
  append(expected, {element + "a string (null)", bound("visit_string"),
                    "visit| in visit_string at # cjson value: s, parent cs_node tag values",
                    "visit| in visit_string at # string value s"});
  append(expected, name);
  append(expected, {element + "number (null)", bound("visit_number"),
                    "visit| in visit_number at # node value: 1.000000"});
  append(expected, name);
  append(expected, {element + "bool (null)", bound("visit_bool"),
                    "visit| in visit_bool at # node value: false"});
  append(expected, name);
  append(expected, {element + "NULL (null)", bound("visit_null"),
                    "visit| in visit_null at # node value: null"});
  append(expected, name);
  append(expected, {element + "array (null)", bound("visit_array"),
                    "visit| in visit_array at #  cJsonCsnode indicates LEAFLIST"});
  append(expected, name);
  append(expected, {"visit| in visit_array at # child of array (null) is bool (null)",
                    bound("visit_bool"), "visit| in visit_bool at # node value: false"});
  const Names order = {"order| in reorder_cjson_according_to_keys at #",
                       "order| Exiting reorder_cjson_according_to_keys at #"};
  append(expected, order);
  append(expected, order);
  EXPECT_EQ(traced(log), expected);
}

TEST_F(JsonBindingLogTest, ArrayOfEntriesIsOrderedByEntryAndAgainAsAWhole) {
  const Tree tree = parse(R"({"list":[{"k":1}]})");
  LogCapture log;
  visit_array(tree->child, list_, &hash_);
  Names expected = {bound("visit_array"),
                    "visit| in visit_array at #  parent cs_node is regular list (NOT A LEAFLIST)",
                    bound("visit_name"),
                    "visit| in visit_name at # node name: (null)",
                    "visit| in visit_array at # child of array list is object (null)",
                    bound("visit_object"),
                    "visit| in visit_object at #, parent cs_node ptr 0x# tag is list",
                    bound("visit_name"),
                    "visit| in visit_name at # node name: (null)",
                    "visit| in visit_object at # visiting cjson child type 8 child->string k"};
  append(expected, match("k", "list", {value_, key_}, {"v", "k"}, 1));
  append(expected,
         {bound("visit_name"), "visit| in visit_name at # node name: k", bound("visit_value"),
          bound("visit_number"), "visit| in visit_number at # node value: 1.000000"});
  for (const char* function :
       {"reorder_cjson_object_according_to_keys", "reorder_cjson_according_to_keys"}) {
    const std::string in = std::string("order| in ") + function;
    append(expected, {in + " at #", in + " at # object name is \"(null)\" ordering key k of 1 keys",
                      in + " at # child k of singleton object \"(null)\" key is k ",
                      in + " comparing k with k", "order| SWAPING k and k",
                      std::string("order| Exiting ") + function + " at #"});
  }
  EXPECT_EQ(traced(log), expected);
}

TEST_F(JsonBindingLogTest, ObjectWithoutSchemaNode) {
  const Tree tree = parse("{}");
  LogCapture log;
  EXPECT_TRUE(visit_object(tree.get(), nullptr, &hash_).ok());
  EXPECT_EQ(traced(log),
            (Names{bound("visit_object"), "visit| in visit_object at #, parent cs_node ptr is NULL",
                   bound("visit_name"), "visit| in visit_name at # node name: (null)"}));
}

TEST_F(JsonBindingLogTest, NothingIsTracedWhenOnlyErrorsAreLogged) {
  const Tree tree = parse(R"({"list":[{"k":1,"v":"s"},{"v":2,"k":null}]})");
  LogCapture log(GPR_LOG_SEVERITY_ERROR);
  visit_array(tree->child, list_, &hash_);
  EXPECT_TRUE(log.take().empty());
}

}  // namespace json_binding_log_test
}  // namespace nexa_test
