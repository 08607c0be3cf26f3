// The service over the real store, in a directory that goes with the test.
#ifndef TESTS_SERVER_SUPPORT_STORE_FIXTURE_H_
#define TESTS_SERVER_SUPPORT_STORE_FIXTURE_H_

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>

#include "server/support/service_fixture.h"
#include "store/tree_store.h"
#include "support/results.h"

namespace nexa_test {

class StoredServiceTest : public ServiceTest {
 protected:
  void SetUp() override {
    example_schema();
    std::string pattern = testing::TempDir() + "nexa_server_XXXXXX";
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    directory = pattern;
    open_store();
    request.set_encoding(gnmi::JSON_IETF);
  }
  void TearDown() override {
    ServiceTest::TearDown();
    real_store.reset();
    std::filesystem::remove_all(directory);
  }

  void open_store() {
    nexa::store::TreeStoreOptions store_options;
    store_options.directory = directory;
    store_options.sync = false;
    real_store = nexa_test::value_of(nexa::store::open_tree_store(store_options));
    other_store = real_store.get();
    start();
  }

  // The verdict of a Set of one update.
  std::string update(const std::string& path, const std::string& json) {
    gnmi::SetRequest change;
    *change.add_update() = update_of(path, json);
    return apply(change);
  }
  std::string replace(const std::string& path, const std::string& json) {
    gnmi::SetRequest change;
    *change.add_replace() = update_of(path, json);
    return apply(change);
  }
  std::string remove(const std::string& path) {
    gnmi::SetRequest change;
    *change.add_delete_() = path_of(path);
    return apply(change);
  }
  std::string apply(const gnmi::SetRequest& change) {
    gnmi::SetResponse response;
    last_status = set(change, response);
    return shown(last_status);
  }

  // "path=json" of each update, or the refusal.
  std::string read(const std::string& path);

  std::string directory;
  std::unique_ptr<nexa::store::ConfigStore> real_store;
  gnmi::GetRequest request;  // read() adds the path
  grpc::Status last_status;
};

}  // namespace nexa_test

#endif  // TESTS_SERVER_SUPPORT_STORE_FIXTURE_H_
