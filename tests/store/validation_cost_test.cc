// What a change costs where many entries are stored, over published models: that the check of the
// change is enough for the usual ones, and that its time does not grow with the data.
#include <chrono>
#include <iostream>

#include "real/yang_folders.h"
#include "store/validation_fixture.h"

namespace nexa::host {
namespace {

using nexa_test::YangFolder;

constexpr char kIetfInterfaces[] = "urn:ietf:params:xml:ns:yang:ietf-interfaces";
constexpr char kIetfIp[] = "urn:ietf:params:xml:ns:yang:ietf-ip";
constexpr char kOpenconfig[] = "http://openconfig.net/yang/interfaces";

void load(std::vector<YangFolder> folders, std::vector<std::string> modules) {
  kestrel::LoadOptions options;
  for (const YangFolder& folder : folders) options.search_dirs.push_back(folder.path);
  options.modules = std::move(modules);
  ASSERT_EQ(nexa_test::load_text(options), "");
}

std::string name_of(int i) { return "eth" + std::to_string(i); }

std::string ietf_entry(int i) {
  return "<interface><name>" + name_of(i) +
         "</name><description>d</description><type "
         "xmlns:t=\"urn:ietf:params:xml:ns:yang:iana-if-type\">t:ethernetCsmacd</type>"
         "<ipv4 xmlns=\"" +
         kIetfIp +
         "\"><mtu>1500</mtu><address><ip>10.0.0.1</ip><prefix-length>24</prefix-length>"
         "</address></ipv4></interface>";
}

std::string ietf(const std::string& entries) {
  return std::string("<interfaces xmlns=\"") + kIetfInterfaces + "\">" + entries + "</interfaces>";
}

std::string openconfig_entry(int i) {
  return "<interface><name>" + name_of(i) + "</name><config><name>" + name_of(i) +
         "</name><type xmlns:t=\"urn:ietf:params:xml:ns:yang:iana-if-type\">t:ethernetCsmacd"
         "</type><mtu>1500</mtu></config></interface>";
}

std::string openconfig(const std::string& entries) {
  return std::string("<interfaces xmlns=\"") + kOpenconfig + "\">" + entries + "</interfaces>";
}

template <typename Entry>
std::string many(int count, const Entry& entry) {
  std::string text;
  for (int i = 0; i < count; ++i) text += entry(i);
  return text;
}

// Stands for what a store does: one tree that changes in place.
class Measured {
 public:
  explicit Measured(const std::string& xml) : tree_(parse(xml)) {
    lyd_node* first = tree_.release();
    const Validator::Outcome outcome = validator_.validate_all(first);
    tree_.reset(first);
    EXPECT_FALSE(outcome.violation) << outcome.violation->path << outcome.violation->rule;
  }

  // Microseconds that the check of a change takes: a diff given as XML, applied before.
  double change(const std::string& diff_xml) {
    const TreePtr diff = parse(diff_xml);
    apply_diff(tree_, diff.get());
    lyd_node* first = tree_.release();
    const auto start = std::chrono::steady_clock::now();
    const Validator::Outcome outcome = validator_.validate_change(first, diff.get());
    const auto end = std::chrono::steady_clock::now();
    tree_.reset(first);
    EXPECT_FALSE(outcome.violation) << outcome.violation->path << ": " << outcome.violation->rule;
    EXPECT_FALSE(outcome.whole_tree);
    return std::chrono::duration<double, std::micro>(end - start).count();
  }

  // The median of `count` changes.
  template <typename Change>
  double median(int count, const Change& make) {
    std::vector<double> times;
    for (int i = 0; i < count; ++i) times.push_back(change(make(i)));
    std::sort(times.begin(), times.end());
    return times[times.size() / 2];
  }

