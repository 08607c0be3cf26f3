// Which paths does the schema have, what do they mean, and what is said of the others?
#include "model/resolver.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <libyang/libyang.h>

#include "kestrel/loader.h"
#include "store/shop_models.h"
#include "support/targets.h"
#include "translate/path_string.h"

namespace nexa::model {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using translate::parse_path_string;
using translate::PathStringError;

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

class ResolverTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { nexa_test::load_shop(); }

  static text::Result<Target> resolve(const gnmi::Path& path, Mode mode = Mode::kTolerant,
                                      Purpose purpose = Purpose::kRead) {
    const nexa_test::LoadedModel& model = nexa_test::loaded_model();
    return (mode == Mode::kStrict ? model.strict : model.tolerant)
        .resolve(gnmi::Path(), path, purpose);
  }

  // The nodes that the last step can mean.
  static std::vector<std::string> nodes(std::string_view text, Mode mode = Mode::kTolerant) {
    const text::Result<Target> target = resolve(path_of(text), mode);
    if (!target.ok()) return {target.failure().rule};
    std::vector<std::string> names;
    if (target.value().is_root()) return names;
    for (const TargetNode& node : target.value().steps.back().nodes) {
      EXPECT_EQ(node.schema, target.value().model->compiled(node.node));
      names.push_back(std::string(node.schema->module->name) + ":" + node.schema->name);
    }
    return names;
  }

  // "" for a path that the schema has, else the refusal.
  static std::string refusal(std::string_view text, Mode mode = Mode::kTolerant,
                             Purpose purpose = Purpose::kRead) {
    const text::Result<Target> target = resolve(path_of(text), mode, purpose);
    return target.ok() ? "" : target.failure().rule;
  }

  // The canonical values of the keys of the last step.
  static std::vector<std::string> keys(std::string_view text, Mode mode = Mode::kTolerant) {
    const text::Result<Target> target = resolve(path_of(text), mode);
    if (!target.ok()) return {target.failure().rule};
    std::vector<std::string> values;
    for (const TargetKey& key : target.value().last().keys) values.push_back(key.canonical);
    return values;
  }
};

TEST_F(ResolverTest, NamesOfTheTopLevel) {
  EXPECT_THAT(nodes("/shop:stock"), ElementsAre("shop:stock"));
  EXPECT_THAT(nodes("/only-here"), ElementsAre("shop-more:only-here"));
  EXPECT_THAT(nodes("/"), IsEmpty());
}

TEST_F(ResolverTest, ChoicesAreLookedThrough) {
  EXPECT_THAT(nodes("/stock/coins"), ElementsAre("shop:coins"));
  EXPECT_THAT(nodes("/shop:stock/card/number"), ElementsAre("shop:number"));
}

TEST_F(ResolverTest, WildcardsMeanManyNodes) {
  EXPECT_THAT(nodes("/stock/shop-more:*"), ElementsAre("shop-more:owner", "shop-more:season"));
  EXPECT_THAT(nodes("/.../width"), ElementsAre("shop:width"));
  EXPECT_THAT(nodes("/.../season"), SizeIs(2));
  EXPECT_THAT(nodes("/stock/*[name=a]"), ElementsAre("shop:item"));
}

