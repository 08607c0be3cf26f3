// YANG modules made at random from RFC 7950's grammar: every statement that shapes configuration,
// at every place where it may stand, with XPath expressions over all axes and functions. The
// modules are small, because small ones fail in a readable way; a run makes thousands of them.
#ifndef TESTS_STORE_RANDOM_YANG_H_
#define TESTS_STORE_RANDOM_YANG_H_

#include <map>
#include <string>
#include <vector>

#include "store/dice.h"

namespace nexa_test {

struct RandomSchema {
  std::map<std::string, std::string> modules;                // text by name
  std::map<std::string, std::vector<std::string>> features;  // enabled ones by module
  // A `when` may look at a default that has a `when` itself. libyang evaluates them in the order
  // of the schema (against RFC 7950, section 7.21.5), so its result is no reference.
  bool has_chains = false;
  // Some expression may make libyang 2.1.30 crash (preceding-sibling) or loop for ever (following).
  bool may_crash = false;
  // Some rule looks at the order of entries that the system orders.
  bool looks_at_order = false;
};

// Not every schema that this makes can be loaded: references may lead nowhere or in a circle.
RandomSchema random_schema(Dice& dice);

}  // namespace nexa_test

#endif  // TESTS_STORE_RANDOM_YANG_H_
