// The JSON of values, parts and overlaid trees, typed out by hand.
#include "store/reading/json_value.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "shop_models.h"
#include "store/reading/typed_value.h"
#include "support/targets.h"
#include "translate/path_string.h"

namespace nexa::store {
namespace json_value_test {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

constexpr char kMissing[] = "(nothing)";

class JsonValue : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { nexa_test::load_shop(); }

  std::string tree(const std::string& config, const std::string& state = "") {
    config_ = nexa_test::shop_image(config);
    state_ = nexa_test::shop_image(state);
    std::string json = "<";
    if (append_tree({config_.get(), state_.get()}, form_, json)) return json.substr(1);
    EXPECT_EQ(json, "<") << "changed without a value";
    return kMissing;
  }

  // The values of all nodes that a path names in the trees of the last call of tree().
  std::vector<std::string> values(std::string_view text) {
    translate::PathStringError error;
    std::vector<std::string> found;
    const auto take = [&](const NodePair& node, gnmi::Path&) {
      std::string json = "<";
      const bool has_value = append_value(node, form_, json);
      EXPECT_TRUE(has_value || json == "<") << "changed without a value";
      found.push_back(has_value ? json.substr(1) : kMissing);
    };
    select_nodes(nexa_test::target_of(*translate::parse_path_string(text, &error)), config_.get(),
                 state_.get(), take, LeafLists::kWhole);
    return found;
  }

  // The JSON of one leaf of container "values".
  std::string leaf(const std::string& xml) {
    tree("<values xmlns=\"urn:shop\">" + xml + "</values>");
    const auto found = values("/shop:values/*");
    return found.size() == 1 ? found.front() : std::to_string(found.size()) + " values";
  }

  static std::string line(const gnmi::Path& path, const gnmi::TypedValue& value) {
    return translate::format_path_string(path) + " " +
           (value.has_json_val() ? value.json_val() : value.json_ietf_val());
  }

  ValueForm leaf_form(bool qualify_names) const {
    return {form_.part, form_.qualify ? gnmi::JSON_IETF : gnmi::JSON, qualify_names};
  }

  std::vector<std::string> leaves(bool qualify_names) {
    std::vector<std::string> lines;
    for_each_leaf_of_tree({config_.get(), state_.get()}, leaf_form(qualify_names),
                          [&](gnmi::Path& path, gnmi::TypedValue& value) {
                            lines.push_back(line(path, value));
                            path.Clear();
                          });
    return lines;
  }

