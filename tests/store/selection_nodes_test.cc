// Which data nodes does a path name, and how is each one called?
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "shop_models.h"
#include "store/reading/selection.h"
#include "support/targets.h"
#include "translate/path_string.h"

namespace nexa::store {
namespace selection_nodes_test {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

gnmi::Path path_of(std::string_view text) {
  translate::PathStringError error;
  const auto path = translate::parse_path_string(text, &error);
  EXPECT_TRUE(path) << text << ": " << error.text();
  return path.value_or(gnmi::Path());
}

model::Target target_of(std::string_view text) { return nexa_test::target_of(path_of(text)); }

constexpr char kConfig[] = R"(
  <stock xmlns="urn:shop"><owner>Ann</owner>
    <item><name>a</name><price>1.5</price><tag>x</tag><tag>y</tag><size><width>3</width></size>
      <part><id>1</id><kind>red</kind><note>n1</note></part>
      <part><id>1</id><kind xmlns:m="urn:shop-more">m:blue</kind><note>n2</note></part></item>
    <item><name>b]</name></item>
    <owner xmlns="urn:shop-more">More</owner>
    <card><number>4</number></card><door>7</door><door>8</door></stock>
  <shelf xmlns="urn:shop"><row>1</row><label>top</label></shelf>
  <shelf xmlns="urn:shop"><row>2</row></shelf>)";

constexpr char kState[] = R"(
  <stock xmlns="urn:shop"><item><name>a</name><sold>5</sold></item>
    <item><name>c</name><sold>6</sold></item>
    <event><what>in</what></event><event><what>out</what></event>
    <code>k</code><code>k</code></stock>
  <shelf xmlns="urn:shop"><row>2</row><load>9</load></shelf>
  <shelf xmlns="urn:shop"><row>3</row><load>1</load></shelf>)";

class SelectNodes : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { nexa_test::load_shop(); }
  void SetUp() override {
    config_ = nexa_test::shop_image(kConfig);
    state_ = nexa_test::shop_image(kState);
  }

  // The paths that are found; "+c", "+s" or "+cs" says in which tree.
  std::vector<std::string> find(std::string_view text, LeafLists mode = LeafLists::kEntries) {
    std::vector<std::string> found;
    select_nodes(
        target_of(text), config_.get(), state_.get(),
        [&](const NodePair& node, gnmi::Path& concrete) {
          std::string line = translate::format_path_string(concrete) + " +";
          if (node.config != nullptr) line += "c";
          if (node.state != nullptr) line += "s";
          if (node.any() != nullptr && node.any()->kind() == ImageKind::kGroup) line += " whole";
          found.push_back(line);
        },
        mode);
    return found;
  }

  ImagePtr config_;
  ImagePtr state_;
};

TEST_F(SelectNodes, QualifiedAndBareNamesStayAsTheyWereWritten) {
  EXPECT_THAT(find("/shop:stock/shop:card/number"), ElementsAre("/shop:stock/shop:card/number +c"));
  EXPECT_THAT(find("/stock/card"), ElementsAre("/stock/card +c"));
}

TEST_F(SelectNodes, EmptyPathIsThePlaceAboveBothTrees) {
  EXPECT_THAT(find("/"), ElementsAre("/ +"));
  EXPECT_THAT(find("/..."), ElementsAre("/ +"));
}

TEST_F(SelectNodes, BareNameMeansTheParentsModuleFirst) {
  EXPECT_THAT(find("/stock/owner"), ElementsAre("/stock/owner +c"));
  EXPECT_THAT(find("/shop:stock/shop-more:owner"), ElementsAre("/shop:stock/shop-more:owner +c"));
  NodePair owner;
  const auto keep = [&](const NodePair& node, gnmi::Path&) { owner = node; };
  select_nodes(target_of("/stock/owner"), config_.get(), nullptr, keep);
  EXPECT_EQ(owner.config->leaf().text(), "Ann");
}

TEST_F(SelectNodes, KeyedEntryIsFoundInBothTrees) {
  EXPECT_THAT(find("/stock/item[name=a]"), ElementsAre("/stock/item[name=a] +cs"));
  EXPECT_THAT(find("/stock/item[name=c]"), ElementsAre("/stock/item[name=c] +s"));
  EXPECT_THAT(find("/stock/item[shop:name=b\\]]"), ElementsAre("/stock/item[shop:name=b\\]] +c"));
  EXPECT_THAT(find("/stock/item[name=zz]"), IsEmpty());
}

TEST_F(SelectNodes, EntriesOfTopLevelLists) {
  EXPECT_THAT(find("/shop:shelf[row=2]"), ElementsAre("/shop:shelf[row=2] +cs"));
  EXPECT_THAT(find("/shop:shelf"), ElementsAre("/shop:shelf[row=1] +c", "/shop:shelf[row=2] +cs",
                                               "/shop:shelf[row=3] +s"));
}

