// The registry, the look-up and the start-up with every allocation failing once: each reports by
// its own text, and a root that could not be made whole is not there.
#include <string>

#include "nexa/nexa_srv_kestrel_namespace_mapper_impl.h"
#include "support/fake_schema.h"
#include "sweep.h"

namespace nexa_test {
namespace {

using Schemaif = gnmi::rfc7951::GenericServiceKestrelSchemaifImpl<256>;
using Snode = Schemaif::Snode;

constexpr AllocationKind kNewKinds[] = {AllocationKind::kNew, AllocationKind::kNewFromThere};

constexpr char kNoRoot[] =
    "InternalError [ GenericSchemaInterfaceImpl::registerRootSnode ---> leave(alloc failed(sn)) ]";
constexpr char kNoChild[] =
    "InternalError [ GenericSchemaInterfaceImpl::payload2Snode ---> leave(alloc failed(sn)) ]";

// Longer than a string holds without memory of its own.
constexpr char kNamespace[] = "urn:example:names-that-need-memory-of-their-own";
constexpr char kRoot[] = "a-container-whose-name-is-long-enough";
constexpr char kChild[] = "another-container-whose-name-is-long";

std::string shown(const grpc::Status& status) {
  FailingAllocator::disarm();
  return status.ok() ? "ok" : std::to_string(status.error_code()) + " " + status.error_message();
}

class SchemaSweep : public testing::Test {
 protected:
  SchemaSweep()
      : root_(schema_.module("names", "n", kNamespace).container(kRoot)),
        child_(root_.container(kChild)) {}

  // Whether the registry has the root, and with a kind.
  static bool is_whole(const Schemaif& schemaif) {
    for (const auto& [key, node] : schemaif.rootSnodes_) {
      if (node == nullptr || node->nodeVariant == nullptr) return false;
    }
    return true;
  }

  FakeSchema schema_;
  FakeNode root_;
  FakeNode child_;
  const std::string namespace_ = kNamespace;
  const std::string root_name_ = kRoot;
  const std::string child_name_ = kChild;
};

// Without memory for the text too only the code is left of it.
bool is_refusal(AllocationKind kind, const std::string& result, const std::string& text) {
  return result == "13 " + text || (kind == AllocationKind::kNewFromThere && result == "13 ");
}

TEST_F(SchemaSweep, ARootIsRegisteredWholeOrNotAtAll) {
  for (const AllocationKind kind : kNewKinds) {
    const int allocations = sweep(
        kind,
        [this] {
          Schemaif schemaif;
          const std::string result =
              shown(schemaif.registerRootSnode(namespace_, root_name_, root_));
          EXPECT_TRUE(is_whole(schemaif));
          EXPECT_EQ(schemaif.rootSnodes_.size(), result == "ok" ? 1U : 0U);
          if (result != "ok") {
            EXPECT_TRUE(schemaif.registerRootSnode(namespace_, root_name_, root_).ok());
          }
          return result;
        },
        [kind](int n, const Outcome& outcome) {
          EXPECT_TRUE(is_refusal(kind, outcome.result, kNoRoot) || outcome.result == "ok")
              << n << ": " << outcome.result;
        });
    EXPECT_GE(allocations, 5);  // key, node, its two names, kind
  }
}

TEST_F(SchemaSweep, AChildIsFoundOrTheTextSaysWhyNot) {
  Snode parent(namespace_, root_name_, root_);
  const auto shared = std::make_shared<Snode>(parent);
  for (const AllocationKind kind : kNewKinds) {
    const int allocations = sweep(
        kind,
        [&] {
          Schemaif schemaif;
          std::shared_ptr<Snode> found;
          const std::string result =
              shown(schemaif.findSnode(namespace_, 1, child_name_, namespace_, shared, found));
          EXPECT_EQ(found != nullptr, result == "ok");
          EXPECT_TRUE(
              schemaif.findSnode(namespace_, 1, child_name_, namespace_, shared, found).ok());
          EXPECT_EQ(found->node, child_.get());
          return result;
        },
        [kind](int n, const Outcome& outcome) {
          EXPECT_TRUE(is_refusal(kind, outcome.result, kNoChild) || outcome.result == "ok")
              << n << ": " << outcome.result;
        });
    EXPECT_GE(allocations, 5);
  }
}

TEST_F(SchemaSweep, StartUpGoesOn) {
  for (const AllocationKind kind : kNewKinds) {
    const int allocations = sweep(
        kind,
        [] {
          nexa::ServiceKestrelNamespaceMapperImpl mapper;
          const std::string result = shown(mapper.populate());
          EXPECT_TRUE(is_whole(mapper.schemaif_));
          EXPECT_TRUE(nexa::ServiceKestrelNamespaceMapperImpl::schema_data_cached_);
          return result;
        },
        [](int n, const Outcome& outcome) { EXPECT_EQ(outcome.result, "ok") << n; });
    EXPECT_GE(allocations, 20);
  }
}

}  // namespace
}  // namespace nexa_test
