// What a text::Result holds, for tests that are at an end without it.
#ifndef TESTS_SUPPORT_RESULTS_H_
#define TESTS_SUPPORT_RESULTS_H_

#include <stdexcept>
#include <string>
#include <utility>

#include "text/result.h"

namespace nexa_test {

// The value; throws with the failure's line, which GoogleTest shows.
template <typename Value>
Value value_of(nexa::text::Result<Value> result) {
  if (!result.ok()) throw std::runtime_error(result.failure().line());
  return std::move(result).value();
}

// The failure's line; empty when there is none.
template <typename Value>
std::string line_of(const nexa::text::Result<Value>& result) {
  return result.ok() ? std::string() : result.failure().line();
}

}  // namespace nexa_test

#endif  // TESTS_SUPPORT_RESULTS_H_
