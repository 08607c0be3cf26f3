// A store and its reference side by side: does an operation on both and compares.
#ifndef TESTS_STORE_STORE_AND_ORACLE_H_
#define TESTS_STORE_STORE_AND_ORACLE_H_

#include <memory>
#include <string>
#include <vector>

#include "store/random_case.h"
#include "store/tree_store.h"
#include "store/whole_oracle.h"

namespace nexa_test {

class StoreAndOracle {
 public:
  // Counts, and the first disagreement, go to `outcome`. `may_crash`: libyang may not survive
  // judgements over this schema, and the store may say so.
  StoreAndOracle(std::string directory, bool is_careful, bool may_crash, CaseOutcome& outcome);

  void run(const StoreOperation& operation);

  const WholeOracle& oracle() const { return oracle_; }

 private:
  struct Commit {
    std::uint64_t number = 0;
    std::string xml;   // normal
    std::string json;  // normal
    std::string text;  // the XML as the store writes it
  };

  void open();
  void set(const std::vector<nexa::store::Edit>& edits);
  void restart();
  void roll_back(std::uint64_t back);
  void adopt();  // what the store holds now is what the oracle goes on with
  void fail(const std::string& kind, const std::string& details);
  std::string store_xml() const;
  std::string store_json();

  const std::string directory_;
  const bool may_crash_;
  const bool has_hazard_;  // the store lists a constraint that libyang may die of
  WholeOracle oracle_;
  CaseOutcome& outcome_;
  std::unique_ptr<nexa::store::ConfigStore> store_;
  std::vector<Commit> commits_;
};

}  // namespace nexa_test

#endif  // TESTS_STORE_STORE_AND_ORACLE_H_
