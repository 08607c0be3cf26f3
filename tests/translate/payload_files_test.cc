// Published payloads: what the layer stores is what libyang reads, and what libyang refuses is
// refused.
#include <algorithm>
#include <filesystem>

#include "real/yang_folders.h"
#include "translate/fixture.h"

namespace nexa_test {
namespace {

// Where a payload belongs that is not a whole tree: an element of the path, in the module of the
// first.
struct Place {
  const char* file;
  std::vector<std::string> path;
};

const std::vector<Place> kPlaces = {
    {"bgp-ietf.json",
     {"openconfig-network-instance:network-instances", "network-instance[name=d]", "protocols",
      "protocol[identifier=openconfig-policy-types:BGP][name=b]", "bgp"}},
    {"gnxi-oc_config_validate_demo_init_config.json", {"openconfig-system:system", "config"}},
    {"gnxi-oc_config_validate_init_configs_example.json", {"openconfig-system:system", "config"}},
    {"gnxi-oc_config_validate_init_configs_interfaces.json", {"openconfig-interfaces:interfaces"}},
    {"gnxi-oc_config_validate_init_configs_subif_static_ip.json",
     {"openconfig-interfaces:interfaces"}},
    {"gnxi-oc_config_validate_init_configs_routing_instance.json",
     {"openconfig-network-instance:network-instances"}},
    {"gnxi-oc_config_validate_init_configs_routing_instance_bgp.json",
     {"openconfig-network-instance:network-instances"}},
    {"gnxi-oc_config_validate_init_configs_system.json", {"openconfig-system:system"}},
    {"gnxi-oc_config_validate_init_configs_ap.json",
     {"openconfig-access-points:access-points", "access-point[hostname=ap.example.com]"}},
};

std::string path_text(const std::vector<std::string>& elements) {
  std::string text;
  for (const std::string& element : elements) text += "/" + element;
  return text.empty() ? "/" : text;
}

// The document that a value at these elements is part of; keys become members.
std::string wrapped(const std::vector<std::string>& elements, const std::string& value) {
  std::string text = value;
  for (auto element = elements.rbegin(); element != elements.rend(); ++element) {
    const std::string name = element->substr(0, element->find('['));
    if (name.size() < element->size()) {
      std::string keys;
      const gnmi::Path path = path_of("/" + *element);
      for (const auto& [key, given] : path.elem(0).key()) {
        keys += "\"" + key + "\":\"" + given + "\",";
      }
      const bool has_keys =
          text.find("\"hostname\"") != std::string::npos && keys.find("hostname") == 1;
      text = "[{" + (has_keys ? std::string() : keys) + text.substr(text.find('{') + 1) + "]";
    }
    text = "{\"" + name + "\":" + text + "}";
  }
  return text;
}

class PayloadFiles : public testing::Test {
 protected:
  void SetUp() override {
    NEXA_NEED_FOLDER(openconfig_folder());
    if (!has_files(payload_folder(), ".json")) GTEST_SKIP() << absent(payload_folder());
    folder_ = payload_folder().path;
    std::string error;
    set_ = std::make_unique<LoadedSet>(std::vector<std::string>{openconfig_folder().path},
                                       std::vector<std::string>(), error);
    ASSERT_EQ(error, "");
  }

  std::string folder_;
  std::unique_ptr<LoadedSet> set_;
};

TEST_F(PayloadFiles, AreStoredAsLibyangReadsThemOrRefusedAsItRefusesThem) {
  std::size_t files = 0;
  std::size_t accepted = 0;
  for (const auto& entry : std::filesystem::directory_iterator(folder_)) {
    if (entry.path().extension() != ".json") continue;
    ++files;
    const std::string name = entry.path().filename().string();
    const std::string json = read_text(entry.path().string());
    const auto place = std::find_if(kPlaces.begin(), kPlaces.end(),
                                    [&](const Place& one) { return name == one.file; });
    const std::vector<std::string> elements =
        place != kPlaces.end() ? place->path : std::vector<std::string>();
    const JsonVerdict expected = read_json(wrapped(elements, json));
    gnmi::Update update = update_of(path_text(elements), json);
    update.mutable_path();
    for (UpdateDoor* translator : {&set_->strict(), &set_->tolerant()}) {
      const bool strict = translator->mode() == Mode::kStrict;
      const Translation got = translator->translate(gnmi::Path(), update, Operation::kReplace);
      if (strict) {
        EXPECT_EQ(got.status.ok(), expected.accepted) << name << "\nlibyang: " << expected.reason
                                                      << "\nlayer: " << got.status.error_message();
      }
      if (!got.status.ok() || !expected.accepted) continue;
      std::string problem;
      const Tree actual = read_config(got.xml, problem);
      EXPECT_EQ(problem, "") << name;
      add_twins(expected.tree.get(),
                translator->resolver()
                    .resolve(gnmi::Path(), update.path(), nexa::model::Purpose::kWrite)
                    .value());
      EXPECT_EQ(difference(expected.tree.get(), actual.get()), "") << name;
      accepted += strict ? 1 : 0;
    }
    std::printf("%-62s %s\n", name.c_str(),
                expected.accepted ? "stored" : expected.reason.substr(0, 90).c_str());
  }
  EXPECT_GE(files, 28U);
  EXPECT_GE(accepted, 10U);
}

}  // namespace
}  // namespace nexa_test
