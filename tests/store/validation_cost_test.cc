// What a change costs where many entries are stored, over published models: that the check of the
// change is enough for the usual ones, and that its time does not grow with the data.
#include <algorithm>
#include <iostream>
#include <limits>

#include "real/yang_folders.h"
#include "store/validation_fixture.h"
#include "support/processor_time.h"
#include "tree_content.h"

namespace nexa::store {
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
    for (lyd_node* top = tree_.get(); top != nullptr; top = top->next) mark(top);
    lyd_node* first = tree_.release();
    const double start = nexa_test::processor_seconds();
    const std::optional<Violation> violation = validator_.judge_whole(first);
    whole_us_ = (nexa_test::processor_seconds() - start) * 1e6;
    tree_.reset(first);
    EXPECT_FALSE(violation) << violation->path << violation->rule;
  }

  // Microseconds that the judgement of the whole tree took.
  double whole() const { return whole_us_; }
  std::size_t nodes() const { return count_nodes(tree_.get()); }

  // Microseconds that the check takes when a document is merged: entries come, leafs change.
  double merge(const std::string& xml) {
    TreeChanges changes;
    const TreePtr document = parse(xml);
    merge_level(nullptr, document.get(), changes);
    return judge(changes);
  }

  // The same when the node at `path` goes.
  double remove(const std::string& path) {
    lyd_node* node = nullptr;
    EXPECT_EQ(lyd_find_path(tree_.get(), path.c_str(), 0, &node), LY_SUCCESS) << path;
    TreeChanges changes;
    TreeChange& change = changes.emplace_back();
    change.kind = TreeChange::Kind::kDeleted;
    change.node = node;
    change.parent = lyd_parent(node);
    lyd_unlink_tree(node);
    change.subtree.reset(node);
    return judge(changes);
  }

  // The median of `count` changes.
  template <typename Change>
  double median(int count, const Change& make) {
    std::vector<double> times;
    for (int i = 0; i < count; ++i) times.push_back(make(*this, i));
    std::sort(times.begin(), times.end());
    return times[times.size() / 2];
  }

 private:
  void mark(lyd_node* node) {
    validator_.mark_node(node, true);
    for (lyd_node* child = lyd_child(node); child != nullptr; child = child->next) mark(child);
  }

  void merge_level(lyd_node* parent, const lyd_node* source, TreeChanges& changes) {
    lyd_node* top = tree_.release();
    for (; source != nullptr; source = source->next) {
      lyd_node* const siblings = parent != nullptr ? lyd_child(parent) : top;
      lyd_node* const match = find_match(siblings, source);
      if (match == nullptr) {
        lyd_node* const node = nexa_test::copy_subtree(source);
        ASSERT_TRUE(insert_node(top, parent, node));
        TreeChange& change = changes.emplace_back();
        change.node = node;
        change.parent = parent;
      } else if ((source->schema->nodetype & LYD_NODE_INNER) != 0) {
        tree_.reset(top);
        merge_level(match, lyd_child(source), changes);
        top = tree_.release();
      } else if (lyd_compare_single(match, source, 0) != LY_SUCCESS) {
        TreeChange& change = changes.emplace_back();
        change.kind = TreeChange::Kind::kValue;
        change.node = match;
        change.parent = parent;
        change.old_value = lyd_get_value(match);
        change.old_flags = match->flags;
        EXPECT_EQ(lyd_change_term_canon(match, lyd_get_value(source)), LY_SUCCESS);
      }
    }
    tree_.reset(top);
  }

  double judge(TreeChanges& changes) {
    lyd_node* first = tree_.release();
    const double start = nexa_test::processor_seconds();
    const Validator::Outcome outcome = validator_.judge_change(first, changes);
    const double end = nexa_test::processor_seconds();
    tree_.reset(first);
    EXPECT_FALSE(outcome.violation) << outcome.violation->path << ": " << outcome.violation->rule;
    EXPECT_FALSE(outcome.needs_whole);
    return (end - start) * 1e6;
  }

  Validator validator_;
  TreePtr tree_;
  double whole_us_ = 0;
};

