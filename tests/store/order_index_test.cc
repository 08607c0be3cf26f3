// The index of orders beside std::map, kept states among them, and the place before an entry.
#include "store/image/order_index.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <vector>

#include "real/temp_folder.h"
#include "store/image/image_draft.h"
#include "store/image/image_import.h"
#include "store_module.h"

namespace nexa_test {
namespace order_index_test {

using namespace nexa::store;  // NOLINT(google-build-using-namespace)

using Model = std::map<std::uint64_t, std::uint64_t>;  // hashes by order

void expect_like(const OrderIndex& index, const Model& model, std::uint64_t order) {
  const auto found = index.before(order);
  auto wanted = model.lower_bound(order);
  if (wanted == model.begin()) {
    EXPECT_FALSE(found) << order;
    return;
  }
  --wanted;
  ASSERT_TRUE(found) << order;
  EXPECT_EQ(found->order, wanted->first) << order;
  EXPECT_EQ(found->hash, wanted->second) << order;
}

// Orders up to `most`, around which the bits of an order end on each level.
void compare_at_random(std::uint64_t most, std::mt19937_64& random) {
  OrderIndex index;
  Model model;
  std::vector<std::pair<OrderIndex, Model>> kept;
  for (int step = 0; step < 3000; ++step) {
    const std::uint64_t order = random() % most + 1;
    if (random() % 3 == 0) {
      const auto some = model.lower_bound(order);
      if (some == model.end()) continue;
      index.remove(some->first);
      model.erase(some);
    } else {
      index.put({order, random()});
      model[order] = 0;
      index.put({order, model[order] = random()});
    }
    EXPECT_EQ(index.empty(), model.empty());
    expect_like(index, model, random() % most + 2);
    if (step % 500 == 0) kept.emplace_back(index, model);
  }
  index.remove(most + 1);
  while (!model.empty()) {
    index.remove(model.begin()->first);
    model.erase(model.begin());
  }
  EXPECT_TRUE(index.empty());
  for (const auto& [state, like] : kept) {
    for (int i = 0; i < 300; ++i) expect_like(state, like, random() % most + 1);
    expect_like(state, like, 0);
    expect_like(state, like, 1);
    expect_like(state, like, ~std::uint64_t{0});
    for (const auto& place : like) expect_like(state, like, place.first);
  }
}

TEST(OrderIndexTest, IsLikeASortedMap) {
  std::mt19937_64 random(7);
  for (const std::uint64_t most :
       {std::uint64_t{20}, std::uint64_t{31}, std::uint64_t{1000}, std::uint64_t{1} << 20U,
        std::uint64_t{1} << 40U, std::uint64_t{1} << 60U, ~std::uint64_t{0} - 1}) {
    SCOPED_TRACE(most);
    compare_at_random(most, random);
  }
}

// Entries come, go, and move behind the others, few and many.
TEST(OrderIndexTest, AGroupKnowsWhatStandsBefore) {
  ASSERT_EQ(load_module("s", kStoreModule), "");
  number_schema();
  const lysc_node* const rule = lys_find_path(kestrel::context(), nullptr, "/s:top/rule", 0);
  ASSERT_NE(rule, nullptr);
  const auto entry = [rule](unsigned id) -> ImageSlot {
    std::vector<ImageSlot> children;
    children.emplace_back(
        ImageLeaf::make(lysc_node_child(rule), std::to_string(id), ScalarForm::kBare, false));
    return ImageInner::make(rule, false, std::move(children));
  };
  std::mt19937_64 random(11);
  for (const unsigned keys : {10U, 40U, 3000U}) {
    ImageSlot group = ImageGroup::make(rule);
    std::vector<ImageSlot> kept;
    for (int step = 0; step < 9000; ++step) {
      const unsigned id = static_cast<unsigned>(random()) % keys;
      const auto chance = random() % 4;
      if (chance == 0) {
        ImageDraft::remove_entry(group, std::to_string(id));
      } else {
        ImageDraft::put_entry(group, entry(id), chance == 1 ? group->group().next_order() : 0);
      }
      if (step % 1000 != 999) continue;
      kept.push_back(group);
    }
    for (const ImageSlot& state : kept) {
      const GroupEntry* last = nullptr;
      for (const GroupEntry* const place : state->group().in_order()) {
        ASSERT_EQ(state->group().before(place->order), last);
        last = place;
      }
      EXPECT_EQ(state->group().before(state->group().next_order()), last);
    }
  }
}

}  // namespace order_index_test
}  // namespace nexa_test
