// Values as native scalars and as lines, and what is left of them for a set of models.
#include "store/reading/typed_value.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "shop_models.h"
#include "store/tree_snapshot.h"
#include "support/targets.h"
#include "translate/path_string.h"

namespace nexa::store {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

std::shared_ptr<const model::ModelSet> models(const std::vector<std::string>& names) {
  google::protobuf::RepeatedPtrField<gnmi::ModelData> list;
  for (const std::string& name : names) list.Add()->set_name(name);
  return model::ModelSet::of(list, list).value();
}

class TypedValue : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { nexa_test::load_shop(); }

  void put(const std::string& config, const std::string& state = "") {
    config_ = nexa_test::shop_image(config);
    state_ = nexa_test::shop_image(state);
  }

  // "path value" of each value at a path; the root for "/".
  std::vector<std::string> values(std::string_view text) {
    std::vector<std::string> lines;
    const ValueSink sink = [&](gnmi::Path& path, gnmi::TypedValue& value) {
      lines.push_back(translate::format_path_string(path) + " " + value.ShortDebugString());
    };
    const auto take = [&](const NodePair& node, gnmi::Path& path) {
      if (node.any() == nullptr) {
        give_tree({config_.get(), state_.get()}, path, form_, sink);
      } else {
        give_value(node, path, form_, sink);
      }
    };
    translate::PathStringError error;
    select_nodes(nexa_test::target_of(*translate::parse_path_string(text, &error)), config_.get(),
                 state_.get(), take, LeafLists::kWhole);
    return lines;
  }

  // The native value of one leaf of container "values".
  std::string leaf(const std::string& xml) {
    put("<values xmlns=\"urn:shop\">" + xml + "</values>");
    const auto found = values("/shop:values/*");
    if (found.size() != 1) return std::to_string(found.size()) + " values";
    return found.front().substr(found.front().find(' ') + 1);
  }

  std::string lines(std::string_view path) {
    form_.encoding = gnmi::ASCII;
    std::string text;
    const ValueSink sink = [&text](gnmi::Path&, gnmi::TypedValue& value) {
      text += value.ascii_val();
    };
    const auto take = [&](const NodePair& node, gnmi::Path& at) {
      if (node.any() == nullptr) return give_tree({config_.get(), state_.get()}, at, form_, sink);
      give_value(node, at, form_, sink);
    };
    translate::PathStringError error;
    select_nodes(nexa_test::target_of(*translate::parse_path_string(path, &error)), config_.get(),
                 state_.get(), take, LeafLists::kWhole);
    return text;
  }

  ValueForm form_{DataPart::kAll, gnmi::PROTO};
  ImagePtr config_;
  ImagePtr state_;
};

TEST_F(TypedValue, NumbersAreSignedOrUnsignedByTheirType) {
  EXPECT_EQ(leaf("<i8>-128</i8>"), "int_val: -128");
  EXPECT_EQ(leaf("<i64>-9223372036854775808</i64>"), "int_val: -9223372036854775808");
  EXPECT_EQ(leaf("<i16>-32768</i16>"), "int_val: -32768");
  EXPECT_EQ(leaf("<i32>7</i32>"), "int_val: 7");
  EXPECT_EQ(leaf("<u8>0</u8>"), "uint_val: 0");
  EXPECT_EQ(leaf("<u16>65535</u16>"), "uint_val: 65535");
  EXPECT_EQ(leaf("<u32>4294967295</u32>"), "uint_val: 4294967295");
  EXPECT_EQ(leaf("<u64>18446744073709551615</u64>"), "uint_val: 18446744073709551615");
  EXPECT_EQ(leaf("<dec>-1.500</dec>"), "double_val: -1.5");
}

