// A store over a fixed small module, for configurations that a judgement of the change alone, or
// libyang itself, is known to get wrong: the store answers as RFC 7950 says, before and after a
// start.
#ifndef TESTS_STORE_STORE_FINDINGS_H_
#define TESTS_STORE_STORE_FINDINGS_H_

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "real/temp_folder.h"
#include "store/tree_store.h"
#include "support/results.h"
#include "support/targets.h"
#include "translate/path_string.h"

namespace nexa_test::findings {

using nexa::store::CommitRequest;
using nexa::store::CommitResult;
using nexa::store::ConfigStore;
using nexa::store::Edit;

inline std::string module_of(const std::string& body) {
  return "module s { yang-version 1.1; namespace \"urn:s\"; prefix s;\n" + body + "}\n";
}

inline Edit update(const std::string& inner) {
  return {Edit::Kind::kUpdate, {}, "<config>" + inner + "</config>"};
}
inline Edit top(const std::string& inner) {
  return update("<top xmlns=\"urn:s\">" + inner + "</top>");
}
inline Edit drop(const std::string& path) {
  return {Edit::Kind::kDelete,
          nexa_test::target_of(*nexa::translate::parse_path_string(path, nullptr)), ""};
}

class StoreFindings : public testing::Test {
 protected:
  void start(const std::string& body) {
    ASSERT_EQ(load_module("s", module_of(body)), "");
    restart();
  }
  void restart() {
    store_.reset();
    nexa::store::TreeStoreOptions options;
    options.directory = folder_.file("data");
    options.sync = false;
    store_ = nexa_test::value_of(nexa::store::open_tree_store(options));
  }

  grpc::Status commit(const Edit& edit) { return commit(std::vector<Edit>{edit}); }
  grpc::Status commit(std::vector<Edit> edits) {
    if (store_ == nullptr) return {grpc::StatusCode::ABORTED, "no store"};
    CommitRequest request;
    request.edits = std::move(edits);
    return store_->commit(request).status;
  }
  // Empty for OK.
  std::string text(const Edit& edit) { return commit(edit).error_message(); }

  // All there is, with defaults.
  std::string json() const {
    if (store_ == nullptr) return "no store";
    nexa::store::Query query;
    query.encoding = gnmi::JSON_IETF;
    std::string all;
    const grpc::Status status = store_->snapshot()->read(
        query, nullptr,
        [&all](gnmi::Path& /*path*/, gnmi::TypedValue& value) { all += value.json_ietf_val(); });
    if (!status.ok()) return status.error_message();
    return all.empty() ? "{}" : all;
  }
  void expect_json(const std::string& wanted) {
    EXPECT_EQ(json(), wanted);
    restart();
    if (store_ == nullptr) return;
    EXPECT_EQ(json(), wanted) << "after a start";
  }

  TempFolder folder_;
  std::unique_ptr<ConfigStore> store_;
};

}  // namespace nexa_test::findings

#endif  // TESTS_STORE_STORE_FINDINGS_H_
