// The check of a change against libyang's walk over the whole tree: random modules, random changes;
// verdict, tree and reported changes have to be the same.
#include <iostream>

#include "store/random_edit.h"
#include "store/random_module.h"
#include "store/validation_fixture.h"

namespace nexa::host {
namespace {

constexpr int kModules = 100;
constexpr int kChanges = 100;

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
    if (judgement.outcome.whole_tree) ++tally.whole_tree;
    if (!judgement.outcome.violation) {
      ++tally.valid;
      continue;
    }
    ++tally.refused;
    if (judgement.rule() == judgement.reference.violation->rule &&
        judgement.path() == judgement.reference.violation->path) {
      ++tally.same_rule;
    }
  }
}

Tally run_all(std::uint32_t first_seed, bool with_chains) {
  Tally tally;
  std::uint32_t seed = first_seed;
  while (tally.modules < kModules && seed < first_seed + 40 * kModules) {
    run(seed++, with_chains, tally);
    if (::testing::Test::HasFailure()) break;
  }
  std::cout << tally.modules << " modules, " << tally.valid << " valid, " << tally.refused
            << " refused (" << tally.same_rule << " for the same rule), " << tally.whole_tree
            << " by the whole tree\n";
  return tally;
}

TEST(ValidationOracle, JudgesRandomChangesAsLibyangJudgesTheWholeTree) {
  const Tally tally = run_all(1, false);
  EXPECT_EQ(tally.modules, kModules);
  EXPECT_GT(tally.valid, kModules * kChanges / 5);
  EXPECT_GT(tally.refused, kModules * kChanges / 20);
  EXPECT_LT(tally.whole_tree, kModules * kChanges / 3);
  EXPECT_GT(tally.same_rule, tally.refused * 8 / 10);
}

}  // namespace
}  // namespace nexa::host