TEST_F(TypedValue, OtherTypesHaveTheirFields) {
  EXPECT_EQ(leaf("<bool>true</bool>"), "bool_val: true");
  EXPECT_EQ(leaf("<bool>false</bool>"), "bool_val: false");
  EXPECT_EQ(leaf("<none/>"), "bool_val: true");
  EXPECT_EQ(leaf("<text>q\"</text>"), R"(string_val: "q\"")");
  EXPECT_EQ(leaf("<text></text>"), R"(string_val: "")");
  EXPECT_EQ(leaf("<blob>AAEC/w==</blob>"), R"(bytes_val: "\000\001\002\377")");
  EXPECT_EQ(leaf("<flags>c a</flags>"), R"(string_val: "a c")");
  EXPECT_EQ(leaf("<pick>one</pick>"), R"(string_val: "one")");
  EXPECT_EQ(leaf("<id>red</id>"), R"(string_val: "shop:red")");
  EXPECT_EQ(leaf("<ref>12</ref>"), "uint_val: 12");
  EXPECT_EQ(leaf("<far xmlns:s=\"urn:shop\">/s:values/s:u8</far>"),
            R"(string_val: "/shop:values/u8")");
  EXPECT_EQ(leaf("<any><x xmlns=\"urn:none\"/></any>"), R"(json_ietf_val: "{\"x\":\"\"}")");
}

TEST_F(TypedValue, AUnionHasTheFieldOfTheMemberThatTheValueHas) {
  EXPECT_EQ(leaf("<mix>7</mix>"), "uint_val: 7");
  EXPECT_EQ(leaf("<mix>256</mix>"), "int_val: 256");
  EXPECT_EQ(leaf("<mix>-1</mix>"), "int_val: -1");
  EXPECT_EQ(leaf("<mix>red</mix>"), R"(string_val: "shop:red")");
  EXPECT_EQ(leaf("<mix>true</mix>"), "bool_val: true");
  EXPECT_EQ(leaf("<mix>2.5</mix>"), "double_val: 2.5");
  EXPECT_EQ(leaf("<mix>free text</mix>"), R"(string_val: "free text")");
  EXPECT_EQ(leaf("<v4>192.0.2.1</v4>"), R"(string_val: "192.0.2.1")");
}

TEST_F(TypedValue, ALeafListIsOneValueAndAContainerIsItsLeaves) {
  put("<stock "
      "xmlns=\"urn:shop\"><owner>A</owner><item><name>a</name><tag>y</tag><tag>x</tag></item>"
      "<door>1</door><door>2</door></stock>");
  EXPECT_THAT(values("/shop:stock"),
              ElementsAre(R"(/shop:stock/owner string_val: "A")",
                          R"(/shop:stock/item[name=a]/name string_val: "a")",
                          R"(/shop:stock/item[name=a]/tag leaflist_val )"
                          R"({ element { string_val: "y" } element { string_val: "x" } })",
                          "/shop:stock/door leaflist_val { element { uint_val: 1 } "
                          "element { uint_val: 2 } }"));
  EXPECT_EQ(values("/").size(), 4U);
  EXPECT_THAT(values("/stock/item[name=a]/tag[.=x]"),
              ElementsAre(R"(/stock/item[name=a]/tag[.=x] string_val: "x")"));
}

constexpr char kManyModules[] = R"(<stock xmlns="urn:shop"><owner>Ann</owner>
  <item><name>a</name><part><id>1</id><kind xmlns:m="urn:shop-more">m:blue</kind></part>
  <part><id>2</id><kind>red</kind><note>n</note></part><weight xmlns="urn:shop-more">5</weight>
  </item><season xmlns="urn:shop-more">s</season></stock>
  <shelf xmlns="urn:shop-more"><height>1</height></shelf>)";

