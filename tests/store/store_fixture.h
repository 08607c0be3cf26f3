// A store over a small module, in folders of its own; edits written as XML and path strings.
#ifndef TESTS_STORE_STORE_FIXTURE_H_
#define TESTS_STORE_STORE_FIXTURE_H_

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "real/temp_folder.h"
#include "store/change.h"
#include "store/config_store.h"
#include "store/tree_store.h"
#include "store_module.h"
#include "support/results.h"
#include "support/targets.h"
#include "translate/path_string.h"
#include "tree_content.h"

namespace nexa_test {

using nexa::store::CommitRequest;
using nexa::store::CommitResult;
using nexa::store::ConfigStore;
using nexa::store::Edit;

inline gnmi::Path path_of(const std::string& text) {
  nexa::translate::PathStringError error;
  const auto path = nexa::translate::parse_path_string(text, &error);
  EXPECT_TRUE(path.has_value()) << text << ": " << error.text();
  return path.value_or(gnmi::Path());
}

// `inner` stands in the container of the test module.
inline std::string in_top(const std::string& inner) {
  return "<?xml version=\"1.0\"?>\n<config><top xmlns=\"urn:s\">" + inner + "</top></config>";
}
inline Edit update(const std::string& inner) { return {Edit::Kind::kUpdate, {}, in_top(inner)}; }
inline Edit put(const std::string& path, const std::string& inner) {
  return {Edit::Kind::kReplace, target_of(path_of(path)), in_top(inner)};
}
inline Edit drop(const std::string& path) {
  return {Edit::Kind::kDelete, target_of(path_of(path)), ""};
}

inline std::string config_xml(const std::string& inner) {
  return inner.empty() ? "<config/>" : "<config><top xmlns=\"urn:s\">" + inner + "</top></config>";
}

// One value for each node that `path` names, "PATH=JSON" in a line.
inline std::string read_text(const ConfigStore& store, const std::string& path,
                             nexa::store::Form form = nexa::store::Form::kSubtrees) {
  nexa::store::Query query;
  query.target = target_of(path_of(path), nexa::model::Purpose::kRead);
  query.form = form;
  std::string text;
  const grpc::Status status =
      store.snapshot()->read(query, nullptr, [&](gnmi::Path& at, gnmi::TypedValue& value) {
        text += nexa::translate::format_path_string(at) + "=" + value.json_ietf_val() + "\n";
      });
  return status.ok() ? text : status.error_message();
}

// Same nodes, values and user-given order; `with_defaults` of both trees as they stand.
inline bool same_xml(const std::string& left, const std::string& right) {
  const auto one = nexa_test::value_of(nexa::store::parse_nodes(nexa::store::inner_xml(left)));
  const auto two = nexa_test::value_of(nexa::store::parse_nodes(nexa::store::inner_xml(right)));
  return same_content(one.get(), two.get());
}

class StoreTest : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(load_module("s", kStoreModule), "");
    open();
  }

  void open() {
    store_.reset();
    notes_.clear();
    error_.clear();
    nexa::store::TreeStoreOptions options;
    options.directory = directory();
    options.commits_per_snapshot = commits_per_snapshot_;
    options.history_limit = history_limit_;
    options.sync = false;
    auto opened = nexa::store::open_tree_store(options, &notes_);
    error_ = nexa_test::line_of(opened);
    if (opened.ok()) store_ = std::move(opened).value();
  }
  std::string directory() const { return folder_.file("data"); }

  CommitResult commit(std::vector<Edit> edits) {
    CommitRequest request;
    request.edits = std::move(edits);
    request.author = "tester";
    return store_->commit(request);
  }
  // The status in one line; empty for OK.
  std::string commit_text(std::vector<Edit> edits) {
    const CommitResult result = commit(std::move(edits));
    return result.status.ok() ? "" : result.status.error_message();
  }
  std::string xml() const { return store_->snapshot()->xml(); }

  TempFolder folder_;
  std::uint32_t commits_per_snapshot_ = 1000;
  std::uint64_t history_limit_ = 0;
  std::unique_ptr<ConfigStore> store_;
  std::string error_;
  std::vector<std::string> notes_;
};

}  // namespace nexa_test

#endif  // TESTS_STORE_STORE_FIXTURE_H_
