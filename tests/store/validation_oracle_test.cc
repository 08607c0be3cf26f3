// The check of a change against libyang's walk over the whole tree: random modules, random changes;
// verdict and tree have to be the same.
#include <cstdlib>
#include <iostream>

#include "store/random_edit.h"
#include "store/random_module.h"
#include "store/validation_fixture.h"

namespace nexa::store {
namespace validation_oracle_test {

constexpr int kChanges = 100;

// A number that the caller of the program may choose, for more or for other modules than the suite
// judges. libyang takes about 1,000 contexts in one process.
int chosen(const char* name, int usual) {
  const char* const text = std::getenv(name);
  return text != nullptr ? std::atoi(text) : usual;
}

int modules_to_judge() { return chosen("NEXA_ORACLE_MODULES", 100); }

std::uint32_t first_seed() { return static_cast<std::uint32_t>(chosen("NEXA_ORACLE_SEED", 1)); }

struct Tally {
  int modules = 0;
  int valid = 0;
  int refused = 0;
  int same_rule = 0;
  int whole_tree = 0;
};

void run(std::uint32_t seed, bool with_chains, Tally& tally) {
  RandomSource random(seed);
  const std::string text = RandomModule(random, with_chains).text();
  if (!nexa_test::load_module("m", text).empty()) return;
  SCOPED_TRACE("seed " + std::to_string(seed) + "\n" + text);
  ++tally.modules;
  Configuration configuration;
  for (int i = 0; i < kChanges; ++i) {
    const Judgement judgement =
        configuration.change([&random](TreePtr& tree) { edit_at_random(random, tree); });
    if (::testing::Test::HasFailure()) return;
    if (judgement.outcome.needs_whole) ++tally.whole_tree;
    if (!judgement.violation()) {
      ++tally.valid;
      continue;
    }
    ++tally.refused;
    if (judgement.reference && judgement.rule() == judgement.reference->rule &&
        judgement.path() == judgement.reference->path) {
      ++tally.same_rule;
    }
  }
}

Tally run_all(bool with_chains) {
  const int wanted = modules_to_judge();
  Tally tally;
  std::uint32_t seed = first_seed();
  const std::uint32_t last = seed + 40 * static_cast<std::uint32_t>(wanted);
  while (tally.modules < wanted && seed < last) {
    run(seed++, with_chains, tally);
    if (::testing::Test::HasFailure()) break;
  }
  std::cout << tally.modules << " modules, " << tally.valid << " valid, " << tally.refused
            << " refused (" << tally.same_rule << " for the same rule), " << tally.whole_tree
            << " by the whole tree\n";
  return tally;
}

void expect_variety(const Tally& tally) {
  EXPECT_EQ(tally.modules, modules_to_judge());
  EXPECT_GT(tally.valid, tally.modules * kChanges / 5);
  EXPECT_GT(tally.refused, tally.modules * kChanges / 20);
  EXPECT_LT(tally.whole_tree, tally.modules * kChanges / 2);
  EXPECT_GT(tally.same_rule, tally.refused * 8 / 10);
}

TEST(ValidationOracle, JudgesRandomChangesAsLibyangJudgesTheWholeTree) {
  expect_variety(run_all(false));
}

// Conditions that depend on nodes with conditions of their own.
TEST(ValidationOracle, JudgesChainsOfConditionsAsTheWholeTreeIsJudged) {
  expect_variety(run_all(true));
}

// Seeds that once differed: a default container in a case whose nested choice has data, and choices
// inside of cases whose conditions libyang does not settle by itself.
TEST(ValidationOracle, JudgesSeedsThatOnceDifferedAlike) {
  Tally tally;
  for (const std::uint32_t seed : {56035U, 56644U}) run(seed, true, tally);
  run(60690, false, tally);
  EXPECT_EQ(tally.modules, 3);
  EXPECT_GT(tally.valid, 100);
}

}  // namespace validation_oracle_test
}  // namespace nexa::store
