// Small YANG modules made at random from a seed: what a test compares two judges with. Modules that
// libyang does not take (a reference that leads nowhere, a default below a mandatory node) are made
// as well: the test passes over them.
#ifndef TESTS_STORE_RANDOM_MODULE_H_
#define TESTS_STORE_RANDOM_MODULE_H_

#include <algorithm>
#include <random>
#include <string>
#include <vector>

namespace nexa::store {

class RandomSource {
 public:
  explicit RandomSource(std::uint32_t seed) : engine_(seed) {}
  // One of 0 .. count - 1.
  std::size_t below(std::size_t count) { return engine_() % count; }
  bool chance(unsigned percent) { return engine_() % 100 < percent; }

  template <typename Items>
  auto& pick(Items& items) {
    return items[below(items.size())];
  }

 private:
  std::mt19937 engine_;
};

// Writes `module m`. Without chains no `when` looks at a node that depends on another one.
class RandomModule {
 public:
  RandomModule(RandomSource& random, bool with_chains)
      : random_(random), with_chains_(with_chains) {}
  std::string text();

 private:
  struct Node {
    std::vector<std::string> path;  // of data nodes, from the top
    bool is_leaf = false;
    bool is_string = false;
    bool has_when = false;
  };

  std::string children(const std::vector<std::string>& path, int depth, bool conditional);
  std::string child(const std::vector<std::string>& path, int depth, bool conditional);
  std::string leaf(const std::vector<std::string>& path, bool conditional, bool in_case);
  std::string leaf_list(const std::vector<std::string>& path, bool conditional);
  std::string container(const std::vector<std::string>& path, int depth, bool conditional);
  std::string list(const std::vector<std::string>& path, int depth, bool conditional);
  std::string choice(const std::vector<std::string>& path, int depth, bool conditional);
  std::string type(const std::vector<std::string>& path, bool& is_string);
  std::string type_and_must(const std::vector<std::string>& path, bool& is_string);
  std::string when(const std::vector<std::string>& path, bool& conditional);
  std::string must(const std::vector<std::string>& path);
  std::string expression(const std::vector<std::string>& from, bool for_when);
  std::string way(const std::vector<std::string>& from, const std::vector<std::string>& to);
  std::string name() { return "n" + std::to_string(count_++); }
  void remember(const std::vector<std::string>& path, bool is_leaf, bool is_string, bool has_when);

