// Which lines the log gets of the store, and when it counts as well.
#include "store_watch.h"

#include <gtest/gtest.h>

namespace {

using nexa::store::StoreHealth;
using nexad::StoreWatch;

StoreHealth unwritable() {
  StoreHealth health;
  health.writable = false;
  health.obstacle = "the disk is full";
  return health;
}

StoreHealth broken() {
  StoreHealth health;
  health.violation = "/m:a: must \"b\"";
  return health;
}

TEST(StoreWatch, AWritableStoreWithAValidConfigurationIsWell) {
  StoreWatch watch;
  EXPECT_TRUE(watch.look({}));
  EXPECT_TRUE(watch.look({}));
}

TEST(StoreWatch, IsNotWellWhileItCannotBeWritten) {
  StoreWatch watch;
  EXPECT_FALSE(watch.look(unwritable()));
  EXPECT_FALSE(watch.look(unwritable()));
  EXPECT_TRUE(watch.look({}));
}

TEST(StoreWatch, IsNotWellWhileARuleIsBroken) {
  StoreWatch watch;
  EXPECT_FALSE(watch.look(broken()));
  EXPECT_TRUE(watch.look({}));
}

}  // namespace