std::string ietf_leaf(int i, int value) {
  return ietf("<interface><name>" + name_of(i) + "</name><description>v" + std::to_string(value) +
              "</description></interface>");
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
    leaf.push_back(
        measured.median(21, [](Measured& tree, int i) { return tree.merge(ietf_leaf(5, i)); }));
    entry.push_back(measured.median(
        21, [count](Measured& tree, int i) { return tree.merge(ietf(ietf_entry(count + i))); }));
    const double gone = measured.median(21, [count](Measured& tree, int i) {
      return tree.remove("/ietf-interfaces:interfaces/interface[name='" + name_of(count + i) +
                         "']");
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
    leaf.push_back(measured.median(21, [](Measured& tree, int i) {
      return tree.merge(openconfig("<interface><name>eth5</name><config><mtu>" +
                                   std::to_string(1501 + i) + "</mtu></config></interface>"));
    }));
    entry.push_back(measured.median(21, [count](Measured& tree, int i) {
      return tree.merge(openconfig(openconfig_entry(count + i)));
    }));
    const double gone = measured.median(21, [count](Measured& tree, int i) {
      return tree.remove("/openconfig-interfaces:interfaces/interface[name='" + name_of(count + i) +
                         "']");
    });
    std::cout << count << " entries: leaf " << leaf.back() << " us, new entry " << entry.back()
              << " us, deleted entry " << gone << " us\n";
  }
  EXPECT_LT(leaf.back(), 5 * leaf.front() + 20);
  EXPECT_LT(entry.back(), 5 * entry.front() + 100);
}

// Where the check of a change costs as much as the walk over the whole tree: the validator's limit.
TEST(ValidationCost, OfANodeThatComesAndOfANodeOfTheTree) {
  NEXA_NEED_FOLDER(nexa_test::openconfig_folder());
  load({nexa_test::openconfig_folder()},
       {"openconfig-interfaces", "openconfig-if-ip", "openconfig-if-ethernet",
        "openconfig-if-aggregate", "openconfig-vlan", "iana-if-type"});
  Measured all(openconfig(many(3000, openconfig_entry)));
  Measured half(openconfig(many(1500, openconfig_entry)));
  const std::size_t before = half.nodes();
  const double change =
      half.merge(openconfig(many(1500, [](int i) { return openconfig_entry(1500 + i); })));
  const double of_change = change / static_cast<double>(half.nodes() - before);
  const double of_tree = all.whole() / static_cast<double>(all.nodes());
  std::cout << "a node that comes " << of_change << " us, a node of the tree " << of_tree
            << " us\n";
  EXPECT_LT(of_change, 4 * of_tree);
}

// Each interface brings containers whose conditions do not hold.
TEST(ValidationCost, ManyNewEntriesCostAsMuchAsEachOfThem) {
  NEXA_NEED_FOLDER(nexa_test::openconfig_folder());
  load({nexa_test::openconfig_folder()},
       {"openconfig-interfaces", "openconfig-if-ip", "openconfig-if-ethernet",
        "openconfig-if-aggregate", "openconfig-vlan", "iana-if-type"});
  const auto time_of = [](int count) {
    double least = std::numeric_limits<double>::max();
    for (int run = 0; run < 3; ++run) {
      Measured measured(openconfig(openconfig_entry(0)));
      least = std::min(
          least,
          measured.merge(openconfig(many(count, [](int i) { return openconfig_entry(1 + i); }))));
    }
    return least / count;
  };
  const double few = time_of(500);
  const double many_more = time_of(5000);
  std::cout << "an entry of 500: " << few << " us, of 5000: " << many_more << " us\n";
  EXPECT_LT(many_more, 2 * few);
}

TEST(ValidationCost, OneMoreEntryThatTheUserOrdersCostsNoWalkOfTheList) {
  ASSERT_EQ(
      nexa_test::load_module("m", R"y(module m { yang-version 1.1; namespace "urn:m"; prefix m;
                  container c { list l { key "k"; ordered-by user; min-elements 1;
                    leaf k { type string; } leaf d { type string; default "d"; }
                    leaf r { type leafref { path "/m:c/m:l/m:k"; } } } } })y"),
      "");
  const auto entry = [](int i) {
    const std::string key = std::to_string(i);
    return "<l><k>" + key + "</k><r>" + key + "</r></l>";
  };
  const auto in_c = [](const std::string& xml) { return "<c xmlns=\"urn:m\">" + xml + "</c>"; };
  std::vector<double> times;
  for (const int count : {100, 10000}) {
    Measured measured(in_c(many(count, entry)));
    times.push_back(measured.median(
        21, [&](Measured& tree, int i) { return tree.merge(in_c(entry(count + i))); }));
    std::cout << count << " entries: one more " << times.back() << " us\n";
  }
  EXPECT_LT(times.back(), 3 * times.front() + 20);
}

}  // namespace
}  // namespace nexa::store