TEST_F(ResolverTest, RefusalsNameTheElement) {
  const Verdict verdicts[] = {
      {"/shop:stock/colour", grpc::NOT_FOUND, "no node \"colour\" below \"/shop:stock\""},
      {"/shop:stock/item[name=a]/colour", grpc::NOT_FOUND,
       "no node \"colour\" below \"/shop:stock/item\""},
      {"/nothing", grpc::NOT_FOUND, "no node \"nothing\" at the top of the schema"},
      {"/other:stock", grpc::NOT_FOUND, "unknown module \"other\""},
      {"/shop:stock/other:owner", grpc::NOT_FOUND, "unknown module \"other\""},
      {"/shop-more:stock", grpc::NOT_FOUND, "no node \"shop-more:stock\" at the top of the schema"},
      {"/shop:stock/choice", grpc::NOT_FOUND, "no node \"choice\" below \"/shop:stock\""},
      {"/shop:stock/payment", grpc::NOT_FOUND, "no node \"payment\" below \"/shop:stock\""},
      {"/stock/owner/x", grpc::NOT_FOUND, "no node \"x\" below \"/stock/owner\""},
      {"/restock", grpc::NOT_FOUND, "no node \"restock\" at the top of the schema"},
      {"/restock/input/item", grpc::NOT_FOUND, "no node \"restock\" at the top of the schema"},
      {"/sold-out", grpc::NOT_FOUND, "no node \"sold-out\" at the top of the schema"},
      {"/schema-mounts", grpc::NOT_FOUND, "no node \"schema-mounts\" at the top of the schema"},
      {"/values/any/x", grpc::NOT_FOUND, "no node \"x\" below \"/values/any\""},
      {"/shelf", grpc::INVALID_ARGUMENT,
       "the name \"shelf\" has more than one meaning at the top of the schema: shop:shelf, "
       "shop-more:shelf"},
      {"/stock/season", grpc::INVALID_ARGUMENT,
       "the name \"season\" has more than one meaning below \"/stock\": shop-more:season, "
       "shop-twin:season"},
      {"/stock[name=a]", grpc::INVALID_ARGUMENT, "\"/stock\" has no keys"},
      {"/stock/owner[x=a]", grpc::INVALID_ARGUMENT, "\"/stock/owner\" has no keys"},
      {"/stock/event[what=a]", grpc::INVALID_ARGUMENT, "\"/stock/event\" has no keys"},
      {"/stock/item[price=1]", grpc::INVALID_ARGUMENT, "\"/stock/item\" has no key \"price\""},
      {"/stock/item[shop-more:name=1]", grpc::INVALID_ARGUMENT,
       "\"/stock/item\" has no key \"shop-more:name\""},
      {"/stock/item[name=a][shop:name=b]", grpc::INVALID_ARGUMENT,
       "\"/stock/item\" key \"name\": given twice"},
      {"/stock/item[name=a]/part[id=x][kind=red]", grpc::INVALID_ARGUMENT,
       "\"/stock/item/part\" key \"id\": Invalid type uint16 value \"x\"."},
      {"/stock/item[name=a]/part[id=1][kind=pink]", grpc::INVALID_ARGUMENT,
       "\"/stock/item/part\" key \"kind\": Invalid identityref \"pink\" value - "
       "identity not found in module \"shop\"."},
      {"/stock/door[.=300]", grpc::INVALID_ARGUMENT,
       "\"/stock/door\" key \".\": Value \"300\" is out of type uint8 min/max "
       "bounds."},
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
    const text::Result<Target> target = resolve(path_of(verdict.path));
    ASSERT_FALSE(target.ok()) << verdict.path;
    EXPECT_EQ(target.failure().code, verdict.code) << verdict.path;
    EXPECT_EQ(target.failure().rule, verdict.message) << verdict.path;
  }
}

TEST_F(ResolverTest, EmptyNamesAreRefused) {
  gnmi::Path path;
  path.add_elem();
  EXPECT_EQ(resolve(path).failure().rule, "path element 1: a name is \"name\" or \"module:name\"");
}

TEST_F(ResolverTest, ValuesWithStarOrWithoutAreAccepted) {
  for (const char* path :
       {"/stock/item", "/stock/item[name=*]", "/stock/item/part[id=*]", "/stock/item/part[id=07]",
        "/stock/item/part[kind=shop-more:blue]", "/stock/item/part[kind=red]", "/stock/door[.=*]",
        "/shop:stock/item[shop:name=x]", "/*", "/...", "/stock/.../seen"}) {
    EXPECT_EQ(refusal(path), "") << path;
  }
}

TEST_F(ResolverTest, TextsOfAnyKindAreOnlyNames) {
  for (const char* text : {"/m:c/l[k", "a' or '1'='1", "x\x01", "..", ".", "//", "[", "a:b:c",
                           "shop:stock/owner", "%s%n", "\xC3\xA9"}) {
    gnmi::Path path;
    path.add_elem()->set_name(text);
    EXPECT_EQ(resolve(path).failure().code, grpc::NOT_FOUND) << text;
    gnmi::Path keyed = path_of("/stock/item/part");
    (*keyed.mutable_elem(2)->mutable_key())["kind"] = text;
    EXPECT_EQ(resolve(keyed).failure().code, grpc::INVALID_ARGUMENT) << text;
  }
}

TEST_F(ResolverTest, NulIsNoPartOfAValue) {
  gnmi::Path path = path_of("/stock/item");
  (*path.mutable_elem(1)->mutable_key())["name"] = std::string("a\0b", 3);
  EXPECT_EQ(resolve(path).failure().code, grpc::INVALID_ARGUMENT);
  gnmi::Path module;
  module.add_elem()->set_name(std::string("shop\0x:stock", 12));
  EXPECT_EQ(resolve(module).failure().code, grpc::NOT_FOUND);
}

