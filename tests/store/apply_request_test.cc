// How much one request may bring, told in words, and which of its edits is refused.
#include "store/apply_request.h"

#include "store/image/image_draft.h"
#include "store_fixture.h"

namespace nexa::store {
namespace apply_request_test {

using grpc::StatusCode;
using nexa_test::drop;
using nexa_test::in_top;
using nexa_test::update;

class ApplyRequest : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    ASSERT_EQ(nexa_test::load_module("s", nexa_test::kStoreModule), "");
    number_schema();
  }

  bool apply(std::vector<Edit> edits, const RequestLimits& limits = {}) {
    request_.edits = std::move(edits);
    result_ = CommitResult();
    EditApplier applier(empty_image());
    return apply_request(request_, limits, applier, result_);
  }

  CommitRequest request_;
  CommitResult result_;
};

TEST_F(ApplyRequest, BytesOfAllDocumentsCountTogether) {
  const Edit one = update("<name>n</name>");
  const Edit two = update("<speed>5</speed>");
  const std::size_t bytes = one.xml.size() + two.xml.size();
  EXPECT_TRUE(apply({one, two}));
  EXPECT_TRUE(apply({one, two}, {0, bytes}));
  ASSERT_FALSE(apply({one, two}, {0, bytes - 1}));
  EXPECT_EQ(result_.status.error_code(), StatusCode::RESOURCE_EXHAUSTED);
  EXPECT_EQ(result_.status.error_message(),
            std::to_string(bytes) + " bytes of configuration in one transaction, at most " +
                std::to_string(bytes - 1) + " are taken");
  EXPECT_EQ(result_.rule, result_.status.error_message());
  EXPECT_EQ(result_.edit, -1);
}

TEST_F(ApplyRequest, NodesOfAllDocumentsCountTogether) {
  const std::vector<Edit> edits = {update("<name>n</name>"),
                                   update("<port><id>1</id></port><tag>t</tag>")};
  // The container, which each document brings, and what is in it.
  constexpr std::size_t kNodes = 2 + 4;
  EXPECT_TRUE(apply(edits, {kNodes, 0}));
  ASSERT_FALSE(apply(edits, {kNodes - 1, 0}));
  EXPECT_EQ(result_.status.error_code(), StatusCode::RESOURCE_EXHAUSTED);
  EXPECT_EQ(result_.status.error_message(), "6 nodes in one transaction, at most 5 are taken");
  EXPECT_EQ(result_.rule, result_.status.error_message());
}

TEST_F(ApplyRequest, TheEditThatCannotBeMadeIsNamed) {
  ASSERT_FALSE(
      apply({update("<name>n</name>"), update("<speed>fast</speed>"), drop("/s:top/name")}));
  EXPECT_EQ(result_.status.error_code(), StatusCode::INVALID_ARGUMENT);
  EXPECT_EQ(result_.edit, 1);
  EXPECT_EQ(result_.path, "/s:top/speed");
  EXPECT_EQ(result_.status.error_message(), result_.path + ": " + result_.rule);
}

TEST_F(ApplyRequest, WhoIsGoneIsAskedForBeforeEachEdit) {
  int asked = 0;
  request_.abandoned = [&asked] { return ++asked == 3; };
  ASSERT_FALSE(apply({drop("/s:top/name"), drop("/s:top/name"), drop("/s:top/name")}));
  EXPECT_EQ(asked, 3);
  EXPECT_EQ(result_.status.error_code(), StatusCode::CANCELLED);
  EXPECT_EQ(result_.status.error_message(), "nobody waits for the commit any more");
  asked = -10;
  EXPECT_TRUE(apply({drop("/s:top/name")}));
}

// Defaults of a module of which nothing is configured stay only where the module has some that
// stand by themselves.
TEST_F(ApplyRequest, AModuleWithoutDataKeepsStandingDefaultsOnly) {
  EditApplier applier(empty_image());
  ASSERT_TRUE(applier.apply(update("<name>n</name>")).ok());
  const ImagePtr configured = applier.result();
  const auto none = [](const lys_module*) { return false; };
  const auto all = [](const lys_module*) { return true; };
  EXPECT_EQ(without_idle_modules(configured, none)->children().size(), 1U);
  ImageSlot root = configured;
  ImageDraft::set_default(*ImageDraft::child(root, root->inner().children()[0]->schema()), true);
  const ImagePtr idle = ImagePtr::share(&root->inner());
  EXPECT_EQ(without_idle_modules(idle, all)->children().size(), 1U);
  EXPECT_EQ(without_idle_modules(idle, none)->children().size(), 0U);
}

}  // namespace apply_request_test
}  // namespace nexa::store
