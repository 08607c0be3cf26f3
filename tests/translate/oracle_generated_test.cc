// Generated updates against the oracle: what the layer stores is the tree that libyang reads from
// the JSON, and strict verdicts are libyang's. NEXA_ORACLE_UPDATES sets the number of updates over
// all sets, NEXA_ORACLE_SEED the seed.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "kestrel/loader.h"
#include "real/yang_folders.h"
#include "support/instance_generator.h"
#include "support/translate_oracle.h"

namespace nexa_test {
namespace {

using nexa::translate::Operation;
using nexa::translate::Translation;

struct ModuleSet {
  const char* name;
  std::vector<std::string> folders;
  int share;  // of the updates, in percent
};

std::size_t from_environment(const char* variable, std::size_t usual) {
  const char* text = std::getenv(variable);
  return text != nullptr ? std::strtoul(text, nullptr, 10) : usual;
}

bool is_config_leaf(const lysc_node* node) {
  return (node->nodetype & (LYS_LEAF | LYS_LEAFLIST)) != 0 && (node->flags & LYS_CONFIG_W) != 0;
}

// One row of the report.
struct Coverage {
  std::string set;
  std::size_t updates = 0;
  std::size_t nodes = 0;
  std::size_t nodes_covered = 0;
  std::size_t leaves = 0;
  std::size_t leaves_covered = 0;
  std::size_t leaves_without_value = 0;  // an identity that no loaded module derives
};

std::vector<Coverage>& report() {
  static std::vector<Coverage> rows;
  return rows;
}

class GeneratedOracle : public testing::TestWithParam<ModuleSet> {
 protected:
  void SetUp() override {
    std::vector<std::string> folders;
    for (const std::string& folder : GetParam().folders) {
      const YangFolder needed{"", folder};
      if (!has_modules(needed)) GTEST_SKIP() << absent(needed);
      folders.push_back(folder);
    }
    std::string error;
    set_ = std::make_unique<LoadedSet>(folders, std::vector<std::string>(), error);
    ASSERT_EQ(error, "");
  }

  static void TearDownTestSuite() {
    std::printf("%-12s %9s %15s %15s %10s\n", "set", "updates", "nodes covered", "config leaves",
                "no value");
    for (const Coverage& row : report()) {
      std::printf("%-12s %9zu %7zu of %4zu %7zu of %4zu %10zu\n", row.set.c_str(), row.updates,
                  row.nodes_covered, row.nodes, row.leaves_covered, row.leaves,
                  row.leaves_without_value);
    }
  }

  std::size_t share_of(std::size_t updates) const {
    return updates * static_cast<std::size_t>(GetParam().share) / 100;
  }