  JsonForm form_;
  ImagePtr config_;
  ImagePtr state_;
};

TEST_F(JsonValue, NumbersUpTo32BitsAreNumbers) {
  EXPECT_EQ(leaf("<i8>-128</i8>"), "-128");
  EXPECT_EQ(leaf("<i16>-32768</i16>"), "-32768");
  EXPECT_EQ(leaf("<i32>-2147483648</i32>"), "-2147483648");
  EXPECT_EQ(leaf("<u8>255</u8>"), "255");
  EXPECT_EQ(leaf("<u16>65535</u16>"), "65535");
  EXPECT_EQ(leaf("<u32>4294967295</u32>"), "4294967295");
}

TEST_F(JsonValue, LongAndDecimalNumbersAreStrings) {
  EXPECT_EQ(leaf("<i64>-9223372036854775808</i64>"), "\"-9223372036854775808\"");
  EXPECT_EQ(leaf("<u64>18446744073709551615</u64>"), "\"18446744073709551615\"");
  EXPECT_EQ(leaf("<dec>-1.500</dec>"), "\"-1.5\"");
  EXPECT_EQ(leaf("<dec>2</dec>"), "\"2.0\"");
}

TEST_F(JsonValue, BooleanEmptyBitsBinaryEnumeration) {
  EXPECT_EQ(leaf("<bool>true</bool>"), "true");
  EXPECT_EQ(leaf("<bool>false</bool>"), "false");
  EXPECT_EQ(leaf("<none/>"), "[null]");
  EXPECT_EQ(leaf("<flags>c a</flags>"), "\"a c\"");
  EXPECT_EQ(leaf("<blob>AAEC/w==</blob>"), "\"AAEC/w==\"");
  EXPECT_EQ(leaf("<pick>t\"wo</pick>"), "\"t\\\"wo\"");
}

TEST_F(JsonValue, EscapesAreExact) {
  EXPECT_EQ(leaf("<text>q\" b\\ s/ t&#9; n&#10; r&#13; d\x7F e\xC3\xA9 \xF0\x9F\x98\x80</text>"),
            "\"q\\\" b\\\\ s/ t\\t n\\n r\\r d\x7F e\xC3\xA9 \xF0\x9F\x98\x80\"");
  EXPECT_EQ(leaf("<text></text>"), "\"\"");
}

TEST_F(JsonValue, IdentitiesCarryTheirModuleInJsonIetf) {
  EXPECT_EQ(leaf("<id>red</id>"), "\"shop:red\"");
  EXPECT_EQ(leaf("<id xmlns:m=\"urn:shop-more\">m:blue</id>"), "\"shop-more:blue\"");
  form_.qualify = false;
  EXPECT_EQ(leaf("<id xmlns:m=\"urn:shop-more\">m:blue</id>"), "\"blue\"");
}

TEST_F(JsonValue, ALeafListWithoutIdentitiesOfTheModelsIsNothing) {
  google::protobuf::RepeatedPtrField<gnmi::ModelData> shop;
  shop.Add()->set_name("shop");
  const auto models = model::ModelSet::of(shop, shop).value();
  form_.models = models.get();
  const std::string blue = R"(<hues xmlns:m="urn:shop-more">m:blue</hues>)";
  EXPECT_EQ(leaf(blue), kMissing);
  EXPECT_EQ(leaf("<hues>red</hues>" + blue), R"(["shop:red"])");
}

TEST_F(JsonValue, UnionMembersAreWrittenByTheirOwnType) {
  EXPECT_EQ(leaf("<mix>7</mix>"), "7");
  EXPECT_EQ(leaf("<mix>256</mix>"), "\"256\"");
  EXPECT_EQ(leaf("<mix>true</mix>"), "true");
  EXPECT_EQ(leaf("<mix>red</mix>"), "\"shop:red\"");
  EXPECT_EQ(leaf("<mix>free text</mix>"), "\"free text\"");
}

TEST_F(JsonValue, ReferencesAreWrittenAsTheirTarget) {
  EXPECT_EQ(leaf("<ref>12</ref>"), "12");
  EXPECT_EQ(leaf("<far xmlns:s=\"urn:shop\">/s:stock/s:item[s:name='a']/s:price</far>"),
            "\"/shop:stock/item[name='a']/price\"");
}

TEST_F(JsonValue, AddressesAndTimesKeepTheirText) {
  EXPECT_EQ(leaf("<v4>192.0.2.1</v4>"), "\"192.0.2.1\"");
  EXPECT_EQ(leaf("<v6>2001:DB8:0::1</v6>"), "\"2001:db8::1\"");
  EXPECT_EQ(leaf("<net>2001:db8::1/32</net>"), "\"2001:db8::/32\"");
  EXPECT_EQ(leaf("<mac>00:AA:bb:00:00:01</mac>"), "\"00:AA:bb:00:00:01\"");
}

TEST_F(JsonValue, AnydataIsItsContent) {
  EXPECT_EQ(leaf("<any><x xmlns=\"urn:none\"><y>1</y></x></any>"), R"({"x":{"y":"1"}})");
  EXPECT_EQ(leaf("<any><x>007</x><z a='1'><x>1e5</x><y/></z><x>true</x></any>"),
            R"({"x":["007","true"],"z":{"x":"1e5","y":""}})");
  EXPECT_EQ(leaf("<any/>"), "{}");
  EXPECT_EQ(leaf("<xml>te\"xt</xml>"), R"("te\"xt")");
}

TEST_F(JsonValue, KnownNodesInsideAnydataKeepTheirTypes) {
  EXPECT_EQ(leaf("<any><shelf xmlns='urn:shop-more'><height>5</height></shelf></any>"),
            R"({"shop-more:shelf":{"height":5}})");
}

TEST_F(JsonValue, NamesCarryTheirModuleAtTheTopAndWhereItChanges) {
  const char* const xml =
      "<stock xmlns=\"urn:shop\"><owner>A</owner><card><number>1</number></card>"
      "<season xmlns=\"urn:shop-more\">s</season></stock>";
  EXPECT_EQ(tree(xml), R"({"shop:stock":{"owner":"A","card":{"number":"1"},)"
                       R"("shop-more:season":"s"}})");
  EXPECT_THAT(values("/shop:stock"), ElementsAre(R"({"shop:owner":"A","shop:card":{"number":"1"},)"
                                                 R"("shop-more:season":"s"})"));
  form_.qualify = false;
  EXPECT_THAT(values("/shop:stock"),
              ElementsAre(R"({"owner":"A","card":{"number":"1"},"shop-more:season":"s"})"));
}

TEST_F(JsonValue, EntriesAndLeafLists) {
  tree(
      "<stock xmlns=\"urn:shop\"><item><name>a</name><tag>y</tag><tag>x</tag></item>"
      "<item><name>b</name></item></stock>");
  EXPECT_THAT(values("/stock/item[name=a]"),
              ElementsAre(R"({"shop:name":"a","shop:tag":["y","x"]})"));
  EXPECT_THAT(values("/stock/item[name=a]/tag"), ElementsAre(R"(["y","x"])"));
  EXPECT_THAT(values("/stock/item[name=a]/tag[.=x]"), ElementsAre("\"x\""));
  EXPECT_THAT(values("/stock"),
              ElementsAre(R"({"shop:item":[{"name":"a","tag":["y","x"]},{"name":"b"}]})"));
}

TEST_F(JsonValue, OnlyPresenceMakesAnEmptyContainerAValue) {
  EXPECT_EQ(tree("<stock xmlns=\"urn:shop\"><empty/></stock>"), kMissing);
  EXPECT_EQ(tree("<stock xmlns=\"urn:shop\"><empty/><sign/></stock>"),
            R"({"shop:stock":{"sign":{}}})");
  EXPECT_THAT(values("/stock/*"), ElementsAre(kMissing, "{}"));
  EXPECT_EQ(tree(""), kMissing);
}

TEST_F(JsonValue, DefaultsInUseAreValues) {
  lyd_node* tree =
      nexa_test::shop_tree("<stock xmlns=\"urn:shop\"><door>1</door></stock>").release();
  ASSERT_EQ(lyd_new_implicit_all(&tree, kestrel::context(), 0, nullptr), LY_SUCCESS);
  config_ = image_of_tree(TreePtr(tree).get());
  EXPECT_THAT(values("/stock"), ElementsAre(R"({"shop:open":true,"shop:door":[1]})"));
}

constexpr char kConfig[] = R"(<stock xmlns="urn:shop"><owner>Ann</owner><sign/>
  <item><name>a</name><price>1.5</price><size><width>3</width></size></item>
  <item><name>b</name></item></stock><shelf xmlns="urn:shop"><row>1</row></shelf>)";
