// The table of texts when one schema follows another.
#include "store/image/schema_texts.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <string>
#include <thread>

#include "real/temp_folder.h"

namespace nexa::store {
namespace schema_texts_test {

const lysc_node* first_node() {
  const lys_module* const module = ly_ctx_get_module_implemented(kestrel::context(), "s");
  return module == nullptr ? nullptr : lys_getnext(nullptr, nullptr, module->compiled, 0);
}

// The first threads that ask for the table of a new schema make it while others ask, and the table
// of the schema before goes.
TEST(SchemaTexts, OfANewSchemaAreMadeOnceForAllThreadsThatAsk) {
  for (int round = 0; round < 100; ++round) {
    const std::string name = "leaf" + std::to_string(round);
    ASSERT_EQ(nexa_test::load_module("s", "module s { namespace \"urn:s\"; prefix s; leaf " + name +
                                              " { type string; } }"),
              "");
    number_schema();
    const lysc_node* const node = first_node();
    ASSERT_NE(node, nullptr);
    std::atomic<int> ready{0};
    std::array<const SchemaTexts*, 4> tables{};
    std::array<std::string, 4> names;
    std::array<std::thread, 4> threads;
    for (std::size_t at = 0; at < threads.size(); ++at) {
      threads.at(at) = std::thread([&, at] {
        for (++ready; ready.load() < static_cast<int>(threads.size());) std::this_thread::yield();
        tables.at(at) = &SchemaTexts::current();
        names.at(at) = tables.at(at)->of(node).name;
      });
    }
    for (std::thread& thread : threads) thread.join();
    for (std::size_t at = 0; at < threads.size(); ++at) {
      EXPECT_EQ(tables.at(at), tables.front());
      EXPECT_EQ(names.at(at), name);
    }
  }
}

// Whoever keeps what belongs to a schema asks by its number whether that is still the one.
TEST(SchemaTexts, AreKeptWhileTheSchemaIsTheSame) {
  const std::string module = "module s { namespace \"urn:s\"; prefix s; leaf l { type string; } }";
  ASSERT_EQ(nexa_test::load_module("s", module), "");
  const std::size_t nodes = number_schema();
  EXPECT_GT(nodes, 0U);
  const std::uint64_t generation = schema_generation();
  const SchemaTexts* const texts = &SchemaTexts::current();
  EXPECT_EQ(number_schema(), nodes);
  EXPECT_EQ(schema_generation(), generation);
  EXPECT_EQ(&SchemaTexts::current(), texts);
  ASSERT_EQ(nexa_test::load_module("s", module), "");
  EXPECT_EQ(number_schema(), nodes);
  EXPECT_NE(schema_generation(), generation);
}

}  // namespace schema_texts_test
}  // namespace nexa::store
