// Which state is operational, and which repeats the configuration?
#include "store/reading/applied_value.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "real/temp_folder.h"
#include "store/image/image_import.h"
#include "store/reading/typed_value.h"
#include "translate/path_string.h"

namespace nexa::store {
namespace applied_value_test {

using ::testing::ElementsAre;

constexpr char kModule[] = R"(module box {
  yang-version 1.1; namespace "urn:box"; prefix b;
  grouping both { leaf name { type string; } leaf-list tag { type string; } }
  container fan {
    container config { uses both; }
    container state { config false; uses both; leaf speed { type uint32; }
      container peak { leaf speed { type uint32; } } }
  }
  container plain { container state { config false; leaf name { type string; } }
    leaf heat { config false; type int8; } }
})";

constexpr char kState[] = R"(<fan xmlns="urn:box"><state><name>n</name><tag>t</tag><speed>7</speed>
  <peak><speed>9</speed></peak></state></fan>
  <plain xmlns="urn:box"><state><name>n</name></state><heat>30</heat></plain>)";

class AppliedValue : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    const nexa_test::TempFolder folder;
    folder.write("box.yang", kModule);
    ASSERT_EQ(nexa_test::load_text(folder), "");
    number_schema();
  }

  static std::vector<std::string> leaves(DataPart part) {
    lyd_node* parsed = nullptr;
    EXPECT_EQ(lyd_parse_data_mem(kestrel::context(), kState, LYD_XML,
                                 LYD_PARSE_ONLY | LYD_PARSE_STRICT, 0, &parsed),
              LY_SUCCESS);
    const ImagePtr state = image_of_tree(TreePtr(parsed).get());
    std::vector<std::string> paths;
    for_each_leaf_of_tree({nullptr, state.get()}, {part}, [&](gnmi::Path& path, gnmi::TypedValue&) {
      paths.push_back(translate::format_path_string(path));
    });
    return paths;
  }
};

TEST_F(AppliedValue, OperationalIsTheStateThatNobodyConfigures) {
  EXPECT_THAT(leaves(DataPart::kState),
              ElementsAre("/box:fan/state/name", "/box:fan/state/tag", "/box:fan/state/speed",
                          "/box:fan/state/peak/speed", "/box:plain/state/name", "/box:plain/heat"));
  EXPECT_THAT(leaves(DataPart::kOperational),
              ElementsAre("/box:fan/state/speed", "/box:fan/state/peak/speed",
                          "/box:plain/state/name", "/box:plain/heat"));
}

}  // namespace applied_value_test
}  // namespace nexa::store
