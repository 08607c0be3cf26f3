// Configurations of a router over the OpenConfig models, 0.1 to 10 MB: they go in, survive the kill
// of the process that wrote them, a start, another configuration and the way back, and come out
// equal.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstddef>
#include <memory>
#include <string>

#include "real/temp_folder.h"
#include "real/yang_folders.h"
#include "store/tree_store.h"
#include "store/whole_oracle.h"
#include "support/openconfig_payload.h"
#include "support/results.h"
#include "support/sanitized.h"

namespace nexa_test {
namespace {

using nexa::store::CommitRequest;
using nexa::store::CommitResult;
using nexa::store::ConfigStore;
using nexa::store::Edit;

constexpr std::size_t kLargest = kIsSanitized ? 1'000'000 : 10'000'000;

class StoreRealConfigs : public testing::TestWithParam<std::size_t> {
 protected:
  static void SetUpTestSuite() {
    const YangFolder models = openconfig_folder();
    if (!has_modules(models)) return;
    kestrel::LoadOptions options;
    options.search_dirs = {models.path};
    ASSERT_EQ(load_text(options), "");
  }

  void SetUp() override {
    NEXA_NEED_FOLDER(openconfig_folder());
    if (GetParam() > kLargest) GTEST_SKIP() << "too large for sanitizers";
  }

  std::unique_ptr<ConfigStore> open() const {
    nexa::store::TreeStoreOptions options;
    options.directory = folder_.file("data");
    options.sync = false;  // the machine stays up
    return nexa_test::value_of(nexa::store::open_tree_store(options));
  }

  // A configuration as XML, no element around it, the way libyang reads the JSON.
  static std::string configuration(std::size_t bytes, std::uint32_t seed) {
    const std::string json = nexa_bench::openconfig_payload(bytes, seed);
    lyd_node* tree = nullptr;
    EXPECT_EQ(lyd_parse_data_mem(kestrel::context(), json.c_str(), LYD_JSON,
                                 LYD_PARSE_ONLY | LYD_PARSE_STRICT, 0, &tree),
              LY_SUCCESS)
        << ly_errmsg(kestrel::context());
    const Forest owner(tree);
    return print_forest(tree, LYD_XML, LYD_PRINT_WD_EXPLICIT);
  }

  static std::string commit(ConfigStore& store, const std::string& inner_xml) {
    CommitRequest request;
    request.edits = {{Edit::Kind::kReplace, {}, "<config>" + inner_xml + "</config>"}};
    return store.commit(request).status.error_message();
  }

  // Commits in a process that is killed as soon as it has its answer.
  void commit_and_die(const std::string& inner_xml) const {
    int ends[2] = {-1, -1};
    ASSERT_EQ(pipe(ends), 0);
    const pid_t child = fork();
    if (child == 0) {
      const std::unique_ptr<ConfigStore> store = open();
      const bool done = store != nullptr && commit(*store, inner_xml).empty();
      if (write(ends[1], done ? "y" : "n", 1) == 1) pause();
      _exit(1);
    }
    close(ends[1]);
    char answer = '\0';
    EXPECT_EQ(read(ends[0], &answer, 1), 1);
    close(ends[0]);
    kill(child, SIGKILL);
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_EQ(answer, 'y');
  }

  static std::string stored(const ConfigStore& store) {
    return normal_xml(without_config(store.snapshot()->xml()));
  }
  static std::string with_defaults(const ConfigStore& store) {
    nexa::store::Query query;
    query.encoding = gnmi::JSON_IETF;
    std::string all;
    EXPECT_TRUE(store.snapshot()
                    ->read(query, nullptr,
                           [&all](gnmi::Path& /*path*/, gnmi::TypedValue& value) {
                             all += value.json_ietf_val();
                           })
                    .ok());
    return all;
  }

  TempFolder folder_;
};

TEST_P(StoreRealConfigs, ComeOutAsTheyWentIn) {
  const std::string first = configuration(GetParam(), 1);
  const std::string second = configuration(GetParam() / 4 + 20'000, 2);
  const std::string first_normal = normal_xml(first);
  const std::string second_normal = normal_xml(second);
  ASSERT_NE(first_normal, second_normal);

  commit_and_die(first);
  if (HasFailure()) return;
  std::unique_ptr<ConfigStore> store = open();
  ASSERT_NE(store, nullptr);
  EXPECT_TRUE(stored(*store) == first_normal) << "after a kill";
  const std::uint64_t number = store->snapshot()->number();
  const std::string json = with_defaults(*store);

  ASSERT_EQ(commit(*store, second), "");
  EXPECT_TRUE(stored(*store) == second_normal) << "after another one";
  store.reset();
  store = open();
  ASSERT_NE(store, nullptr);
  EXPECT_TRUE(stored(*store) == second_normal) << "after a start";

  const CommitResult back = store->rollback(number, "tester", nullptr);
  ASSERT_TRUE(back.status.ok()) << back.status.error_message();
  EXPECT_TRUE(stored(*store) == first_normal) << "after a rollback";
  EXPECT_TRUE(normal_json(with_defaults(*store)) == normal_json(json)) << "after a rollback";
  store.reset();
  store = open();
  ASSERT_NE(store, nullptr);
  EXPECT_TRUE(stored(*store) == first_normal) << "after a start behind a rollback";
  EXPECT_TRUE(normal_json(with_defaults(*store)) == normal_json(json)) << "after a start";
}

INSTANTIATE_TEST_SUITE_P(Sizes, StoreRealConfigs,
                         testing::Values(100'000U, 150'000U, 250'000U, 400'000U, 600'000U,
                                         1'000'000U, 1'500'000U, 2'500'000U, 5'000'000U,
                                         10'000'000U));

}  // namespace
}  // namespace nexa_test
