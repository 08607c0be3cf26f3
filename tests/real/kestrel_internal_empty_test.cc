// The C interface of a process that has loaded nothing.
#include <gtest/gtest.h>

#include "kestrel/loader.h"

namespace nexa_test {
namespace {

TEST(KestrelEmpty, EveryLookUpFindsNothing) {
  KestrelNsEntry entry{};
  KestrelNsEntry* list = &entry;
  EXPECT_EQ(kestrel_get_nslist(&list), 0);
  EXPECT_EQ(list, nullptr);
  EXPECT_EQ(kestrel_find_cs_root(1), nullptr);
  EXPECT_EQ(kestrel_hash2str(1), nullptr);
  EXPECT_EQ(kestrel_str2hash("interfaces"), 0U);
  EXPECT_EQ(kestrel_find_cs_node_child(nullptr, 1, 1), nullptr);
  EXPECT_EQ(kestrel::context(), nullptr);
  EXPECT_EQ(kestrel::node_count(), 0U);
}

}  // namespace
}  // namespace nexa_test
