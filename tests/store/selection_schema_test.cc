// Which paths does the schema have, and what is said of the others?
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "shop_models.h"
#include "store/reading/selection.h"
#include "translate/path_string.h"

namespace nexa::host {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

struct Verdict {
  const char* path;
  grpc::StatusCode code;
  const char* message;
};

gnmi::Path path_of(std::string_view text) {
  PathStringError error;
  const auto path = parse_path_string(text, &error);
  EXPECT_TRUE(path) << text << ": " << error.text();
  return path.value_or(gnmi::Path());
}

class SelectSchema : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { nexa_test::load_shop(); }

  static std::vector<std::string> nodes(std::string_view text) {
    std::vector<const lysc_node*> found;
    const grpc::Status status = select_schema(path_of(text), &found);
    EXPECT_TRUE(status.ok()) << text << ": " << status.error_message();
    std::vector<std::string> names;
    for (const lysc_node* node : found) {
      names.push_back(std::string(node->module->name) + ":" + node->name);
    }
    return names;
  }
};

TEST_F(SelectSchema, NamesOfTheTopLevel) {
  EXPECT_THAT(nodes("/shop:stock"), ElementsAre("shop:stock"));
  EXPECT_THAT(nodes("/only-here"), ElementsAre("shop-more:only-here"));
  EXPECT_THAT(nodes("/"), IsEmpty());
}

TEST_F(SelectSchema, ChoicesAreLookedThrough) {
  EXPECT_THAT(nodes("/stock/coins"), ElementsAre("shop:coins"));
  EXPECT_THAT(nodes("/shop:stock/card/number"), ElementsAre("shop:number"));
}

TEST_F(SelectSchema, WildcardsMeanManyNodes) {
  EXPECT_THAT(nodes("/stock/shop-more:*"), ElementsAre("shop-more:owner", "shop-more:season"));
  EXPECT_THAT(nodes("/.../width"), ElementsAre("shop:width"));
  EXPECT_THAT(nodes("/.../season"), SizeIs(2));
  EXPECT_THAT(nodes("/stock/*[name=a]"), ElementsAre("shop:item"));
}

TEST_F(SelectSchema, RefusalsNameTheElement) {
  const Verdict verdicts[] = {
      {"/shop:stock/colour", grpc::NOT_FOUND, "no node \"colour\" below \"/shop:stock\""},
      {"/shop:stock/item[name=a]/colour", grpc::NOT_FOUND,
       "no node \"colour\" below \"/shop:stock/item\""},
      {"/nothing", grpc::NOT_FOUND, "no node \"nothing\" at the top level"},
      {"/other:stock", grpc::NOT_FOUND, "no node \"other:stock\" at the top level"},
      {"/shop:stock/choice", grpc::NOT_FOUND, "no node \"choice\" below \"/shop:stock\""},
      {"/shop:stock/payment", grpc::NOT_FOUND, "no node \"payment\" below \"/shop:stock\""},
      {"/stock/owner/x", grpc::NOT_FOUND, "no node \"x\" below \"/stock/owner\""},
      {"/restock", grpc::NOT_FOUND, "no node \"restock\" at the top level"},
      {"/restock/input/item", grpc::NOT_FOUND, "no node \"restock\" at the top level"},
      {"/sold-out", grpc::NOT_FOUND, "no node \"sold-out\" at the top level"},
      {"/schema-mounts", grpc::NOT_FOUND, "no node \"schema-mounts\" at the top level"},
      {"/values/any/x", grpc::NOT_FOUND, "no node \"x\" below \"/values/any\""},
      {"/shelf", grpc::INVALID_ARGUMENT,
       "\"/shelf\": more than one module has it, name one of \"shop:shelf\", \"shop-more:shelf\""},
      {"/stock/season", grpc::INVALID_ARGUMENT,
       "\"/stock/season\": more than one module has it, name one of \"shop-more:season\", "
       "\"shop-twin:season\""},
      {"/stock[name=a]", grpc::INVALID_ARGUMENT, "\"/stock\" has no keys"},
      {"/stock/owner[x=a]", grpc::INVALID_ARGUMENT, "\"/stock/owner\" has no keys"},
      {"/stock/event[what=a]", grpc::INVALID_ARGUMENT, "\"/stock/event\" has no keys"},
      {"/stock/item[price=1]", grpc::INVALID_ARGUMENT, "\"/stock/item\" has no key \"price\""},
      {"/stock/item[shop-more:name=1]", grpc::INVALID_ARGUMENT,
       "\"/stock/item\" has no key \"shop-more:name\""},
      {"/stock/item[name=a][shop:name=b]", grpc::INVALID_ARGUMENT,
       "\"/stock/item\" key \"name\": given twice"},
      {"/stock/item[name=a]/part[id=x][kind=red]", grpc::INVALID_ARGUMENT,
       "\"/stock/item/part\" key \"id\": \"x\" is no value of its type"},
      {"/stock/item[name=a]/part[id=1][kind=pink]", grpc::INVALID_ARGUMENT,
       "\"/stock/item/part\" key \"kind\": \"pink\" is no value of its type"},
      {"/stock/door[.=300]", grpc::INVALID_ARGUMENT,
       "\"/stock/door\" key \".\": \"300\" is no value of its type"},
      {"/stock/door[door=3]", grpc::INVALID_ARGUMENT,
       "\"/stock/door\" is a leaf-list, its only key is \".\""},
      {"/.../nowhere", grpc::NOT_FOUND, "no node \"nowhere\" below \"/...\""},
      {"/stock/:x", grpc::INVALID_ARGUMENT,
       "path element 2: a name is \"name\" or \"module:name\""},
      {"/stock/shop:", grpc::INVALID_ARGUMENT,
       "path element 2: a name is \"name\" or \"module:name\""},
      {"/...[name=a]", grpc::INVALID_ARGUMENT, "path element 1: \"...\" takes no keys"},
      {"/stock/item[:=a]", grpc::INVALID_ARGUMENT, "path element 2: malformed key name"},
  };
  for (const Verdict& verdict : verdicts) {
    const grpc::Status status = select_schema(path_of(verdict.path));
    EXPECT_EQ(status.error_code(), verdict.code) << verdict.path;
    EXPECT_EQ(status.error_message(), verdict.message) << verdict.path;
  }
}