TEST_F(ResolverTest, LongNamesAreCutInMessages) {
  gnmi::Path path;
  std::string name(99, 'x');
  name += "\xC3\xA9" + std::string(5000, 'y');
  path.add_elem()->set_name(name);
  EXPECT_EQ(resolve(path).failure().rule,
            "no node \"" + std::string(99, 'x') + "...\" at the top of the schema");
}

TEST_F(ResolverTest, LongPathsEndInTime) {
  gnmi::Path path;
  for (int i = 0; i < 100000; ++i) {
    path.add_elem()->set_name("...");
    path.add_elem()->set_name("*");
  }
  EXPECT_EQ(resolve(path).failure().code, grpc::NOT_FOUND);
}

TEST_F(ResolverTest, OneNodeInEverySpelling) {
  for (const char* path :
       {"/stock/card/number", "/shop:stock/card/number", "/s:stock/s:card/number",
        "/shop:stock/shop:card/s:number", "/stock/s:card/shop:number"}) {
    EXPECT_THAT(nodes(path), ElementsAre("shop:number")) << path;
  }
  EXPECT_THAT(nodes("/stock/m:owner"), ElementsAre("shop-more:owner"));
  EXPECT_THAT(nodes("/stock/m:*"), ElementsAre("shop-more:owner", "shop-more:season"));
}

TEST_F(ResolverTest, OneEntryInEverySpellingOfAnIdentity) {
  const std::string part = "/stock/item[name=a]/part[id=1]";
  for (const char* kind : {"blue", "shop-more:blue", "m:blue"}) {
    EXPECT_THAT(keys(part + "[kind=" + kind + "]"), ElementsAre("1", "shop-more:blue")) << kind;
  }
  for (const char* kind : {"red", "shop:red", "s:red"}) {
    EXPECT_THAT(keys(part + "[s:kind=" + kind + "]"), ElementsAre("1", "shop:red")) << kind;
  }
  EXPECT_THAT(keys("/stock/item[name=a]/part[id=007][kind=red]"), ElementsAre("7", "shop:red"));
}

TEST_F(ResolverTest, StrictModeTakesWhatRfc7951Takes) {
  const auto strict = [](std::string_view path) { return refusal(path, Mode::kStrict); };
  EXPECT_EQ(strict("/shop:stock/card/number"), "");
  EXPECT_EQ(strict("/shop:stock/shop-more:owner"), "");
  EXPECT_EQ(strict("/stock"), "the top-level name \"stock\" needs its module in front");
  EXPECT_EQ(strict("/s:stock"), "unknown module \"s\"");
  EXPECT_EQ(strict("/shop:stock/season"),
            "no node \"season\" of module \"shop\" below \"/shop:stock\"");
  const std::string part = "/shop:stock/item[name=a]/part[id=1]";
  EXPECT_EQ(strict(part + "[kind=red]"), "");
  EXPECT_EQ(strict(part + "[kind=shop-more:blue]"), "");
  EXPECT_NE(strict(part + "[kind=blue]"), "");
  EXPECT_NE(strict(part + "[kind=m:blue]"), "");
}

TEST_F(ResolverTest, AWriteNamesOneNode) {
  const auto write = [](std::string_view path) {
    return refusal(path, Mode::kTolerant, Purpose::kWrite);
  };
  EXPECT_EQ(write("/stock/item"), "");
  EXPECT_EQ(write("/stock/item[name=a]"), "");
  EXPECT_EQ(write("/stock/door[.=7]"), "");
  EXPECT_EQ(write("/stock/item/price"), "\"/stock/item\" needs the key \"name\"");
  EXPECT_EQ(write("/stock/item[name=a]/part[id=1]"), "\"/stock/item/part\" needs the key \"kind\"");
  EXPECT_EQ(write("/stock/*"), "an update or replace names one node, not a wildcard");
  EXPECT_EQ(write("/stock/.../owner"), "an update or replace names one node, not a wildcard");
  EXPECT_EQ(write("/stock/item[name=*]"), "an update or replace names one node, not a wildcard");
}

TEST_F(ResolverTest, KeysKeepTheClientsSpellingBesideTheirOwn) {
  const text::Result<Target> target = resolve(
      path_of("/stock/item[shop:name=a]/part[kind=blue][id=01]"), Mode::kTolerant, Purpose::kWrite);
  ASSERT_TRUE(target.ok());
  const std::vector<TargetKey>& keys = target.value().last().keys;
  ASSERT_THAT(keys, SizeIs(2));
  EXPECT_EQ(keys[0].sent, "01");
  EXPECT_EQ(keys[0].text(), "1");
  EXPECT_EQ(keys[1].sent, "blue");
  EXPECT_EQ(keys[1].given, "shop-more:blue");
  EXPECT_EQ(keys[1].text(), "m:blue");
  EXPECT_EQ(target.value().steps[1].nodes.front().keys.front().name, "shop:name");
}

