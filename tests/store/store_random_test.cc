// Random schemas, random Sets, restarts and rollbacks: the store's verdicts and its whole tree,
// with defaults, against libyang's judgement from nothing.
//   NEXA_RANDOM_SETS   how many Sets, 20,000 unless told (1,000 under sanitizers)
//   NEXA_RANDOM_SEED   the seed of the first schema
//   NEXA_RANDOM_IGNORE   kinds of disagreement that are only counted, with commas between them
//   NEXA_RANDOM_FAILURES   how many disagreements to show before the test ends, 1 unless told
//
// libyang 2.1.30 is the reference except here, where the generator leaves the expression out or
// takes no result for a reference; the first five stand in RFC 7950, the sixth in XPath 1.0:
//   7.21.5  defaults whose `when` looks at other conditional defaults: all are there while each is
//           asked. Such results count as "without a reference".
//   7.17    nodes that one module adds to a case of another one's top-level choice: not found, and
//           a default among them is a loop without end.
//   10.3.1  deref() of a leaf that is no reference, a predicate that asks for current() where it is
//           absent, preceding-sibling and preceding at the top level: libyang dies. What else it
//           dies of is INTERNAL for that Set, where the store lists the constraint as a hazard.
//   7.9.3   a document that holds an empty container below a false `when`: refused or not.
//   7.9.3   a default beside the data of a nested choice: not made, by the store neither.
//   2.1     "*" or node() with further steps behind it finds nodes that are not there.
#include <gtest/gtest.h>

#include <cstdlib>
#include <iostream>
#include <map>

#include "store/random_case.h"
#include "support/sanitized.h"

namespace nexa_test {
namespace store_random_test {

constexpr std::uint64_t kSets = kIsSanitized ? 1000 : 20000;

constexpr int kSetsOfASchema = 60;
constexpr std::uint64_t kSetsOfAHazard = 100000;

std::uint64_t number_of(const char* variable, std::uint64_t usual) {
  const char* const text = std::getenv(variable);
  return text != nullptr && *text != '\0' ? std::strtoull(text, nullptr, 10) : usual;
}

bool is_ignored(const std::string& kind) {
  const char* const text = std::getenv("NEXA_RANDOM_IGNORE");
  if (text == nullptr) return false;
  return ("," + std::string(text) + ",").find("," + kind + ",") != std::string::npos;
}

CasePlan plan_of(std::uint64_t seed) {
  CasePlan plan;
  Dice dice(seed);
  plan.schema = random_schema(dice);
  plan.seed = dice.next();
  plan.sets = kSetsOfASchema;
  return plan;
}

struct Tally {
  std::uint64_t schemas = 0;
  std::uint64_t not_loaded = 0;
  CaseOutcome sum;
  std::uint64_t hazards = 0;  // schemas
  std::map<std::string, int> kinds;

  void add(const CaseOutcome& outcome) {
    ++(outcome.is_loaded ? schemas : not_loaded);
    sum.sets += outcome.sets;
    sum.accepted += outcome.accepted;
    sum.refused += outcome.refused;
    sum.crashes += outcome.crashes;
    hazards += outcome.hazards != 0 ? 1 : 0;
    sum.uncertain += outcome.uncertain;
    sum.restarts += outcome.restarts;
    sum.rollbacks += outcome.rollbacks;
  }
};

// A disagreement, as small as it was quick to make it; empty when a second run has none, because
// what died in the first was the judgement of the oracle.
std::string report(std::uint64_t seed, const CaseOutcome& first, Tally& tally) {
  CasePlan plan = plan_of(seed);
  plan.is_careful = true;
  const CaseOutcome second = run_case(plan);
  if (second.kind.empty()) {
    if (first.kind == "death") {
      tally.add(second);
      return "";
    }
    return "seed " + std::to_string(seed) + ": " + first.kind +
           ", and not when libyang judges in a child\n" + first.details;
  }
  ++tally.kinds[second.kind];
  plan.operations = second.operations;
  const CasePlan small = shrunk(plan, second.kind);
  const CaseOutcome last = run_case(small);
  return "seed " + std::to_string(seed) + ": " + second.kind + "\n" + describe(small) +
         (last.kind == second.kind ? last.details : second.details);
}

TEST(StoreRandom, IsWhatLibyangMakesOfTheWholeTree) {
  const std::uint64_t sets = number_of("NEXA_RANDOM_SETS", kSets);
  std::uint64_t seed = number_of("NEXA_RANDOM_SEED", 1);
  const std::uint64_t most_failures = number_of("NEXA_RANDOM_FAILURES", 1);
  Tally tally;
  std::uint64_t failures = 0;
  for (; tally.sum.sets < sets && failures < most_failures; ++seed) {
    const CaseOutcome outcome = run_case(plan_of(seed));
    tally.add(outcome);
    if (outcome.kind.empty()) continue;
    if (is_ignored(outcome.kind)) {
      ++tally.kinds[outcome.kind + " (ignored)"];
      continue;
    }
    const std::string text = report(seed, outcome, tally);
    if (text.empty()) continue;
    ++failures;
    ADD_FAILURE() << text;
  }
  std::cout << tally.schemas << " schemas (" << tally.not_loaded << " more did not load), "
            << tally.sum.sets << " Sets: " << tally.sum.accepted << " accepted, "
            << tally.sum.refused << " refused, " << tally.sum.crashes
            << " whole-tree crashes survived, " << tally.hazards << " schemas with more INTERNAL, "
            << tally.sum.uncertain << " without a reference; " << tally.sum.restarts << " starts, "
            << tally.sum.rollbacks << " rollbacks\n";
  // Rare: where a Set is judged by its change, or its conditions by their order, nothing dies.
  EXPECT_LE(tally.hazards, 1 + tally.sum.sets / kSetsOfAHazard);
  for (const auto& [kind, count] : tally.kinds) std::cout << "  " << count << " " << kind << "\n";
}

}  // namespace store_random_test
}  // namespace nexa_test
