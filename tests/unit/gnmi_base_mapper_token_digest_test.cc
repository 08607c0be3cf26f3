// Digestion of whole paths: origins, statuses, and what the cache saves.
#include <gtest/gtest.h>
#include <rapidcheck.h>
#include <rapidcheck/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "nexa/nexa_srv_kestrel_namespace_mapper_impl.h"
#include "support/fake_schema.h"
#include "support/log_capture.h"

namespace gnmi_base_mapper_token_digest_test {

using gnmi::rfc7951::KcnPathPointer;
using nexa_test::FakeModule;
using nexa_test::FakeNode;
using nexa_test::FakeSchema;
using nexa_test::LogCapture;
using Mapper = nexa::ServiceKestrelNamespaceMapperImpl;
using nexa::Rfc7951MapperToken;

gnmi::Path path(const std::vector<std::string>& names) {
  gnmi::Path built;
  for (const std::string& name : names) built.add_elem()->set_name(name);
  return built;
}

std::string names_of(const gnmi::Path& path) {
  std::string text;
  for (const gnmi::PathElem& element : path.elem()) text += "/" + element.name();
  return text;
}

grpc::Status digest(Rfc7951MapperToken& token, const gnmi::Path& in, KcnPathPointer& pointer,
                    gnmi::Path& out) {
  return token.digestPath<Mapper::SchemaIf, KcnPathPointer, &Rfc7951MapperToken::digestPathElement>(
      token.schemaifPtr(), in, pointer, out);
}

// /m:top{m:left{m:item}, m:right{m:item}}
class DigestPath : public testing::Test {
 protected:
  DigestPath() {
    static_cast<void>(mapper_.populate());
    token_ = mapper_.newToken();
  }
  grpc::Status digest_names(const std::vector<std::string>& names) {
    pointer_ = KcnPathPointer();
    out_.Clear();
    return digest(*token_, path(names), pointer_, out_);
  }

