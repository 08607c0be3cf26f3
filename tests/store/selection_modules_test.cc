// Nodes of the same name in several modules: what a bare name means, and how an answer tells them
// apart.
#include <gmock/gmock.h>

#include "shop_models.h"
#include "store/reading/json_value.h"
#include "store/reading/selection.h"
#include "support/targets.h"
#include "translate/path_string.h"

namespace selection_modules_test {

using namespace nexa_test;
using nexa::store::ImagePtr;
using nexa::store::NodePair;
using testing::ElementsAre;

constexpr char kOpenConfig[] = R"(module openconfig-box {
  yang-version 1.1; namespace "urn:oc-box"; prefix oc;
  container box { leaf lid { type string; } }
})";

constexpr char kVendor[] = R"(module vendor-box {
  yang-version 1.1; namespace "urn:vendor-box"; prefix vb;
  import openconfig-box { prefix oc; }
  container box { leaf lid { type string; } }
  augment "/oc:box" { leaf lid { type string; } leaf label { type string; } }
  container crate { leaf lid { type string; } }
})";

constexpr char kOther[] = R"(module other-box {
  yang-version 1.1; namespace "urn:other-box"; prefix ob;
  container crate { leaf lid { type string; } }
})";

constexpr char kData[] =
    "<box xmlns=\"urn:oc-box\"><lid>a</lid><lid xmlns=\"urn:vendor-box\">b</lid>"
    "<label xmlns=\"urn:vendor-box\">c</label></box>"
    "<box xmlns=\"urn:vendor-box\"><lid>d</lid></box>"
    "<crate xmlns=\"urn:vendor-box\"><lid>e</lid></crate>"
    "<crate xmlns=\"urn:other-box\"><lid>f</lid></crate>";

class SelectModules : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    const TempFolder folder;
    folder.write("openconfig-box.yang", kOpenConfig);
    folder.write("vendor-box.yang", kVendor);
    folder.write("other-box.yang", kOther);
    ASSERT_EQ(load_text(folder), "");
    nexa::store::number_schema();
  }

  static gnmi::Path path_of(const std::string& text) {
    return nexa::translate::parse_path_string(text, nullptr).value();
  }

  // The module of the schema node that the path means, or the refusal.
  static std::vector<std::string> modules(const std::string& path) {
    const auto target = nexa_test::loaded_model().tolerant.resolve(gnmi::Path(), path_of(path),
                                                                   nexa::model::Purpose::kRead);
    if (!target.ok()) return {target.failure().rule};
    return {target.value().last().schema->module->name};
  }

  static std::vector<std::string> find(const std::string& path, const std::string& origin = "") {
    const ImagePtr tree = shop_image(kData);
    gnmi::Path asked = path_of(path);
    asked.set_origin(origin);
    std::vector<std::string> found;
    const auto keep = [&](const NodePair&, gnmi::Path& concrete) {
      found.push_back(nexa::translate::format_path_string(concrete));
    };
    nexa::store::select_nodes(target_of(asked), tree.get(), nullptr, keep);
    return found;
  }
};

TEST_F(SelectModules, ABareNameAtTheTopMeansOpenConfig) {
  EXPECT_THAT(modules("/box"), ElementsAre("openconfig-box"));
  EXPECT_THAT(modules("/box/label"), ElementsAre("vendor-box"));
  EXPECT_THAT(modules("/vendor-box:box"), ElementsAre("vendor-box"));
  EXPECT_THAT(find("/box/lid"), ElementsAre("/box/lid"));
}

TEST_F(SelectModules, WithoutOpenConfigTheNameHasToBeOnesOwn) {
  EXPECT_THAT(modules("/crate"),
              ElementsAre("the name \"crate\" has more than one meaning at the top "
                          "of the schema: other-box:crate, vendor-box:crate"));
}

TEST_F(SelectModules, WildcardsNameTheModuleWhereABareNameMeansAnother) {
  EXPECT_THAT(find("/*"), testing::UnorderedElementsAre("/box", "/vendor-box:box",
                                                        "/vendor-box:crate", "/other-box:crate"));
  EXPECT_THAT(find("/box/*"), ElementsAre("/box/lid", "/box/vendor-box:lid", "/box/label"));
}

TEST_F(SelectModules, WildcardsStayWithinTheirOrigin) {
  EXPECT_EQ(find("/.../lid").size(), 4U);
  EXPECT_THAT(find("/.../lid", "other-box"), ElementsAre("/crate/lid"));
  EXPECT_THAT(find("/.../lid", "vendor-box"),
              testing::UnorderedElementsAre("/box/lid", "/crate/lid"));
  EXPECT_THAT(find("/*", "other-box"), ElementsAre("/crate"));
}

TEST_F(SelectModules, PlainJsonNamesTheModuleWhereANameIsShared) {
  const ImagePtr tree = shop_image(kData);
  nexa::store::JsonForm form;
  form.qualify = false;
  std::string json;
  ASSERT_TRUE(append_tree({tree.get(), nullptr}, form, json));
  EXPECT_EQ(json,
            R"({"box":{"lid":"a","vendor-box:lid":"b","label":"c"},"other-box:crate":{"lid":"f"},)"
            R"("vendor-box:box":{"lid":"d"},"vendor-box:crate":{"lid":"e"}})");
}

}  // namespace selection_modules_test
