// Database paths where names repeat: the node found is the one that was named, whatever the look-up
// cache held before.
#include "translate/database_path.h"

#include <gtest/gtest.h>

#include "kestrel/loader.h"
#include "real/temp_folder.h"

namespace {

using nexa::translate::resolve_database_text;
using nexa::translate::ResolvedPath;
using nexa_test::options_for;
using nexa_test::TempFolder;

constexpr char kOuter[] =
    "module outer { namespace \"urn:outer\"; prefix o;"
    " container top { container x { leaf v { type string; } }"
    "  container y { container y { leaf v { type string; } } } } }";
constexpr char kInner[] =
    "module inner { namespace \"urn:inner\"; prefix i; import outer { prefix o; }"
    " augment \"/o:top\" { container x { leaf v { type string; } } } }";

class RepeatedNames : public ::testing::Test {
 protected:
  RepeatedNames() {
    folder_.write("outer.yang", kOuter);
    folder_.write("inner.yang", kInner);
    const auto error = kestrel::load(options_for(folder_));
    EXPECT_FALSE(error) << error->text();
    EXPECT_TRUE(mapper_.populate().ok());
    token_ = mapper_.newToken();
  }

  // The namespaces of the nodes that `text` names, or the refusal.
  std::string namespaces(const std::string& text) {
    ResolvedPath resolved;
    const grpc::Status status = resolve_database_text(text, token_, resolved);
    if (!status.ok()) return status.error_message();
    std::string names;
    for (const auto& node : resolved.nodes) {
      names += std::string(kestrel_hash2str(node->node->ns)) + " ";
    }
    return names;
  }

  TempFolder folder_;
  nexa::ServiceKestrelNamespaceMapperImpl mapper_;
  std::shared_ptr<nexa::Rfc7951MapperToken> token_;
};

TEST_F(RepeatedNames, SiblingsOfTwoModulesAreToldApartInEitherOrder) {
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(namespaces("/o:top/o:x/v"), "urn:outer urn:outer urn:outer ");
    EXPECT_EQ(namespaces("/o:top/i:x/v"), "urn:outer urn:inner urn:inner ");
  }
}

TEST_F(RepeatedNames, AChildThatRepeatsItsParentsNameIsTheChild) {
  for (int round = 0; round < 2; ++round) {
    ResolvedPath resolved;
    ASSERT_TRUE(resolve_database_text("/o:top/y/y/v", token_, resolved).ok());
    ASSERT_EQ(resolved.nodes.size(), 4U);
    for (std::size_t i = 1; i < resolved.nodes.size(); ++i) {
      EXPECT_EQ(resolved.nodes[i]->node->parent, resolved.nodes[i - 1]->node);
    }
  }
}

}  // namespace