  std::unique_ptr<LoadedSet> set_;
};

TEST_P(GeneratedOracle, ValidUpdatesAreStoredAsLibyangReadsThem) {
  const std::size_t wanted = share_of(from_environment("NEXA_ORACLE_UPDATES", 5000));
  InstanceGenerator generator(kestrel::context(),
                              static_cast<std::uint32_t>(from_environment("NEXA_ORACLE_SEED", 1)));
  const std::vector<const lysc_node*> nodes = data_nodes(kestrel::context());
  std::vector<const lysc_node*> leaves;
  for (const lysc_node* node : nodes) {
    if ((node->nodetype & (LYS_LEAF | LYS_LEAFLIST)) != 0) leaves.push_back(node);
  }
  const auto state = std::stable_partition(leaves.begin(), leaves.end(), is_config_leaf);
  const auto config_leaves = static_cast<std::size_t>(state - leaves.begin());

  Coverage row;
  row.set = GetParam().name;
  std::size_t failures = 0;
  for (std::size_t turn = 0; (row.updates < wanted || turn < 3 * config_leaves) && failures < 20;
       ++turn) {
    // What is not covered yet comes first; afterwards every leaf has its turn again.
    const bool first_rounds = turn < 3 * config_leaves;
    const lysc_node* leaf = leaves[turn % (first_rounds ? config_leaves : leaves.size())];
    if (first_rounds && generator.covered().count(leaf) != 0) continue;
    const Forms forms = turn % 2 == 0 ? Forms::kStrict : Forms::kTolerant;
    const auto made = generator.update_with(leaf, forms);
    if (!made) continue;
    const JsonVerdict expected = read_json(made->whole_tree);
    ASSERT_TRUE(expected.accepted) << expected.reason << "\n" << made->whole_tree;
    gnmi::Update update;
    *update.mutable_path() = made->path;
    update.mutable_val()->set_json_ietf_val(made->json);
    UpdateDoor& translator = forms == Forms::kStrict ? set_->strict() : set_->tolerant();
    const Translation got = translator.translate(gnmi::Path(), update, Operation::kUpdate);
    ++row.updates;
    std::string problem = got.status.error_message();
    if (got.status.ok()) {
      add_twins(expected.tree.get(),
                translator.resolver()
                    .resolve(gnmi::Path(), made->path, nexa::model::Purpose::kWrite)
                    .value());
      const Tree actual = read_config(got.xml, problem);
      if (problem.empty()) problem = difference(expected.tree.get(), actual.get());
    }
    if (problem.empty()) continue;
    ++failures;
    ADD_FAILURE() << problem.substr(0, 3000) << "\npath: " << made->path.ShortDebugString()
                  << "\nvalue: " << made->json.substr(0, 2000);
  }
  row.nodes = nodes.size();
  std::string uncovered;
  for (const lysc_node* node : nodes) {
    const bool covered = generator.covered().count(node) != 0;
    row.nodes_covered += covered ? 1 : 0;
    if (!is_config_leaf(node)) continue;
    ++row.leaves;
    row.leaves_covered += covered ? 1 : 0;
    row.leaves_without_value += !covered && !can_have_value(node) ? 1 : 0;
    if (covered || !can_have_value(node)) continue;
    char* path = lysc_path(node, LYSC_PATH_DATA, nullptr, 0);
    uncovered += std::string("\n  ") + path;
    std::free(path);
  }
  report().push_back(row);
  EXPECT_EQ(row.leaves_covered + row.leaves_without_value, row.leaves)
      << "config leaves without an update:" << uncovered;
  EXPECT_EQ(failures, 0U);
}

// What libyang's parser takes although RFC 7951 or RFC 8259 forbid it, and what the store cannot
// hold.
bool explained(const std::string& refusal) {
  for (const char* reason : {"the member is there twice", "bytes after the document",
                             "metadata (RFC 7952) is not stored",
                             "an escape needs four hexadecimal digits", "unknown module \"\""}) {
    if (refusal.find(reason) != std::string::npos) return true;
  }
  return false;
}

TEST_P(GeneratedOracle, StrictVerdictsOnDamagedTreesAreThoseOfLibyang) {
  const std::size_t wanted = share_of(from_environment("NEXA_ORACLE_UPDATES", 5000));
  InstanceGenerator generator(kestrel::context(), 7);
  const std::vector<const lysc_node*> nodes = data_nodes(kestrel::context());
  std::size_t done = 0;
  std::size_t failures = 0;
  std::size_t refused = 0;
  for (std::size_t turn = 0; done < wanted && failures < 20 && turn < wanted * 4; ++turn) {
    const lysc_node* node = nodes[(turn * 7919) % nodes.size()];
    if ((node->nodetype & (LYS_LEAF | LYS_LEAFLIST)) == 0) continue;
    const auto made = generator.update_with(node, Forms::kStrict);
    if (!made) continue;
    ++done;
    const std::string json = generator.damaged(made->whole_tree);
    const JsonVerdict expected = read_json(json);
    gnmi::Update update;
    update.mutable_path();
    update.mutable_val()->set_json_ietf_val(json);
    const Translation got = set_->strict().translate(gnmi::Path(), update, Operation::kReplace);
    refused += got.status.ok() ? 0 : 1;
    if (!got.status.ok() && explained(got.status.error_message())) continue;
    std::string problem;
    if (got.status.ok() != expected.accepted) {
      problem = "libyang: " + (expected.accepted ? "accepted" : expected.reason) +
                "\nlayer: " + (got.status.ok() ? "accepted" : got.status.error_message());
    } else if (expected.accepted) {
      const Tree actual = read_config(got.xml, problem);
      if (problem.empty()) problem = difference(expected.tree.get(), actual.get());
    }
    if (problem.empty()) continue;
    ++failures;
    ADD_FAILURE() << problem.substr(0, 1500) << "\nJSON: " << json.substr(0, 1500);
  }
  EXPECT_EQ(failures, 0U);
  EXPECT_GT(refused, done / 10);
}

const std::vector<ModuleSet> kSets = {
    {"openconfig", {openconfig_folder().path}, 60},
    {"ietf", {ietf_nmda_folder().path, ietf_folder().path}, 20},
    {"frr", {frr_folder().path}, 10},
    {"examples", {NEXA_SOURCE_DIR "/models"}, 10},
};

INSTANTIATE_TEST_SUITE_P(Sets, GeneratedOracle, testing::ValuesIn(kSets),
                         [](const auto& set) { return std::string(set.param.name); });

}  // namespace
}  // namespace nexa_test
