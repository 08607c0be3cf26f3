// The functions of XPath 1.0 and YANG 1.1: what each asks of its arguments and what it returns.
#ifndef HOST_STORE_VALIDATION_XPATH_FUNCTIONS_H_
#define HOST_STORE_VALIDATION_XPATH_FUNCTIONS_H_

#include <array>
#include <cstdint>
#include <string_view>

namespace nexa::store {

enum class XpathUse : std::uint8_t {
  kPresence,    // whether or how many nodes are there
  kEveryValue,  // the values of all nodes, their order aside
  kFirstText,   // the text of the first node in document order
  kFirstValue,  // as before, and the argument has to be a leaf
};

enum class XpathResult : std::uint8_t { kNodes, kNumber, kString, kBoolean };

struct XpathFunction {
  std::string_view name;
  XpathResult result;
  XpathUse first;     // of the first argument
  XpathUse others;    // of all after it
  bool uses_context;  // without an argument it takes the context node
};

// Functions that depend on nothing but the nodes that their arguments name.
inline constexpr std::array<XpathFunction, 28> kXpathFunctions = {{
    {"bit-is-set", XpathResult::kBoolean, XpathUse::kFirstValue, XpathUse::kFirstText, false},
    {"boolean", XpathResult::kBoolean, XpathUse::kPresence, XpathUse::kPresence, false},
    {"ceiling", XpathResult::kNumber, XpathUse::kFirstText, XpathUse::kFirstText, false},
    {"concat", XpathResult::kString, XpathUse::kFirstText, XpathUse::kFirstText, false},
    {"contains", XpathResult::kBoolean, XpathUse::kFirstText, XpathUse::kFirstText, false},
    {"count", XpathResult::kNumber, XpathUse::kPresence, XpathUse::kPresence, false},
    {"derived-from", XpathResult::kBoolean, XpathUse::kEveryValue, XpathUse::kFirstText, false},
    {"derived-from-or-self", XpathResult::kBoolean, XpathUse::kEveryValue, XpathUse::kFirstText,
     false},
    {"enum-value", XpathResult::kNumber, XpathUse::kFirstValue, XpathUse::kFirstText, false},
    {"false", XpathResult::kBoolean, XpathUse::kPresence, XpathUse::kPresence, false},
    {"floor", XpathResult::kNumber, XpathUse::kFirstText, XpathUse::kFirstText, false},
    {"normalize-space", XpathResult::kString, XpathUse::kFirstText, XpathUse::kFirstText, true},
    {"not", XpathResult::kBoolean, XpathUse::kPresence, XpathUse::kPresence, false},
    {"number", XpathResult::kNumber, XpathUse::kFirstText, XpathUse::kFirstText, true},
    {"re-match", XpathResult::kBoolean, XpathUse::kFirstText, XpathUse::kFirstText, false},
    {"round", XpathResult::kNumber, XpathUse::kFirstText, XpathUse::kFirstText, false},
    {"starts-with", XpathResult::kBoolean, XpathUse::kFirstText, XpathUse::kFirstText, false},
    {"string", XpathResult::kString, XpathUse::kFirstText, XpathUse::kFirstText, true},
    {"string-length", XpathResult::kNumber, XpathUse::kFirstText, XpathUse::kFirstText, true},
    {"substring", XpathResult::kString, XpathUse::kFirstText, XpathUse::kFirstText, false},
    {"substring-after", XpathResult::kString, XpathUse::kFirstText, XpathUse::kFirstText, false},
    {"substring-before", XpathResult::kString, XpathUse::kFirstText, XpathUse::kFirstText, false},
    {"sum", XpathResult::kNumber, XpathUse::kEveryValue, XpathUse::kEveryValue, false},
    {"translate", XpathResult::kString, XpathUse::kFirstText, XpathUse::kFirstText, false},
    {"true", XpathResult::kBoolean, XpathUse::kPresence, XpathUse::kPresence, false},
    // What these return depends on more; the paths in their arguments are followed all the same.
    {"local-name", XpathResult::kString, XpathUse::kPresence, XpathUse::kPresence, true},
    {"name", XpathResult::kString, XpathUse::kPresence, XpathUse::kPresence, true},
    {"namespace-uri", XpathResult::kString, XpathUse::kPresence, XpathUse::kPresence, true},
}};

constexpr const XpathFunction* find_xpath_function(std::string_view name) {
  for (const XpathFunction& function : kXpathFunctions) {
    if (function.name == name) return &function;
  }
  return nullptr;
}

}  // namespace nexa::store

#endif  // HOST_STORE_VALIDATION_XPATH_FUNCTIONS_H_