constexpr char kState[] = R"(<stock xmlns="urn:shop"><owner>Bob</owner>
  <item><name>c</name><sold>6</sold></item>
  <item><name>a</name><sold>5</sold><size><seen>1</seen></size></item>
  <event><what>in</what></event><event><what>in</what></event><code>k</code><code>k</code>
  </stock><shelf xmlns="urn:shop"><row>1</row><load>9</load></shelf>)";

TEST_F(JsonValue, BothTreesAreOne) {
  EXPECT_EQ(tree(kConfig, kState),
            R"({"shop:stock":{"owner":"Ann","sign":{},"item":[)"
            R"({"name":"a","price":"1.5","sold":"5","size":{"width":3,"seen":1}},{"name":"b"},)"
            R"({"name":"c","sold":"6"}],"event":[{"what":"in"},{"what":"in"}],"code":["k","k"]},)"
            R"("shop:shelf":[{"row":1,"load":9}]})");
}

TEST_F(JsonValue, MembersStandInTheOrderOfTheSchema) {
  EXPECT_EQ(tree("<shelf xmlns=\"urn:shop-more\"><height>1</height></shelf>"
                 "<shelf xmlns=\"urn:shop\"><row>1</row></shelf>"
                 "<stock xmlns=\"urn:shop\"><door>1</door><owner>A</owner></stock>"),
            R"({"shop:stock":{"owner":"A","door":[1]},"shop:shelf":[{"row":1}],)"
            R"("shop-more:shelf":{"height":1}})");
}