 private:
  Validator validator_;
  TreePtr tree_;
};

std::string with_operations(const std::string& tree) {
  std::string text = tree;
  const std::size_t at = text.find(" xmlns");
  return text.insert(at, " xmlns:y=\"urn:ietf:params:xml:ns:yang:1\" y:operation=\"none\"");
}

std::string ietf_leaf(int i, int value) {
  return with_operations(ietf("<interface><name>" + name_of(i) +
                              "</name><description y:operation=\"replace\" y:orig-value=\"d\" "
                              "y:orig-default=\"false\">v" +
                              std::to_string(value) + "</description></interface>"));
}

std::string in_operation(const char* operation, std::string entry) {
  return entry.insert(10, std::string(" y:operation=\"") + operation + "\"");
}

TEST(ValidationCost, IetfInterfaces) {
  NEXA_NEED_FOLDER(nexa_test::ietf_nmda_folder());
  NEXA_NEED_FOLDER(nexa_test::ietf_folder());
  load({nexa_test::ietf_nmda_folder(), nexa_test::ietf_folder()},
       {"ietf-interfaces", "ietf-ip", "iana-if-type"});
  std::vector<double> leaf;
  std::vector<double> entry;
  for (const int count : {10, 1000, 10000}) {
    Measured measured(ietf(many(count, ietf_entry)));
    leaf.push_back(measured.median(21, [](int i) { return ietf_leaf(5, i); }));
    entry.push_back(measured.median(21, [count](int i) {
      return with_operations(ietf(in_operation("create", ietf_entry(count + i))));
    }));
    const double gone = measured.median(21, [count](int i) {
      return with_operations(ietf(in_operation("delete", ietf_entry(count + i))));
    });
    std::cout << count << " entries: leaf " << leaf.back() << " us, new entry " << entry.back()
              << " us, deleted entry " << gone << " us\n";
  }
  EXPECT_LT(leaf.back(), 5 * leaf.front() + 20);
  EXPECT_LT(entry.back(), 5 * entry.front() + 50);
}

TEST(ValidationCost, OpenconfigInterfaces) {
  NEXA_NEED_FOLDER(nexa_test::openconfig_folder());
  load({nexa_test::openconfig_folder()},
       {"openconfig-interfaces", "openconfig-if-ip", "openconfig-if-ethernet",
        "openconfig-if-aggregate", "openconfig-vlan", "iana-if-type"});
  std::vector<double> leaf;
  std::vector<double> entry;
  for (const int count : {10, 1000}) {
    Measured measured(openconfig(many(count, openconfig_entry)));
    leaf.push_back(measured.median(21, [](int i) {
      return with_operations(
          openconfig("<interface><name>eth5</name><config><mtu y:operation=\"replace\" "
                     "y:orig-value=\"1500\" y:orig-default=\"false\">" +
                     std::to_string(1501 + i) + "</mtu></config></interface>"));
    }));
    entry.push_back(measured.median(21, [count](int i) {
      return with_operations(openconfig(in_operation("create", openconfig_entry(count + i))));
    }));
    const double gone = measured.median(21, [count](int i) {
      return with_operations(openconfig(in_operation("delete", openconfig_entry(count + i))));
    });
    std::cout << count << " entries: leaf " << leaf.back() << " us, new entry " << entry.back()
              << " us, deleted entry " << gone << " us\n";
  }
  EXPECT_LT(leaf.back(), 5 * leaf.front() + 20);
  EXPECT_LT(entry.back(), 5 * entry.front() + 100);
}

// Each interface brings containers whose conditions do not hold and that are taken out again.
TEST(ValidationCost, ManyNewEntriesCostLittleMoreThanEachOfThem) {
  NEXA_NEED_FOLDER(nexa_test::openconfig_folder());
  load({nexa_test::openconfig_folder()},
       {"openconfig-interfaces", "openconfig-if-ip", "openconfig-if-ethernet",
        "openconfig-if-aggregate", "openconfig-vlan", "iana-if-type"});
  const auto time_of = [](int count) {
    Measured measured(openconfig(openconfig_entry(0)));
    return measured.change(with_operations(openconfig(
        many(count, [](int i) { return in_operation("create", openconfig_entry(1 + i)); }))));
  };
  const double few = time_of(50);
  const double many_more = time_of(1000);
  std::cout << "50 entries " << few << " us, 1000 entries " << many_more << " us\n";
  EXPECT_LT(many_more, 20 * 4 * few);
}

}  // namespace
}  // namespace nexa::host
