#include "support/precompiled.h"
TEST(Smoke, Populate) {
  nexa_test::FakeSchema schema;
  auto& m = schema.module("openconfig-interfaces", "oc-if", "urn:oc-if");
  m.container("interfaces").list("interface", {"name"}).leaf("name");
  nexa::ServiceKestrelNamespaceMapperImpl mapper;
  EXPECT_TRUE(mapper.populate().ok());
  EXPECT_EQ(mapper.schemaif_.rootSnodes_.size(), 1u);
}