TEST_F(JsonValue, ConfigPartComesFromTheConfigurationAlone) {
  form_.part = DataPart::kConfig;
  EXPECT_EQ(tree(kConfig, kState),
            R"({"shop:stock":{"owner":"Ann","sign":{},"item":[)"
            R"({"name":"a","price":"1.5","size":{"width":3}},{"name":"b"}]},)"
            R"("shop:shelf":[{"row":1}]})");
  EXPECT_EQ(tree("", kState), kMissing);
}

TEST_F(JsonValue, StatePartKeepsTheKeysAroundIt) {
  form_.part = DataPart::kState;
  EXPECT_EQ(tree(kConfig, kState),
            R"({"shop:stock":{"item":[{"name":"a","sold":"5","size":{"seen":1}},)"
            R"({"name":"c","sold":"6"}],"event":[{"what":"in"},{"what":"in"}],)"
            R"("code":["k","k"]},"shop:shelf":[{"row":1,"load":9}]})");
  EXPECT_EQ(tree(kConfig, ""), kMissing);
  EXPECT_EQ(tree("", kState).size(), tree(kConfig, kState).size());
}

TEST_F(JsonValue, EveryLeafHasItsPath) {
  tree(kConfig, kState);
  EXPECT_THAT(
      leaves(true),
      ElementsAre("/shop:stock/owner \"Ann\"", "/shop:stock/item[name=a]/name \"a\"",
                  "/shop:stock/item[name=a]/price \"1.5\"", "/shop:stock/item[name=a]/sold \"5\"",
                  "/shop:stock/item[name=a]/size/width 3", "/shop:stock/item[name=a]/size/seen 1",
                  "/shop:stock/item[name=b]/name \"b\"", "/shop:stock/item[name=c]/name \"c\"",
                  "/shop:stock/item[name=c]/sold \"6\"", "/shop:stock/event/what \"in\"",
                  "/shop:stock/event/what \"in\"", "/shop:stock/code [\"k\",\"k\"]",
                  "/shop:shelf[row=1]/row 1", "/shop:shelf[row=1]/load 9"));
  form_.part = DataPart::kState;
  EXPECT_THAT(leaves(false),
              ElementsAre("/stock/item[name=a]/sold \"5\"", "/stock/item[name=a]/size/seen 1",
                          "/stock/item[name=c]/sold \"6\"", "/stock/event/what \"in\"",
                          "/stock/event/what \"in\"", "/stock/code [\"k\",\"k\"]",
                          "/shop:shelf[row=1]/load 9"));
}

TEST_F(JsonValue, LeavesBelowANodeContinueItsPath) {
  tree(
      "<stock xmlns=\"urn:shop\"><season xmlns=\"urn:shop-more\">s</season><door>1</door>"
      "<card><number>1</number></card></stock>");
  std::vector<std::string> lines;
  const ValueSink sink = [&](gnmi::Path& path, gnmi::TypedValue& value) {
    lines.push_back(line(path, value));
  };
  translate::PathStringError error;
  const auto walk = [&](const NodePair& node, gnmi::Path& path) {
    const std::string before = path.SerializeAsString();
    for_each_leaf(node, path, leaf_form(true), sink);
    EXPECT_EQ(path.SerializeAsString(), before);
  };
  for (const char* path :
       {"/shop:stock", "/stock/door", "/stock/door[.=1]", "/stock/card/number"}) {
    select_nodes(nexa_test::target_of(*translate::parse_path_string(path, &error)), config_.get(),
                 nullptr, walk, LeafLists::kWhole);
  }
  EXPECT_THAT(lines, ElementsAre("/shop:stock/card/number \"1\"", "/shop:stock/door [1]",
                                 "/shop:stock/shop-more:season \"s\"", "/stock/door [1]",
                                 "/stock/door[.=1] 1", "/stock/card/number \"1\""));
}

}  // namespace json_value_test
}  // namespace nexa::store
