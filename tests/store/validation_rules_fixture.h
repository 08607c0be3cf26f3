// A small module and changes to its data, judged both ways; the texts of what is refused.
#ifndef TESTS_STORE_VALIDATION_RULES_FIXTURE_H_
#define TESTS_STORE_VALIDATION_RULES_FIXTURE_H_

#include <functional>
#include <memory>
#include <string>

#include "store/validation_fixture.h"

namespace nexa::store {

class ValidationRulesFixture : public ::testing::Test {
 protected:
  // Loads `module m` with this body and sets the tree.
  void start(const std::string& body, const std::string& xml) {
    const std::string error = nexa_test::load_module(
        "m", "module m { yang-version 1.1; namespace \"urn:m\"; prefix m;" + body + "}");
    ASSERT_EQ(error, "");
    configuration_ = std::make_unique<Configuration>();
    configuration_->set(xml.empty() ? "" : in_c(xml));
  }

  static std::string in_c(const std::string& xml) { return "<c xmlns=\"urn:m\">" + xml + "</c>"; }

  // Merges below /m:c; the check of the change has to be enough.
  std::string merge(const std::string& xml) { return verdict(configuration_->merge(in_c(xml))); }
  std::string change(const std::function<void(TreePtr&)>& edit) {
    return verdict(configuration_->change(edit));
  }
  std::string remove(const std::string& path) { return verdict(configuration_->remove(path)); }

  std::string verdict(const Judgement& judgement) {
    EXPECT_EQ(judgement.outcome.needs_whole, is_whole_);
    if (!judgement.violation()) return "valid";
    if (judgement.reference) {
      EXPECT_EQ(judgement.rule(), judgement.reference->rule);
      EXPECT_EQ(judgement.path(), judgement.reference->path);
    }
    return judgement.path() + ": " + judgement.rule();
  }

  bool has(const std::string& path) const {
    lyd_node* node = nullptr;
    return lyd_find_path(configuration_->tree(), path.c_str(), 0, &node) == LY_SUCCESS;
  }

  std::unique_ptr<Configuration> configuration_;
  bool is_whole_ = false;  // the changes to come can only be judged with the whole tree
};

}  // namespace nexa::store

#endif  // TESTS_STORE_VALIDATION_RULES_FIXTURE_H_
