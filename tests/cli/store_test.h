// A data directory with a store in it, for the tests of the commands that read one.
#ifndef TESTS_CLI_STORE_TEST_H_
#define TESTS_CLI_STORE_TEST_H_

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "real/temp_folder.h"
#include "store/tree_store.h"
#include "support/results.h"

namespace nexa_test {

// The schema is the test's to load. Without the store the directory is that of a server that is not
// running.
class StoreTest : public testing::Test {
 protected:
  void open() {
    nexa::store::TreeStoreOptions options;
    options.directory = data();
    options.sync = false;
    store_ = nexa_test::value_of(nexa::store::open_tree_store(options));
  }

  // One update of the whole tree; `inner` stands in the element `top` of the namespace.
  nexa::store::CommitResult commit(const std::string& top, const std::string& name_space,
                                   const std::string& inner, const std::string& author = {},
                                   const std::string& comment = {}) {
    nexa::store::CommitRequest request;
    request.edits = {
        {nexa::store::Edit::Kind::kUpdate,
         {},
         "<config><" + top + " xmlns=\"" + name_space + "\">" + inner + "</" + top + "></config>"}};
    request.author = author;
    request.comment = comment;
    return store_->commit(request);
  }

  std::string data() const { return folder_.file("data"); }

  TempFolder folder_;
  std::unique_ptr<nexa::store::ConfigStore> store_;
};

}  // namespace nexa_test

#endif  // TESTS_CLI_STORE_TEST_H_