TEST_F(SelectNodes, KeysLeftOutOrStarNameEveryEntry) {
  for (const char* path : {"/stock/item", "/stock/item[name=*]"}) {
    EXPECT_THAT(find(path), ElementsAre("/stock/item[name=a] +cs", "/stock/item[name=b\\]] +c",
                                        "/stock/item[name=c] +s"));
  }
  EXPECT_THAT(find("/stock/item[name=*]/sold"),
              ElementsAre("/stock/item[name=a]/sold +s", "/stock/item[name=c]/sold +s"));
}

TEST_F(SelectNodes, KeyValuesAreComparedAsTheirTypeReadsThem) {
  EXPECT_THAT(find("/stock/item[name=a]/part[id=01][kind=red]/note"),
              ElementsAre("/stock/item[name=a]/part[id=01][kind=red]/note +c"));
  EXPECT_THAT(find("/stock/item[name=a]/part[id=1][kind=shop-more:blue]"),
              ElementsAre("/stock/item[name=a]/part[id=1][kind=shop-more:blue] +c"));
  EXPECT_THAT(find("/stock/item[name=a]/part[id=1][kind=blue]"),
              ElementsAre("/stock/item[name=a]/part[id=1][kind=blue] +c"));
  EXPECT_THAT(find("/stock/item[name=a]/part[id=1][kind=m:blue]/note"),
              ElementsAre("/stock/item[name=a]/part[id=1][kind=m:blue]/note +c"));
  EXPECT_THAT(find("/shop:shelf[row=+2]"), ElementsAre("/shop:shelf[row=+2] +cs"));
}

TEST_F(SelectNodes, SomeOfTheKeys) {
  EXPECT_THAT(find("/stock/item[name=a]/part[id=1]"),
              ElementsAre("/stock/item[name=a]/part[id=1][kind=shop:red] +c",
                          "/stock/item[name=a]/part[id=1][kind=shop-more:blue] +c"));
  EXPECT_THAT(find("/stock/item/part[kind=shop:red]"),
              ElementsAre("/stock/item[name=a]/part[id=1][kind=shop:red] +c"));
}

TEST_F(SelectNodes, LeafListEntries) {
  EXPECT_THAT(find("/stock/item[name=a]/tag"),
              ElementsAre("/stock/item[name=a]/tag +c", "/stock/item[name=a]/tag +c"));
  EXPECT_THAT(find("/stock/item[name=a]/tag[.=*]"),
              ElementsAre("/stock/item[name=a]/tag[.=x] +c", "/stock/item[name=a]/tag[.=y] +c"));
  EXPECT_THAT(find("/stock/*[.=7]"), ElementsAre("/stock/door[.=7] +c"));
  EXPECT_THAT(find("/stock/item[name=a]/tag[.=y]"), ElementsAre("/stock/item[name=a]/tag[.=y] +c"));
  EXPECT_THAT(find("/stock/door[.=07]"), ElementsAre("/stock/door[.=07] +c"));
  EXPECT_THAT(find("/stock/door[.=9]"), IsEmpty());
  EXPECT_THAT(find("/stock/code[.=k]"), ElementsAre("/stock/code[.=k] +s"));
  EXPECT_THAT(find("/stock/code"), ElementsAre("/stock/code +s", "/stock/code +s"));
}

TEST_F(SelectNodes, WholeLeafListsOnRequest) {
  EXPECT_THAT(find("/stock/item/tag", LeafLists::kWhole),
              ElementsAre("/stock/item[name=a]/tag +c whole"));
  EXPECT_THAT(find("/stock/door[.=7]", LeafLists::kWhole), ElementsAre("/stock/door[.=7] +c"));
  EXPECT_THAT(find("/.../door", LeafLists::kWhole), ElementsAre("/stock/door +c whole"));
  EXPECT_THAT(find("/*/shop:door", LeafLists::kWhole),
              ElementsAre("/shop:stock/shop:door +c whole"));
  EXPECT_THAT(
      find("/stock/item[name=a]/*", LeafLists::kWhole),
      ElementsAre("/stock/item[name=a]/name +cs", "/stock/item[name=a]/price +c",
                  "/stock/item[name=a]/sold +s", "/stock/item[name=a]/tag +c whole",
                  "/stock/item[name=a]/size +c", "/stock/item[name=a]/part[id=1][kind=shop:red] +c",
                  "/stock/item[name=a]/part[id=1][kind=shop-more:blue] +c"));
}

TEST_F(SelectNodes, AnydataAreFoundAmongOthers) {
  config_ = nexa_test::shop_image(
      "<values xmlns=\"urn:shop\"><i8>1</i8><any><x xmlns=\"urn:none\"/></any>"
      "<xml><y xmlns=\"urn:none\"/></xml></values>");
  EXPECT_THAT(find("/values/*"), ElementsAre("/values/i8 +c", "/values/any +c", "/values/xml +c"));
  EXPECT_THAT(find("/.../any"), ElementsAre("/values/any +c"));
}

TEST_F(SelectNodes, ListsWithoutKeys) {
  EXPECT_THAT(find("/stock/event/what"),
              ElementsAre("/stock/event/what +s", "/stock/event/what +s"));
}

