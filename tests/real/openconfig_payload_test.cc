// The generated configurations of a router: libyang takes them, alone and over each other.
#include "support/openconfig_payload.h"

#include <gtest/gtest.h>
#include <libyang/libyang.h>

#include <memory>
#include <set>
#include <string>

#include "kestrel/loader.h"
#include "real/yang_folders.h"

namespace nexa_test {
namespace {

using nexa_bench::openconfig_payload;
using nexa_bench::PayloadUnits;

struct FreeTree {
  void operator()(lyd_node* tree) const { lyd_free_all(tree); }
};
using Tree = std::unique_ptr<lyd_node, FreeTree>;

class OpenconfigPayload : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    kestrel::LoadOptions options;
    options.search_dirs = {openconfig_folder().path};
    if (has_modules(openconfig_folder())) loaded_ = !kestrel::load(options);
  }

  void SetUp() override {
    NEXA_NEED_FOLDER(openconfig_folder());
    ASSERT_TRUE(loaded_);
  }

  // Null, with the reason as a failure, when libyang does not take the text.
  static Tree parse(const std::string& json, std::uint32_t options) {
    lyd_node* tree = nullptr;
    const LY_ERR fault = lyd_parse_data_mem(
        kestrel::context(), json.c_str(), LYD_JSON, LYD_PARSE_STRICT | options,
        (options & LYD_PARSE_ONLY) != 0 ? 0 : LYD_VALIDATE_PRESENT | LYD_VALIDATE_NO_STATE, &tree);
    EXPECT_EQ(fault, LY_SUCCESS) << ly_errmsg(kestrel::context()) << " "
                                 << ly_errpath(kestrel::context());
    return Tree(tree);
  }

  // The paths of all list entries, keys included.
  static std::set<std::string> entries(const lyd_node* tree) {
    std::set<std::string> paths;
    const lyd_node* top = nullptr;
    LY_LIST_FOR(tree, top) {
      const lyd_node* node = nullptr;
      LYD_TREE_DFS_BEGIN(top, node) {
        if (node->schema->nodetype == LYS_LIST) {
          char* path = lyd_path(node, LYD_PATH_STD, nullptr, 0);
          paths.insert(path);
          free(path);
        }
        LYD_TREE_DFS_END(top, node);
      }
    }
    return paths;
  }

 private:
  static bool loaded_;
};

bool OpenconfigPayload::loaded_ = false;

TEST_F(OpenconfigPayload, IsValidAtEverySize) {
  for (const std::size_t bytes : {std::size_t{1}, std::size_t{100'000}, std::size_t{1'000'000}}) {
    for (const std::uint32_t seed : {1U, 2U, 3U}) {
      EXPECT_NE(parse(openconfig_payload(bytes, seed), 0), nullptr) << bytes << " " << seed;
    }
  }
}

TEST_F(OpenconfigPayload, HasTheSizeThatIsAskedFor) {
  for (const std::size_t bytes : {std::size_t{100'000}, std::size_t{1'000'000}}) {
    const double size = static_cast<double>(openconfig_payload(bytes, 2).size());
    EXPECT_GT(size, 0.8 * static_cast<double>(bytes));
    EXPECT_LT(size, 1.2 * static_cast<double>(bytes));
  }
}

TEST_F(OpenconfigPayload, ASeedGivesTheSameTextAgain) {
  EXPECT_EQ(openconfig_payload(50'000, 7), openconfig_payload(50'000, 7));
}

TEST_F(OpenconfigPayload, AnotherSeedGivesOtherValuesUnderTheSameKeys) {
  const std::string one = openconfig_payload(200'000, 1);
  const std::string two = openconfig_payload(200'000, 2);
  EXPECT_NE(one, two);
  const Tree first = parse(one, LYD_PARSE_ONLY);
  const Tree second = parse(two, LYD_PARSE_ONLY);
  EXPECT_EQ(entries(first.get()), entries(second.get()));
  EXPECT_GT(entries(first.get()).size(), 500U);
}

TEST_F(OpenconfigPayload, LaterUnitsAreValidOverTheFirst) {
  const Tree base = parse(openconfig_payload(PayloadUnits{0, 3, 1}), LYD_PARSE_ONLY);
  const Tree more = parse(openconfig_payload(PayloadUnits{2, 20, 5}), LYD_PARSE_ONLY);
  lyd_node* all = nullptr;
  ASSERT_EQ(lyd_dup_siblings(base.get(), nullptr, LYD_DUP_RECURSIVE, &all), LY_SUCCESS);
  ASSERT_EQ(lyd_merge_siblings(&all, more.get(), 0), LY_SUCCESS);
  EXPECT_EQ(lyd_validate_all(&all, nullptr, LYD_VALIDATE_PRESENT | LYD_VALIDATE_NO_STATE, nullptr),
            LY_SUCCESS);
  const Tree owner(all);
}

}  // namespace
}  // namespace nexa_test
