// Which leaves show what is configured, and what readers of the store see of them.
#include "model/state_mirror.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <libyang/libyang.h>

#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "kestrel/loader.h"
#include "real/temp_folder.h"
#include "real/yang_folders.h"
#include "store/config_store.h"
#include "store/tree_snapshot.h"
#include "store/tree_store.h"
#include "support/results.h"
#include "support/targets.h"
#include "translate/path_string.h"

namespace nexa::model {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr char kModule[] = R"(module m {
  yang-version 1.1;
  namespace "urn:m";
  prefix m;
  identity kind;
  identity red { base kind; }
  grouping shared {
    leaf name { type string; }
    leaf speed { type uint64; }
    leaf mtu { type uint16; default 1500; }
    leaf kind { type identityref { base kind; } }
    leaf-list tag { type string; ordered-by user; }
    choice way { leaf left { type empty; } leaf right { type string; } }
  }
  container top {
    list entry {
      key name;
      leaf name { type leafref { path "../config/name"; } }
      container config {
        uses shared;
        leaf secret { type string; }
        leaf size { type uint32; }
      }
      container state {
        config false;
        leaf first { type string; }
        uses shared;
        leaf size { type uint64; }
        leaf last { type string; }
      }
    }
    container plain { container config { leaf only { type string; } } }
    container other { container config { leaf a { type string; } }
                      container state { config false; leaf b { type string; } } }
  }
  container config { leaf here { type int8; } }
  container state { config false; leaf here { type int8; } }
})";

std::string load(const std::string& text) {
  nexa_test::TempFolder folder;
  folder.write("m.yang", text);
  kestrel::LoadOptions options;
  options.search_dirs = {folder.path()};
  const auto error = kestrel::load(options);
  return error ? error->text() : std::string();
}

const lysc_node* find(const char* path) {
  return lys_find_path(kestrel::context(), nullptr, path, 0);
}

class StateMirrorTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(load(kModule), ""); }
};

TEST_F(StateMirrorTest, PairsLeavesOfTheSameNameAndType) {
  const StateMirror mirror;
  EXPECT_FALSE(mirror.empty());
  const auto pairs = mirror.below(find("/m:top/entry"));
  ASSERT_EQ(pairs.size(), 1U);
  EXPECT_EQ(pairs[0].config, find("/m:top/entry/config"));
  EXPECT_EQ(pairs[0].state, find("/m:top/entry/state"));
  std::vector<std::string> names;
  for (const MirroredLeaf& leaf : pairs[0].leaves) {
    EXPECT_STREQ(leaf.config->name, leaf.state->name);
    names.emplace_back(leaf.state->name);
  }
  EXPECT_THAT(names, ElementsAre("name", "speed", "mtu", "kind", "tag", "left", "right"));
  EXPECT_EQ(mirror.state_of(find("/m:top/entry/config/mtu")), find("/m:top/entry/state/mtu"));
  EXPECT_EQ(mirror.state_of(find("/m:top/entry/config/secret")), nullptr);
  EXPECT_EQ(mirror.state_of(find("/m:top/entry/config/size")), nullptr);
  EXPECT_THAT(mirror.below(find("/m:top/other")), IsEmpty());
  EXPECT_THAT(mirror.below(find("/m:top/plain")), IsEmpty());
  EXPECT_EQ(mirror.below(nullptr).size(), 1U);
}

TEST_F(StateMirrorTest, IsEmptyWithoutThePattern) {
  ASSERT_EQ(
      load("module m { namespace \"urn:m\"; prefix m; container config { leaf a { type string; "
           "} } container state { leaf a { type string; } } }"),
      "");
  EXPECT_TRUE(StateMirror().empty());
}