TEST_F(ResolverTest, OriginsBoundThePathOrAreRefused) {
  const auto with = [](const char* origin, const char* text, Mode mode = Mode::kTolerant) {
    gnmi::Path path = path_of(text);
    path.set_origin(origin);
    const text::Result<Target> target = resolve(path, mode);
    if (!target.ok()) return target.failure().rule;
    const TargetStep& last = target.value().steps.back();
    std::string found = last.unlimited ? "all" : "";
    for (const TargetNode& node : last.nodes) found += node.schema->module->name;
    return found;
  };
  EXPECT_EQ(with("", "/shop:shelf"), "shop");
  EXPECT_EQ(with("rfc7951", "/shop:shelf"), "shop");
  EXPECT_EQ(with("shop", "/shelf"), "shop");
  EXPECT_EQ(with("shop-more", "/shelf"), "shop-more");
  EXPECT_EQ(with("shop-more", "/shop:shelf"), "shop");
  EXPECT_EQ(with("shop-more", "/"), "all");
  EXPECT_EQ(with("shop-more", "/stock"), "no node \"stock\" at the top of origin \"shop-more\"");
  EXPECT_EQ(with("openconfig", "/stock"), "no node \"stock\" at the top of origin \"openconfig\"");
  EXPECT_EQ(with("cli", "/stock"),
            "origin \"cli\" not supported, the served ones are \"openconfig\", \"rfc7951\", the "
            "names of modules and none");
  EXPECT_EQ(with("shop", "/shop:shelf", Mode::kStrict),
            "origin \"shop\" not supported, the served ones are \"openconfig\", \"rfc7951\" and "
            "none");
}

TEST_F(ResolverTest, OriginAndTargetStandInOnePlace) {
  const Resolver& resolver = nexa_test::loaded_model().tolerant;
  gnmi::Path prefix;
  gnmi::Path path = path_of("/shop:stock");
  path.set_target("box");
  EXPECT_EQ(resolver.resolve(prefix, path, Purpose::kRead).failure().rule,
            "a target is taken in the prefix only");
  path.clear_target();
  prefix.set_target("box");
  prefix.set_origin("rfc7951");
  EXPECT_TRUE(resolver.resolve(prefix, path, Purpose::kRead).ok());
  for (const char* origin : {"rfc7951", "openconfig"}) {
    path.set_origin(origin);
    const text::Result<Target> twice = resolver.resolve(prefix, path, Purpose::kRead);
    ASSERT_FALSE(twice.ok());
    EXPECT_EQ(twice.failure().code, grpc::INVALID_ARGUMENT);
    EXPECT_EQ(twice.failure().rule, "an origin stands in the prefix or in the paths, not in both");
  }
}

TEST_F(ResolverTest, APrefixIsJoined) {
  const text::Result<Target> target = nexa_test::loaded_model().tolerant.resolve(
      path_of("/stock/item[name=a]"), path_of("/size/width"), Purpose::kWrite);
  ASSERT_TRUE(target.ok());
  EXPECT_EQ(target.value().path.elem_size(), 4);
  EXPECT_STREQ(target.value().last().schema->name, "width");
}

TEST_F(ResolverTest, OperationalDataAreKnown) {
  EXPECT_TRUE(resolve(path_of("/stock/event")).value().only_state);
  EXPECT_TRUE(resolve(path_of("/.../sold")).value().only_state);
  EXPECT_FALSE(resolve(path_of("/stock/*")).value().only_state);
  EXPECT_FALSE(resolve(path_of("/")).value().only_state);
}

TEST_F(ResolverTest, EveryRecordHasItsCompiledNode) {
  const Schema& schema = nexa_test::loaded_model().schema;
  std::size_t count = 0;
  std::vector<kestrel_cs_node*> open(schema.names().tops());
  while (!open.empty()) {
    kestrel_cs_node* const record = open.back();
    open.pop_back();
    const lysc_node* const compiled = schema.compiled(record);
    ASSERT_NE(compiled, nullptr) << local_name(record);
    EXPECT_STREQ(compiled->name, local_name(record));
    EXPECT_EQ(schema.record(compiled), record);
    ++count;
    for (kestrel_cs_node* child = record->children; child != nullptr; child = child->next) {
      open.push_back(child);
    }
  }
  EXPECT_EQ(count, kestrel::node_count());
}

}  // namespace
}  // namespace nexa::model