TEST_F(TypedValue, AModelSetLeavesOutNodesAndIdentitiesOfOtherModules) {
  put(kManyModules);
  const auto shop = models({"shop"});
  form_.models = shop.get();
  EXPECT_THAT(values("/"), ElementsAre(R"(/shop:stock/owner string_val: "Ann")",
                                       R"(/shop:stock/item[name=a]/name string_val: "a")",
                                       R"(/shop:stock/item[name=a]/part[id=2][kind=shop:red]/id )"
                                       "uint_val: 2",
                                       R"(/shop:stock/item[name=a]/part[id=2][kind=shop:red]/kind )"
                                       R"(string_val: "shop:red")",
                                       R"(/shop:stock/item[name=a]/part[id=2][kind=shop:red]/note )"
                                       R"(string_val: "n")"));
  form_.encoding = gnmi::JSON_IETF;
  EXPECT_THAT(values("/"),
              ElementsAre(R"(/ json_ietf_val: "{\"shop:stock\":{\"owner\":\"Ann\",\"item\":[)"
                          R"({\"name\":\"a\",\"part\":[{\"id\":2,\"kind\":\"shop:red\",)"
                          R"(\"note\":\"n\"}]}]}}")"));
  const auto more = models({"shop-more"});
  form_.models = more.get();
  EXPECT_THAT(values("/"),
              ElementsAre(R"(/ json_ietf_val: "{\"shop-more:shelf\":{\"height\":1}}")"));
}

TEST_F(TypedValue, AnEntryOfAnIdentityOfAnotherModuleIsNotOfTheModels) {
  put(kManyModules);
  const TreeSnapshot snapshot(config_, 0);
  const auto names = [&](std::string_view text) {
    translate::PathStringError error;
    Query query;
    query.target =
        nexa_test::target_of(*translate::parse_path_string(text, &error), model::Purpose::kRead);
    query.models = models({"shop"});
    std::vector<std::string> found;
    snapshot.read(query, nullptr, [&](gnmi::Path& path, gnmi::TypedValue& /*value*/) {
      found.push_back(translate::format_path_string(path));
    });
    return found;
  };
  EXPECT_THAT(names("/shop:stock/item[name=a]/part[id=*][kind=*]/id"),
              ElementsAre("/shop:stock/item[name=a]/part[id=2][kind=shop:red]/id"));
}

TEST_F(TypedValue, ALeafOfAnotherPartHasNone) {
  put("<stock xmlns=\"urn:shop\"><owner>Ann</owner></stock>");
  for (const gnmi::Encoding encoding : {gnmi::JSON_IETF, gnmi::JSON, gnmi::PROTO, gnmi::ASCII}) {
    form_ = {DataPart::kConfig, encoding};
    EXPECT_EQ(values("/shop:stock/owner").size(), 1U) << encoding;
    for (const DataPart part : {DataPart::kState, DataPart::kOperational}) {
      form_ = {part, encoding};
      EXPECT_THAT(values("/shop:stock/owner"), IsEmpty()) << encoding;
    }
  }
}

TEST_F(TypedValue, AnIdentityOfAnotherModuleIsNoValueOfALeaf) {
  const auto shop = models({"shop"});
  form_.models = shop.get();
  EXPECT_EQ(leaf("<id>red</id>"), R"(string_val: "shop:red")");
  EXPECT_EQ(leaf("<id xmlns:m=\"urn:shop-more\">m:blue</id>"), "0 values");
  EXPECT_EQ(leaf("<mix>256</mix>"), "int_val: 256");
}

TEST_F(TypedValue, LinesAreIndentedByLevel) {
  put(R"(<stock xmlns="urn:shop"><owner>A B</owner><empty/><sign/><item><name>a]b</name>
    <price>1.5</price><tag>y</tag><tag></tag></item><item><name>c</name></item>
    <season xmlns="urn:shop-more">s</season></stock><values xmlns="urn:shop"><none/></values>)");
  EXPECT_EQ(lines("/"),
            "shop:stock\n"
            "  owner \"A B\"\n"
            "  sign\n"
            "  item[name=a\\]b]\n"
            "    price 1.5\n"
            "    tag y\n"
            "    tag \"\"\n"
            "  item[name=c]\n"
            "  shop-more:season s\n"
            "shop:values\n"
            "  none\n");
  EXPECT_EQ(lines("/stock/item[name=a\\]b]"), "shop:price 1.5\nshop:tag y\nshop:tag \"\"\n");
  EXPECT_EQ(lines("/stock/owner"), "\"A B\"");
  EXPECT_EQ(lines("/stock/item[name=a\\]b]/tag"), "y\n\"\"\n");
  EXPECT_EQ(lines("/stock/empty"), "");
}

// One word is written as it is: what is not of ASCII's letters and signs, or may end it, is quoted.
TEST_F(TypedValue, WordsOfALineAreQuotedWhereTheyAreNone) {
  const auto line = [this](const std::string& text) {
    put("<stock xmlns=\"urn:shop\"><owner>" + text + "</owner></stock>");
    return lines("/stock/owner");
  };
  EXPECT_EQ(line("!~"), "!~");
  EXPECT_EQ(line("a b"), "\"a b\"");
  EXPECT_EQ(line("a\x7f"), "\"a\x7f\"");
  EXPECT_EQ(line("\xc3\xa9"), "\"\xc3\xa9\"");
  EXPECT_EQ(line("a\"b"), R"("a\"b")");
  put("<stock xmlns=\"urn:shop\"><item><name>a\\]b[</name></item></stock>");
  EXPECT_EQ(lines("/stock"), "shop:item[name=a\\\\\\]b[]\n");
}

TEST_F(TypedValue, AnydataIsItsJsonInALine) {
  put("<values xmlns=\"urn:shop\"><u8>1</u8><any><x xmlns=\"urn:none\">1</x></any></values>");
  EXPECT_EQ(lines("/values"), "shop:u8 1\nshop:any {\"x\":\"1\"}\n");
  EXPECT_EQ(lines("/values/any"), "{\"x\":\"1\"}");
}

// Presence, and entries, are worth a line without anything in them; other containers are not.
TEST_F(TypedValue, WhatIsEmptyHasALineWhenItSaysSomething) {
  put("<stock xmlns=\"urn:shop\"><empty/><sign/><item><name>a</name><size/></item></stock>");
  EXPECT_EQ(lines("/stock"), "shop:sign\nshop:item[name=a]\n");
  EXPECT_EQ(lines("/stock/empty"), "");
  form_.part = DataPart::kState;
  EXPECT_EQ(lines("/stock"), "");
}

TEST_F(TypedValue, LinesOfOnePartHoldNothingOfTheOther) {
  put("<stock xmlns=\"urn:shop\"><owner>A</owner><item><name>a</name></item></stock>",
      "<stock xmlns=\"urn:shop\"><item><name>a</name><sold>5</sold></item></stock>");
  form_.part = DataPart::kConfig;
  EXPECT_EQ(lines("/stock"), "shop:owner A\nshop:item[name=a]\n");
  form_.part = DataPart::kState;
  EXPECT_EQ(lines("/stock"), "shop:item[name=a]\n  sold 5\n");
}

TEST(ModelSet, NamesAModelThatTheServerDoesNotHave) {
  nexa_test::load_shop();
  google::protobuf::RepeatedPtrField<gnmi::ModelData> known;
  known.Add()->set_name("shop");
  known.Mutable(0)->set_version("1");
  google::protobuf::RepeatedPtrField<gnmi::ModelData> asked;
  EXPECT_EQ(model::ModelSet::of(asked, known).value(), nullptr);
  asked.Add()->set_name("shop");
  EXPECT_TRUE(model::ModelSet::of(asked, known).ok());
  asked.Mutable(0)->set_version("1");
  EXPECT_TRUE(model::ModelSet::of(asked, known).ok());
  asked.Mutable(0)->set_version("2");
  const auto refused = model::ModelSet::of(asked, known);
  ASSERT_FALSE(refused.ok());
  EXPECT_EQ(refused.failure().code, grpc::StatusCode::NOT_FOUND);
  EXPECT_EQ(refused.failure().rule, "use_models[0]: no model \"shop\" in version \"2\"");
}

}  // namespace
}  // namespace nexa::store