// Nearly all of OpenConfig follows the pattern; the leaves that do not are those whose type
// differs.
TEST(StateMirrorOpenConfig, PairsNearlyAllLeaves) {
  NEXA_NEED_FOLDER(nexa_test::openconfig_folder());
  kestrel::LoadOptions options;
  options.search_dirs = {nexa_test::openconfig_folder().path};
  const auto error = kestrel::load(options);
  ASSERT_FALSE(error) << error->text();
  const StateMirror mirror;
  std::size_t configured = 0;
  std::size_t shown = 0;
  std::vector<std::string> differing;
  const auto count = [](lysc_node* node, void* data, ly_bool*) {
    static_cast<std::vector<const lysc_node*>*>(data)->push_back(node);
    return LY_SUCCESS;
  };
  std::vector<const lysc_node*> nodes;
  std::uint32_t at = 0;
  while (const lys_module* const module = ly_ctx_get_module_iter(kestrel::context(), &at)) {
    if (module->compiled != nullptr) lysc_module_dfs_full(module, count, &nodes);
  }
  for (const lysc_node* const node : nodes) {
    const lysc_node* const parent = lysc_data_parent(node);
    if ((node->nodetype & (LYS_LEAF | LYS_LEAFLIST)) == 0 || parent == nullptr) continue;
    if ((node->flags & LYS_CONFIG_W) == 0 || std::string(parent->name) != "config") continue;
    const lysc_node* const around = lysc_data_parent(parent);
    const lysc_node* const state =
        lys_find_child(around, parent->module, "state", 0, LYS_CONTAINER, 0);
    const lysc_node* const twin = state == nullptr ? nullptr
                                                   : lys_find_child(state, node->module, node->name,
                                                                    0, LYS_LEAF | LYS_LEAFLIST, 0);
    if (twin == nullptr || (twin->flags & LYS_CONFIG_R) == 0) continue;
    ++configured;
    if (mirror.state_of(node) == twin) {
      ++shown;
    } else if (char* const path = lysc_path(twin, LYSC_PATH_LOG, nullptr, 0)) {
      differing.emplace_back(path);
      std::free(path);
    }
  }
  EXPECT_GT(shown, 2500U);
  EXPECT_EQ(shown, configured) << ::testing::PrintToString(differing);
}

// A store over the module, and operational data of a provider.
class MirroredReading : public StateMirrorTest {
 protected:
  void SetUp() override {
    StateMirrorTest::SetUp();
    store::TreeStoreOptions options;
    options.directory = folder_.file("data");
    options.mirror = &mirror_.emplace();
    store_ = nexa_test::value_of(store::open_tree_store(options));
  }

  void configure(const std::string& entry, const std::string& more = "") {
    store::CommitRequest request;
    request.edits = {{store::Edit::Kind::kUpdate,
                      {},
                      "<config><top xmlns=\"urn:m\"><entry><name>a</name><config><name>a</name>" +
                          entry + "</config></entry></top>" + more + "</config>"}};
    const store::CommitResult result = store_->commit(request);
    ASSERT_TRUE(result.status.ok()) << result.status.error_message() << result.path;
  }

  void provide(const std::string& xml) {
    state_ = nexa_test::value_of(store_->parse_state("<s>" + xml + "</s>"));
  }

  std::string read(std::string_view path, store::DataPart part = store::DataPart::kAll,
                   store::Form form = store::Form::kSubtrees) {
    translate::PathStringError error;
    store::Query query;
    query.target =
        nexa_test::target_of(*translate::parse_path_string(path, &error), Purpose::kRead);
    query.part = part;
    query.form = form;
    std::string text;
    const grpc::Status status =
        store_->snapshot()->read(query, state_.get(), [&](gnmi::Path& at, gnmi::TypedValue& value) {
          if (!text.empty()) text += '\n';
          text += translate::format_path_string(at) + "=" + value.json_ietf_val();
        });
    return status.ok() ? text : status.error_message();
  }

  nexa_test::TempFolder folder_;
  std::optional<StateMirror> mirror_;
  std::unique_ptr<store::ConfigStore> store_;
  std::shared_ptr<const store::StateTree> state_;
};

