// Expressions are built outwards: a path to a node that exists in the schema, then something that
// asks about it. Left out is what libyang 2.1.30 is known to judge against XPath 1.0, section 2.1:
// a
// "*" or "node()" step with further steps behind it finds nodes that are not there.
#include <algorithm>

#include "store/random_yang_nodes.h"

namespace nexa_test {
namespace {

std::string joined(const Steps& steps, std::size_t from) {
  std::string text;
  for (std::size_t i = from; i < steps.size(); ++i) text += (i > from ? "/" : "") + steps[i];
  return text;
}

bool is_above(const Steps& upper, const Steps& lower) {
  return upper.size() <= lower.size() && std::equal(upper.begin(), upper.end(), lower.begin());
}

}  // namespace

std::string sample(Dice& dice, Value value) {
  static const std::string strings[] = {"a", "b", "c", "1", "2", "true"};
  static const std::string bits[] = {"r", "w", "r w", "x"};
  static const std::string enums[] = {"one", "two", "three"};
  static const std::string of_unions[] = {"1", "01", "2", "true", "one", "a", "m:id-a"};
  static const std::string identities[] = {"m:id-a", "m:id-b", "m:id-c"};
  switch (value) {
    case Value::kNumber:
      return std::to_string(dice.below(4));
    case Value::kBoolean:
      return dice.chance(50) ? "true" : "false";
    case Value::kEnumeration:
      return dice.pick(enums);
    case Value::kBits:
      return dice.pick(bits);
    case Value::kIdentity:
      return dice.pick(identities);
    case Value::kUnion:
      return dice.pick(of_unions);
    default:
      return dice.pick(strings);
  }
}

std::string ExpressionMaker::word(Value value) { return "'" + sample(dice_, value) + "'"; }

const KnownNode* ExpressionMaker::known(const Steps& path) const {
  for (const KnownNode& node : nodes_) {
    if (node.path == path) return &node;
  }
  return nullptr;
}

// A node that the place may ask about: not above it, since a rule about a node that has to be there
// says nothing; for a `when` nothing below it either.
const KnownNode* ExpressionMaker::target(const Place& place, bool leaf_only) {
  std::vector<const KnownNode*> choices;
  for (std::size_t i = place.first; i < nodes_.size(); ++i) {
    const KnownNode& node = nodes_[i];
    if (is_above(node.path, place.context)) continue;
    if (leaf_only && node.value == Value::kNone) continue;
    if (place.is_when) {
      if (!place.may_look_below && is_above(place.context, node.path)) continue;
      if (!schema_.has_chains && (node.is_conditional_default || node.is_conditional)) continue;
    }
    choices.push_back(&node);
  }
  if (choices.empty()) return nullptr;
  // Neighbours make the better rules.
  for (int attempt = 0; attempt < 3; ++attempt) {
    const KnownNode* const node = dice_.pick(choices);
    if (!place.context.empty() && !node->path.empty() &&
        node->path.front() == place.context.front()) {
      return node;
    }
  }
  return dice_.pick(choices);
}

std::string ExpressionMaker::predicate(const Place& place, const KnownNode& list) {
  if (!list.is_list || list.key.empty()) return "";
  const std::size_t kind = dice_.below(14);
  if (kind < 8) return "";
  if (kind < 10) return "[" + list.key + "=" + word(Value::kString) + "]";
  // libyang does not survive this one where the current node is absent.
  if (kind == 10 && allow_crash) {
    schema_.may_crash = true;
    return "[" + list.key + "!=string(current())]";
  }
  if (kind == 10 && place.context.size() > 1 && !place.is_when) {
    return "[" + list.key + "=current()/../" + list.key + "]";
  }
  if (!list.by_user) {
    if (!dice_.chance(15)) return "";
    schema_.looks_at_order = true;
  }
  static const std::string positions[] = {"[1]", "[2]", "[last()]", "[position()=2]",
                                          "[position() < last()]"};
  return dice_.pick(positions);
}

std::string ExpressionMaker::straight_way(const Place& place, const KnownNode& target) {
  const bool is_absolute = !place.only_relative && (place.context.empty() || dice_.chance(40));
  std::size_t shared = 0;
  std::string text;
  const bool with_axes = dice_.chance(20);
  if (is_absolute) {
    text = "/";
  } else {
    while (shared < place.context.size() && shared + 1 < target.path.size() &&
           place.context[shared] == target.path[shared]) {
      ++shared;
    }
    for (std::size_t i = place.context.size(); i > shared; --i) {
      const bool named = with_axes && i - 1 > 0;
      text += named ? "parent::" + place.context[i - 2] + "/" : "../";
    }
    if (place.context.size() == shared && dice_.chance(50)) text = "./";
  }
  Steps upper(target.path.begin(), target.path.begin() + static_cast<std::ptrdiff_t>(shared));
  for (std::size_t i = shared; i < target.path.size(); ++i) {
    upper.push_back(target.path[i]);
    text += (with_axes ? "child::" : "") + target.path[i];
    const KnownNode* const node = known(upper);
    if (node != nullptr) text += predicate(place, *node);
    if (i + 1 < target.path.size()) text += "/";
  }
  return text;
}

std::string ExpressionMaker::wild_way(const Place& place, const KnownNode& target) {
  const std::string& name = target.path.back();
  const bool has_context = !place.context.empty();
  std::vector<std::string> ways{"//" + name, "/descendant::" + name,
                                "/" + target.path.front() + "//" + name};
  if (target.path.size() > 1) {
    ways.push_back("//" + target.path[target.path.size() - 2] + "/" + name);
  }
  if (has_context && !place.only_relative) {
    ways.push_back("ancestor::" + place.context.front() + "/" +
                   (target.path.front() == place.context.front() && target.path.size() > 1
                        ? joined(target.path, 1)
                        : place.context.back()));
    ways.push_back("ancestor-or-self::" + place.context.front() + "//" + name);
    ways.push_back("../following-sibling::" + name);
    ways.push_back("following-sibling::" + name);
    ways.push_back("descendant::" + name);
    ways.push_back("descendant-or-self::" + name);
    ways.push_back("self::" + place.context.back() + "/../" + name);
    // At the top level libyang does not survive these.
    if (place.context.size() > 1) ways.push_back("preceding-sibling::" + name);
    if (place.context.size() > 2) ways.push_back("../preceding-sibling::" + name);
    if (allow_crash && dice_.chance(60)) {
      schema_.may_crash = true;
      static const std::string axes[] = {
          "preceding-sibling::", "../preceding-sibling::", "following::", "preceding::"};
      return dice_.pick(axes) + name;
    }
    if (allow_all) {
      ways.push_back("../*");
      ways.push_back("../node()");
      ways.push_back("..//*");
      ways.push_back("//*");
      ways.push_back("following-sibling::*");
      ways.push_back("ancestor::*");
    }
  }
  see_order(target);
  return dice_.pick(ways);
}

std::string ExpressionMaker::way(const Place& place, const KnownNode& target) {
  if (allow_wild && !place.only_relative && dice_.chance(35)) return wild_way(place, target);
  return straight_way(place, target);
}

std::string ExpressionMaker::path(const Place& place, bool leaf_only, const KnownNode** found) {
  const KnownNode* const node = target(place, leaf_only);
  if (found != nullptr) *found = node;
  if (node == nullptr) return "";
  if (node->value == Value::kReference && !place.only_relative && dice_.chance(40)) {
    return "deref(" + straight_way(place, *node) + ")" + (dice_.chance(50) ? "/.." : "");
  }
  return way(place, *node);
}

// Functions that take the first node of several ask for the order of the entries.
void ExpressionMaker::see_order(const KnownNode& target) {
  Steps upper;
  for (const std::string& step : target.path) {
    upper.push_back(step);
    const KnownNode* const node = known(upper);
    if (node != nullptr && node->is_many && !node->by_user) schema_.looks_at_order = true;
  }
}

std::string ExpressionMaker::comparison(const Place& place) {
  static const std::string signs[] = {"=", "=", "=", "!=", "<", "<=", ">", ">="};
  const KnownNode* node = nullptr;
  const std::string one = path(place, true, &node);
  if (one.empty()) return "";
  if (dice_.chance(20)) {
    const std::string other = path(place, true, nullptr);
    return one + " " + dice_.pick(signs) + " " + other;
  }
  return one + " " + dice_.pick(signs) + " " +
         (node->value == Value::kNumber && dice_.chance(50) ? std::to_string(dice_.below(4))
                                                            : word(node->value));
}

std::string ExpressionMaker::of_nodes(const Place& place) {
  const std::string one = path(place, false, nullptr);
  const std::string other = path(place, false, nullptr);
  if (one.empty()) return "";
  switch (dice_.below(8)) {
    case 0:
      return one;
    case 1:
      return "boolean(" + one + ")";
    case 2:
      return "count(" + one + ") < 2";
    case 3:
      return "count(" + one + " | " + other + ") != 1";
    case 4:
      return one + " | " + other;
    case 5:
      return "count(" + one + ") = count(" + other + ")";
    case 6:
      return "local-name(" + one + ") != '' or name(" + other + ") = ''";
    default:
      return one + "[not(. = 'b')]";
  }
}

std::string ExpressionMaker::of_text(const Place& place) {
  const KnownNode* node = nullptr;
  const std::string one = path(place, true, &node);
  if (one.empty()) return "";
  see_order(*node);
  const std::string literal = word(node->value);
  switch (dice_.below(13)) {
    case 0:
      return "contains(" + one + ", " + literal + ")";
    case 1:
      return "starts-with(" + one + ", " + literal + ")";
    case 2:
      return "string-length(" + one + ") < 2";
    case 3:
      return "string(" + one + ") = " + literal;
    case 4:
      return "re-match(" + one + ", '[a-m1]*')";
    case 5:
      return "substring(" + one + ", 1, 1) = 'a'";
    case 6:
      return "substring-before(concat(" + one + ", '-x'), '-') = " + literal;
    case 7:
      return "substring-after(concat('x-', " + one + "), '-') != " + literal;
    case 8:
      return "normalize-space(" + one + ") = " + literal;
    case 9:
      return "translate(" + one + ", 'abc', 'bca') = 'b'";
    case 10:
      return "namespace-uri(" + one + ") != ''";
    case 11:
      return "concat(" + one + ", 'x') != 'ax'";
    default:
      return "current() = " + literal + " or string(" + one + ") != 'b'";
  }
}

std::string ExpressionMaker::of_numbers(const Place& place) {
  const KnownNode* node = nullptr;
  const std::string one = path(place, true, &node);
  if (one.empty()) return "";
  see_order(*node);
  switch (dice_.below(6)) {
    case 0:
      return "number(" + one + ") > 1";
    case 1:
      return "sum(" + one + ") < 5";
    case 2:
      return "floor(" + one + ") + 1 <= 3 or ceiling(" + one + ") != 2";
    case 3:
      return "round(" + one + ") mod 2 = 0";
    case 4:
      return "not(number(" + one + ") * 2 - 1 > 4)";
    default:
      return "-(" + one + ") < -1 or " + one + " div 2 < 2";
  }
}

std::string ExpressionMaker::of_type(const Place& place) {
  const KnownNode* node = nullptr;
  for (int attempt = 0; attempt < 6; ++attempt) {
    const std::string one = path(place, true, &node);
    if (one.empty()) return "";
    if (one.compare(0, 5, "deref") == 0) continue;
    if (node->value == Value::kIdentity) {
      see_order(*node);
      return std::string(dice_.chance(50) ? "derived-from" : "derived-from-or-self") + "(" + one +
             ", 'm:id-" + (dice_.chance(50) ? "base" : "a") + "')";
    }
    if (node->value == Value::kEnumeration) {
      see_order(*node);
      return "enum-value(" + one + ") < 2";
    }
    if (node->value == Value::kBits) {
      see_order(*node);
      return "bit-is-set(" + one + ", '" + (dice_.chance(50) ? "r" : "w") + "')";
    }
  }
  return of_text(place);
}

std::string ExpressionMaker::condition(const Place& place) {
  std::string text;
  const std::size_t kind = dice_.below(20);
  if (kind < 7) {
    text = comparison(place);
  } else if (kind < 12) {
    text = of_nodes(place);
  } else if (kind < 15) {
    text = of_text(place);
  } else if (kind < 16) {
    text = of_numbers(place);
  } else {
    text = of_type(place);
  }
  if (text.empty()) return "";
  if (dice_.chance(25)) text = "not(" + text + ")";
  // Rules that are rarely true make configurations that rarely change.
  if (!place.is_when && dice_.chance(30)) {
    const std::string way_out = path(place, true, nullptr);
    if (!way_out.empty()) text += " or not(" + way_out + ")";
  }
  if (dice_.chance(10)) {
    const std::string other = comparison(place);
    if (!other.empty()) text = "(" + text + ") and (" + other + " or true())";
  }
  return text;
}

}  // namespace nexa_test