TEST_F(SelectSchema, EmptyNamesAreRefused) {
  gnmi::Path path;
  path.add_elem();
  EXPECT_EQ(select_schema(path).error_message(),
            "path element 1: a name is \"name\" or \"module:name\"");
}

TEST_F(SelectSchema, LeavesKeyValuesToTheDataWhenAsked) {
  const auto ignore = [](const NodePair&, gnmi::Path&) {};
  EXPECT_TRUE(select_nodes(path_of("/stock/door[.=300]"), nullptr, nullptr, ignore).ok());
  EXPECT_EQ(select_nodes(path_of("/stock/colour"), nullptr, nullptr, ignore).error_message(),
            "no node \"colour\" below \"/stock\"");
}

TEST_F(SelectSchema, ValuesWithStarOrWithoutAreAccepted) {
  for (const char* path :
       {"/stock/item", "/stock/item[name=*]", "/stock/item/part[id=*]", "/stock/item/part[id=07]",
        "/stock/item/part[kind=shop-more:blue]", "/stock/item/part[kind=red]", "/stock/door[.=*]",
        "/shop:stock/item[shop:name=x]", "/*", "/...", "/stock/.../seen"}) {
    EXPECT_TRUE(select_schema(path_of(path)).ok()) << path;
  }
}

TEST_F(SelectSchema, TextsOfAnyKindAreOnlyNames) {
  for (const char* text : {"/m:c/l[k", "a' or '1'='1", "x\x01", "..", ".", "//", "[", "a:b:c",
                           "shop:stock/owner", "%s%n", "\xC3\xA9"}) {
    gnmi::Path path;
    path.add_elem()->set_name(text);
    EXPECT_EQ(select_schema(path).error_code(), grpc::NOT_FOUND) << text;
    gnmi::Path keyed = path_of("/stock/item/part");
    (*keyed.mutable_elem(2)->mutable_key())["kind"] = text;
    EXPECT_EQ(select_schema(keyed).error_code(), grpc::INVALID_ARGUMENT) << text;
  }
}

TEST_F(SelectSchema, NulIsNoPartOfAValue) {
  gnmi::Path path = path_of("/stock/item");
  (*path.mutable_elem(1)->mutable_key())["name"] = std::string("a\0b", 3);
  EXPECT_EQ(select_schema(path).error_code(), grpc::INVALID_ARGUMENT);
  gnmi::Path module;
  module.add_elem()->set_name(std::string("shop\0x:stock", 12));
  EXPECT_EQ(select_schema(module).error_code(), grpc::NOT_FOUND);
}

TEST_F(SelectSchema, LongNamesAreCutInMessages) {
  gnmi::Path path;
  std::string name(99, 'x');
  name += "\xC3\xA9" + std::string(5000, 'y');
  path.add_elem()->set_name(name);
  EXPECT_EQ(select_schema(path).error_message(),
            "no node \"" + std::string(99, 'x') + "...\" at the top level");
}

TEST_F(SelectSchema, LongPathsEndInTime) {
  gnmi::Path path;
  for (int i = 0; i < 100000; ++i) {
    path.add_elem()->set_name("...");
    path.add_elem()->set_name("*");
  }
  EXPECT_EQ(select_schema(path).error_code(), grpc::NOT_FOUND);
}

}  // namespace
}  // namespace nexa::host