constexpr char kProvided[] =
    R"(<top xmlns="urn:m"><entry><name>a</name><state><first>1</first><mtu>1400</mtu>)"
    R"(<tag>p</tag><last>z</last></state></entry>)"
    R"(<entry><name>b</name><state><last>y</last></state></entry></top>)";

TEST_F(MirroredReading, ShowsValuesAndDefaults) {
  configure(
      "<speed>18446744073709551615</speed><kind>red</kind><left/><size>5</size>"
      "<tag>y</tag><tag>x</tag>",
      "<config xmlns=\"urn:m\"><here>-1</here></config>");
  EXPECT_EQ(read("/top/entry[name=a]/state"),
            R"(/top/entry[name=a]/state={"m:name":"a","m:speed":"18446744073709551615",)"
            R"("m:mtu":1500,"m:kind":"m:red","m:tag":["y","x"],"m:left":[null]})");
  EXPECT_EQ(read("/top/entry[name=a]/state/kind"), R"(/top/entry[name=a]/state/kind="m:red")");
  EXPECT_EQ(read("/top/entry[name=a]/state/tag"), R"(/top/entry[name=a]/state/tag=["y","x"])");
  EXPECT_EQ(read("/state/here"), "/state/here=-1");
  EXPECT_EQ(read("/top/entry[name=a]/state/size"), "");
  EXPECT_EQ(read("/top/entry[name=b]/state"), "");
}

TEST_F(MirroredReading, AProviderCountsMoreThanTheConfiguration) {
  configure("<mtu>9000</mtu><tag>x</tag><tag>y</tag><right>r</right>");
  provide(kProvided);
  EXPECT_EQ(read("/top/entry[name=a]/state"),
            R"(/top/entry[name=a]/state={"m:first":"1","m:name":"a","m:mtu":1400,"m:tag":["p"],)"
            R"("m:right":"r","m:last":"z"})");
  EXPECT_EQ(read("/top/entry[name=b]"),
            R"(/top/entry[name=b]={"m:name":"b","m:state":{"last":"y"}})");
  EXPECT_EQ(read("/top/entry[name=*]/state/mtu"), "/top/entry[name=a]/state/mtu=1400");
}

TEST_F(MirroredReading, IsStateInEveryFormOfReading) {
  configure("<mtu>9000</mtu>");
  EXPECT_EQ(read("/top", store::DataPart::kState),
            R"(/top={"m:entry":[{"name":"a","state":{"name":"a","mtu":9000}}]})");
  EXPECT_EQ(read("/top/entry", store::DataPart::kConfig),
            R"(/top/entry[name=a]={"m:name":"a","m:config":{"name":"a","mtu":9000}})");
  EXPECT_EQ(read("/top/entry[name=a]/state", store::DataPart::kConfig), "");
  EXPECT_EQ(read("/.../mtu", store::DataPart::kState), "/top/entry[name=a]/state/mtu=9000");
  EXPECT_EQ(read("/*/entry/*/mtu"),
            "/top/entry[name=a]/config/mtu=9000\n/top/entry[name=a]/state/mtu=9000");
  EXPECT_EQ(read("/top", store::DataPart::kState, store::Form::kLeaves),
            "/top/entry[name=a]/state/name=\"a\"\n/top/entry[name=a]/state/mtu=9000");
  EXPECT_EQ(read("/", store::DataPart::kState, store::Form::kLeaves),
            "/m:top/entry[name=a]/state/name=\"a\"\n/m:top/entry[name=a]/state/mtu=9000");
}

TEST_F(MirroredReading, FollowsTheConfiguration) {
  configure("<mtu>9000</mtu>");
  const auto before = store_->snapshot();
  configure("<mtu>9001</mtu>");
  EXPECT_EQ(read("/top/entry[name=a]/state/mtu"), "/top/entry[name=a]/state/mtu=9001");
  EXPECT_LT(before->number(), store_->snapshot()->number());
}

}  // namespace
}  // namespace nexa::model
