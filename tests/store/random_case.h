// One case: a schema, and operations on a store over it, each compared with the oracle. Every case
// runs in a process of its own: a schema stays for a process, and a store may die.
#ifndef TESTS_STORE_RANDOM_CASE_H_
#define TESTS_STORE_RANDOM_CASE_H_

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "store/config_store.h"
#include "store/random_yang.h"

namespace nexa_test {

struct StoreOperation {
  enum class Kind : std::uint8_t { kSet, kRestart, kRollback };
  Kind kind = Kind::kSet;
  std::vector<nexa::store::Edit> edits;
  std::uint64_t back = 0;  // kRollback: which of the commits so far, modulo their number
};

struct CaseOutcome {
  bool is_loaded = false;  // false: libyang does not take the schema, and nothing was done
  std::uint64_t sets = 0;
  std::uint64_t accepted = 0;
  std::uint64_t refused = 0;
  std::uint64_t crashes = 0;    // judgements that libyang did not survive, and the store did
  std::uint64_t hazards = 0;    // those where a constraint is listed as one that libyang may die of
  std::uint64_t uncertain = 0;  // Sets for which libyang gives no reference
  std::uint64_t restarts = 0;
  std::uint64_t rollbacks = 0;
  std::string kind;     // of the first disagreement, in a word or two; empty: none
  std::string details;  // both answers
  std::vector<StoreOperation> operations;  // what was done, when recorded
};

struct CasePlan {
  RandomSchema schema;
  std::uint64_t seed = 0;                  // of the operations
  int sets = 0;                            // as many random Sets, or
  std::vector<StoreOperation> operations;  // these, when not empty
  bool is_careful = false;  // libyang judges where it can die; operations are recorded
  // Most cases take less than a second; under a sanitizer beside other work it is many times that.
  std::chrono::seconds patience{120};
};

// Runs a case in a child process; a death of it is a disagreement of the kind "death".
CaseOutcome run_case(const CasePlan& plan);

// A case with a disagreement of the same kind, smaller where that was quick to find.
CasePlan shrunk(const CasePlan& plan, const std::string& kind);

std::string describe(const CasePlan& plan);

}  // namespace nexa_test

#endif  // TESTS_STORE_RANDOM_CASE_H_