  FakeSchema schema_;
  FakeModule& m_ = schema_.module("mod", "m", "urn:m");
  FakeNode top_ = m_.container("top");
  FakeNode left_item_ = top_.container("left").leaf("item");
  FakeNode right_item_ = top_.container("right").leaf("item");
  Mapper mapper_;
  std::shared_ptr<Rfc7951MapperToken> token_;
  KcnPathPointer pointer_;
  gnmi::Path out_;
};

TEST_F(DigestPath, OfNoElementsIsOkAndSetsTheOrigin) {
  token_->origin_index_ = 1;
  EXPECT_TRUE(digest_names({}).ok());
  EXPECT_EQ(out_.origin(), "openconfig");
  EXPECT_EQ(out_.elem_size(), 0);
  EXPECT_EQ(pointer_.index, -1);
}

TEST_F(DigestPath, NamesEveryElementAndResolvesTheLast) {
  EXPECT_TRUE(digest_names({"m:top", "m:left", "item"}).ok());
  EXPECT_EQ(names_of(out_), "/mod:top/mod:left/item");
  EXPECT_EQ(pointer_.snode->node, left_item_.get());
  EXPECT_EQ(pointer_.index, 2);
}

TEST_F(DigestPath, SetsTheOriginOfTheTokensIndex) {
  const std::vector<std::string> origins = {"", "openconfig", "rfc7951"};
  for (std::uint32_t i = 0; i < origins.size(); ++i) {
    token_->origin_index_ = i;
    gnmi::Path out;
    out.set_origin("before");
    KcnPathPointer pointer;
    EXPECT_TRUE(digest(*token_, path({"m:top"}), pointer, out).ok());
    EXPECT_EQ(out.origin(), origins[i]);
  }
}

TEST_F(DigestPath, LeavesAFixedOriginAlone) {
  token_->origin_index_ = 1;
  token_->origin_fixed_ = true;
  gnmi::Path out;
  out.set_origin("before");
  KcnPathPointer pointer;
  EXPECT_TRUE(digest(*token_, path({"m:top"}), pointer, out).ok());
  EXPECT_EQ(out.origin(), "before");
}

TEST_F(DigestPath, AppendsToWhatThePathHolds) {
  out_ = path({"earlier"});
  EXPECT_TRUE(digest(*token_, path({"m:top"}), pointer_, out_).ok());
  EXPECT_EQ(names_of(out_), "/earlier/mod:top");
}

TEST_F(DigestPath, IsOkWhenAMiddleElementIsUnknownAndTheLastIsFound) {
  EXPECT_TRUE(digest_names({"m:top", "none", "left"}).ok());
  EXPECT_EQ(names_of(out_), "/mod:top/none/left");
  EXPECT_EQ(pointer_.snode->name, "left");
  EXPECT_EQ(pointer_.index, 2);
}

TEST_F(DigestPath, ReturnsTheStatusOfTheLastElement) {
  const grpc::Status status = digest_names({"m:top", "none", "nothing"});
  EXPECT_EQ(status.error_code(), 13);
  EXPECT_EQ(status.error_message(),
            "SchemaNode lookup failed [ namespace: urn:m__2__nothing ] : Node not found in "
            "dictionary[ name: nothing, namespace: urn:m ]");
  EXPECT_EQ(pointer_.snode->name, "top");
  EXPECT_EQ(pointer_.index, 0);
}

TEST_F(DigestPath, ReplacesASuccessByTheLastElementsFailure) {
  EXPECT_FALSE(digest_names({"m:top", "left", "none"}).ok());
  EXPECT_EQ(pointer_.snode->name, "left");
  EXPECT_EQ(out_.elem_size(), 3);
}

TEST_F(DigestPath, WithoutPrefixOnTheFirstElementFails) {
  const grpc::Status status = digest_names({"top"});
  EXPECT_EQ(status.error_message(), "InternalError [ root element unknown namespace  [ top ] ]");
}

TEST_F(DigestPath, ASecondTimeServesEveryElementAfterTheRootFromTheCache) {
  EXPECT_TRUE(digest_names({"m:top", "left", "item"}).ok());
  EXPECT_EQ(schema_.calls.find_child, 2);
  EXPECT_EQ(schema_.calls.str2hash, 4);
  const auto first = pointer_.snode;
  const int hash2str = schema_.calls.hash2str;
  EXPECT_TRUE(digest_names({"m:top", "left", "item"}).ok());
  EXPECT_EQ(schema_.calls.find_child, 2);
  EXPECT_EQ(schema_.calls.str2hash, 4);
  EXPECT_EQ(schema_.calls.hash2str, hash2str);
  EXPECT_EQ(pointer_.snode, first);
}

TEST_F(DigestPath, TellsTwoElementsOfOneNameAndDepthApart) {
  for (int i = 0; i < 3; ++i) {
    EXPECT_TRUE(digest_names({"m:top", "left", "item"}).ok());
    EXPECT_EQ(pointer_.snode->node, left_item_.get());
    EXPECT_TRUE(digest_names({"m:top", "right", "item"}).ok());
    EXPECT_EQ(pointer_.snode->node, right_item_.get());
  }
}

// Any sequence of paths through a tree of one name resolves to the nodes that a walk by hand finds,
// whatever the cache holds; names that repeat their parent's are left out, as these may be served
// from another parent.
RC_GTEST_PROP(DigestPathProperty, FindsTheNodeOfTheTreeWhateverIsCached, ()) {
  FakeSchema schema;
  FakeModule& m = schema.module("mod", "m", "urn:m");
  FakeNode top = m.container("top");
  const std::vector<std::string> names = {"a", "b", "c"};
  for (const std::string& first : names) {
    FakeNode one = top.container("x" + first);
    for (const std::string& second : names) {
      FakeNode two = one.container(second);
      for (const std::string& third : names) two.leaf("y" + third);
    }
  }
  Mapper mapper;
  RC_ASSERT(mapper.populate().ok());
  const auto token = mapper.newToken();
  const auto picks = *rc::gen::container<std::vector<std::vector<int>>>(
      rc::gen::container<std::vector<int>>(3, rc::gen::inRange(0, 3)));
  for (const std::vector<int>& pick : picks) {
    const auto name = [&](int i) {
      return names[static_cast<std::size_t>(pick[static_cast<std::size_t>(i)])];
    };
    const gnmi::Path in = path({"m:top", "x" + name(0), name(1), "y" + name(2)});
    KcnPathPointer pointer;
    gnmi::Path out;
    RC_ASSERT(digest(*token, in, pointer, out).ok());
    const kestrel_cs_node* node = top;
    for (int depth = 1; depth < 4; ++depth) {
      node = kestrel_find_cs_node_child(node, kestrel_str2hash(in.elem(depth).name().c_str()),
                                        m.ns_hash());
    }
    RC_ASSERT(pointer.snode->node == node);
  }
}

TEST(MapperToken, SharesItself) {
  Mapper mapper;
  const auto token = mapper.newToken(gnmi::Origin::kRfc7951);
  EXPECT_EQ(token->shared_from_this(), token);
  EXPECT_EQ(token->origin_index_, 2U);
  EXPECT_FALSE(token->origin_fixed_);
  EXPECT_EQ(token->schemaif(), &mapper.schemaif_);
  EXPECT_EQ(token->schemaifPtr(), mapper.schemaifPtr_);
  EXPECT_EQ(token->mapper(), &mapper);
}

}  // namespace gnmi_base_mapper_token_digest_test