TEST_F(SelectNodes, StarIsAnyChild) {
  EXPECT_THAT(find("/stock/item[name=a]/*"),
              ElementsAre("/stock/item[name=a]/name +cs", "/stock/item[name=a]/price +c",
                          "/stock/item[name=a]/sold +s", "/stock/item[name=a]/tag +c",
                          "/stock/item[name=a]/tag +c", "/stock/item[name=a]/size +c",
                          "/stock/item[name=a]/part[id=1][kind=shop:red] +c",
                          "/stock/item[name=a]/part[id=1][kind=shop-more:blue] +c"));
  EXPECT_THAT(find("/shop:stock/shop-more:*"), ElementsAre("/shop:stock/shop-more:owner +c"));
  EXPECT_THAT(find("/stock/*[name=c]"), ElementsAre("/stock/item[name=c] +s"));
}

TEST_F(SelectNodes, StarTakesModulesIntoNamesWhereThePathHasThem) {
  EXPECT_THAT(find("/shop:stock/*/number"), ElementsAre("/shop:stock/card/number +c"));
  EXPECT_THAT(find("/*/shop:card"), ElementsAre("/shop:stock/shop:card +c"));
  EXPECT_THAT(find("/*/card"), ElementsAre("/stock/card +c"));
}

TEST_F(SelectNodes, DotsTakeAnyNumberOfLevels) {
  EXPECT_THAT(find("/.../number"), ElementsAre("/stock/card/number +c"));
  EXPECT_THAT(find("/stock/.../owner"), UnorderedElementsAre("/stock/owner +c"));
  EXPECT_THAT(find("/.../item[name=a]/.../note"),
              ElementsAre("/stock/item[name=a]/part[id=1][kind=shop:red]/note +c",
                          "/stock/item[name=a]/part[id=1][kind=shop-more:blue]/note +c"));
  EXPECT_THAT(find("/stock/card/..."), ElementsAre("/stock/card +c"));
}

TEST_F(SelectNodes, ManyDotsGiveANodeOnceAndInTime) {
  std::string path;
  for (int i = 0; i < 2000; ++i) path += "/...";
  EXPECT_THAT(find(path + "/number"), ElementsAre("/stock/card/number +c"));
  EXPECT_THAT(find("/.../*/.../*/.../number"), ElementsAre("/stock/card/number +c"));
  EXPECT_THAT(find("/.../stock/.../*/.../width"), ElementsAre("/stock/item[name=a]/size/width +c"));
}

TEST_F(SelectNodes, OneTreeMayBeMissing) {
  state_ = nullptr;
  EXPECT_THAT(find("/stock/item"),
              ElementsAre("/stock/item[name=a] +c", "/stock/item[name=b\\]] +c"));
  config_ = nullptr;
  EXPECT_THAT(find("/stock/item"), IsEmpty());
}

TEST_F(SelectNodes, TheOriginIsKept) {
  gnmi::Path path = path_of("/stock/card");
  path.set_origin("shop");
  gnmi::Path seen;
  const auto keep = [&](const NodePair&, gnmi::Path& concrete) { seen = concrete; };
  select_nodes(nexa_test::target_of(path), config_.get(), nullptr, keep);
  EXPECT_EQ(seen.origin(), "shop");
}

std::string line_of(const ImageChain& chain) {
  std::string line;
  for (const ImageNode* node : chain) {
    line += std::string("/") + node->schema()->name;
    if (node->kind() == ImageKind::kLeaf) line += "=" + std::string(node->leaf().text());
  }
  return line;
}

TEST_F(SelectNodes, ChainsLeadFromTheTopToEachNode) {
  const auto chains = [&](std::string_view text) {
    std::vector<std::string> found;
    select_chains(target_of(text), *config_,
                  [&](const ImageChain& chain) { found.push_back(line_of(chain)); });
    return found;
  };
  EXPECT_THAT(chains("/stock/item[name=a]/size/width"), ElementsAre("/stock/item/size/width=3"));
  EXPECT_THAT(chains("/stock/door"), ElementsAre("/stock/door=7", "/stock/door=8"));
  EXPECT_THAT(chains("/stock/door[.=8]"), ElementsAre("/stock/door=8"));
  EXPECT_THAT(chains("/stock/item[name=*]/price"), ElementsAre("/stock/item/price=1.5"));
  EXPECT_THAT(chains("/stock/item[name=c]"), IsEmpty());
  EXPECT_THAT(chains("/"), ElementsAre(""));
}

TEST_F(SelectNodes, ChainsLeadFromTheTopToEachDifference) {
  std::vector<std::string> found;
  select_differing(target_of("/stock/item[name=*]/name"), nullptr, config_.get(),
                   [&](const NodePair& /*node*/, gnmi::Path& /*path*/, const ImageChain& way) {
                     found.push_back(line_of(way));
                   });
  EXPECT_THAT(found, ElementsAre("/stock/item/name=a", "/stock/item/name=b]"));
}

}  // namespace selection_nodes_test
}  // namespace nexa::store