  RandomSource& random_;
  bool with_chains_;
  int count_ = 0;
  std::vector<Node> nodes_;
};

using Path = std::vector<std::string>;

inline const std::vector<std::string> kWords = {"a", "b", "1", "2", "true", "false"};

inline Path below(Path path, const std::string& name) {
  path.push_back(name);
  return path;
}

inline std::string RandomModule::text() {
  std::string body = children({}, 0, false);
  return "module m { yang-version 1.1; namespace \"urn:m\"; prefix m;\n" + body + "}\n";
}

inline std::string RandomModule::children(const Path& path, int depth, bool conditional) {
  std::string text;
  const std::size_t count = 2 + random_.below(3);
  for (std::size_t i = 0; i < count; ++i) text += child(path, depth, conditional);
  return text;
}

inline std::string RandomModule::child(const Path& path, int depth, bool conditional) {
  if (depth == 0) {
    return random_.chance(80) ? container(path, depth, conditional)
                              : leaf(path, conditional, false);
  }
  const std::size_t kind = random_.below(depth < 3 ? 10 : 6);
  if (kind < 4) return leaf(path, conditional, false);
  if (kind < 6) return leaf_list(path, conditional);
  if (kind == 6) return container(path, depth, conditional);
  return kind < 9 ? list(path, depth, conditional) : choice(path, depth, conditional);
}

inline std::string RandomModule::leaf(const Path& path, bool conditional, bool in_case) {
  const std::string own = name();
  const Path here = below(path, own);
  std::string text = "leaf " + own + " { " + when(here, conditional);
  bool is_string = true;
  text += type_and_must(here, is_string);
  if (is_string && random_.chance(25)) {
    text += "default \"" + random_.pick(kWords) + "\"; ";
  } else if (!in_case && random_.chance(8) && !path.empty()) {
    text += "mandatory true; ";
  }
  remember(here, true, is_string, conditional);
  return text + "}\n";
}

inline std::string RandomModule::leaf_list(const Path& path, bool conditional) {
  const std::string own = name();
  const Path here = below(path, own);
  std::string text = "leaf-list " + own + " { " + when(here, conditional);
  bool is_string = true;
  text += type_and_must(here, is_string);
  if (random_.chance(40)) text += "ordered-by user; ";
  if (random_.chance(20)) text += "max-elements 2; ";
  if (is_string && random_.chance(25)) {
    text += "default \"a\"; default \"b\"; ";
  } else if (random_.chance(10)) {
    text += "min-elements 1; ";
  }
  remember(here, true, is_string, conditional);
  return text + "}\n";
}

inline std::string RandomModule::container(const Path& path, int depth, bool conditional) {
  const std::string own = name();
  const Path here = below(path, own);
  std::string text = "container " + own + " { " + (path.empty() ? "" : when(here, conditional));
  if (random_.chance(30)) text += "presence \"p\"; ";
  text += must(here);
  remember(here, false, false, conditional);
  return text + "\n" + children(here, depth + 1, conditional) + "}\n";
}

inline std::string RandomModule::list(const Path& path, int depth, bool conditional) {
  const std::string own = name();
  const Path here = below(path, own);
  std::string text = "list " + own + " { key \"k\"; " + when(here, conditional);
  if (random_.chance(40)) text += "ordered-by user; ";
  if (random_.chance(20)) text += "max-elements 2; ";
  if (random_.chance(10)) text += "min-elements 1; ";
  text += must(here) + "leaf k { type string; }\n";
  remember(here, false, false, conditional);
  remember(below(here, "k"), true, true, conditional);
  if (random_.chance(40)) {
    const std::string one = name();
    const std::string other = name();
    text += "unique \"" + one + " " + other + "\"; leaf " + one + " { type string; }\n leaf " +
            other + " { type string; default \"a\"; }\n";
    remember(below(here, one), true, true, conditional);
    remember(below(here, other), true, true, conditional);
  }
  return text + children(here, depth + 1, conditional) + "}\n";
}

inline std::string RandomModule::choice(const Path& path, int depth, bool conditional) {
  const std::string own = name();
  std::string text = "choice " + own + " { ";
  const std::size_t cases = 2 + random_.below(2);
  const bool has_default = random_.chance(30);
  if (has_default) text += "default " + own + "0; ";
  if (!has_default && random_.chance(15)) text += "mandatory true; ";
  for (std::size_t i = 0; i < cases; ++i) {
    text += "case " + own + std::to_string(i) + " { ";
    const std::size_t count = 1 + random_.below(2);
    for (std::size_t j = 0; j < count; ++j) {
      const bool is_leaf = depth > 2 || random_.chance(70);
      text += is_leaf              ? leaf(path, conditional, true)
              : random_.chance(15) ? choice(path, depth + 1, conditional)
                                   : container(path, depth, conditional);
    }
    text += "}\n";
  }
  return text + "}\n";
}

inline std::string RandomModule::type(const Path& path, bool& is_string) {
  is_string = random_.chance(60);
  if (is_string) return "type string; ";
  if (random_.chance(25)) return "type int8; ";
  if (random_.chance(8)) return "type instance-identifier; ";
  Path target = {"none"};
  for (const Node& node : nodes_) {
    if (node.is_leaf && node.is_string && random_.chance(40)) target = node.path;
  }
  return "type leafref { path \"" + way(path, target) + "\"; } ";
}

// One after the other in words: which operand of a + comes first is the compiler's choice, and a
// seed means one module everywhere.
inline std::string RandomModule::type_and_must(const Path& path, bool& is_string) {
  const std::string rule = must(path);
  return type(path, is_string) + rule;
}

inline std::string RandomModule::when(const Path& path, bool& conditional) {
  if (!random_.chance(20)) return "";
  const std::string text = expression(path, true);
  if (text.empty()) return "";
  conditional = true;
  return "when \"" + text + "\"; ";
}

inline std::string RandomModule::must(const Path& path) {
  if (!random_.chance(15)) return "";
  const std::string text = expression(path, false);
  if (text.empty()) return "";
  const std::string message =
      random_.chance(50) ? " { error-message \"rule " + std::to_string(count_) + "\"; }" : ";";
  return "must \"" + text + "\"" + message + " ";
}

inline std::string RandomModule::expression(const Path& from, bool for_when) {
  std::vector<Path> targets;
  for (const Node& node : nodes_) {
    const bool is_above = node.path.size() < from.size() &&
                          std::equal(node.path.begin(), node.path.end(), from.begin());
    if (is_above || (for_when && node.has_when && !with_chains_)) continue;
    targets.push_back(node.path);
  }
  if (targets.empty()) return "";
  const std::string one = way(from, random_.pick(targets));
  const std::string word = "'" + random_.pick(kWords) + "'";
  switch (random_.below(7)) {
    case 0:
      return one;
    case 1:
      return "not(" + one + ")";
    case 2:
      return one + " = " + word;
    case 3:
      return "not(" + one + " = " + word + ")";
    case 4:
      return "count(" + one + ") < 2";
    case 5:
      return one + " != " + word + " or not(" + way(from, random_.pick(targets)) + ")";
    default:
      return "string-length(" + one + ") < 2 and not(" + one + "[. = " + word + "])";
  }
}

// A relative or an absolute path.
inline std::string RandomModule::way(const Path& from, const Path& to) {
  std::string text;
  if (random_.chance(40)) {
    for (const std::string& step : to) text += "/m:" + step;
    return text;
  }
  std::size_t shared = 0;
  while (shared < from.size() && shared + 1 < to.size() && from[shared] == to[shared]) ++shared;
  for (std::size_t i = shared; i < from.size(); ++i) text += "../";
  for (std::size_t i = shared; i < to.size(); ++i) {
    text += to[i] + (i + 1 < to.size() ? "/" : "");
  }
  return text;
}

inline void RandomModule::remember(const Path& path, bool is_leaf, bool is_string, bool has_when) {
  nodes_.push_back({path, is_leaf, is_string, has_when});
}

}  // namespace nexa::store

#endif  // TESTS_STORE_RANDOM_MODULE_H_
