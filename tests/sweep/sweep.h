// One run of a conversion with the n-th allocation failing, as text.
#ifndef TESTS_SWEEP_SWEEP_H_
#define TESTS_SWEEP_SWEEP_H_

#include <gtest/gtest.h>
#include <libxml/xmlerror.h>

#include <functional>
#include <new>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/failing_allocator.h"
#include "support/log_capture.h"
#include "support/xml_trees.h"

namespace nexa_test {

inline constexpr AllocationKind kAllKinds[] = {AllocationKind::kBuffer, AllocationKind::kCopy,
                                               AllocationKind::kXml, AllocationKind::kNew};

// The text of what came out, "null" for nothing. Ends the failing.
template <typename Xml>
std::string show(const Xml& xml) {
  FailingAllocator::disarm();
  return xml == nullptr ? "null" : text_of(xml);
}

// What one run showed.
struct Outcome {
  bool fired = false;
  std::string result;  // of the run, or the exception that left it
  std::vector<std::string> errors;
};

// Runs with the n-th allocation failing, n = 0 for none, and checks that nothing is left behind.
// `run` releases what it was given and returns a text of it.
inline Outcome run_failing(AllocationKind kind, int n, const std::function<std::string()>& run) {
  Outcome outcome;
  outcome.result.reserve(4096);
  const int before = FailingAllocator::live();
  {
    // An exception must not pass through the log function, which is C; without one nothing is
    // collected.
    std::optional<LogCapture> log;
    if (kind != AllocationKind::kNew && kind != AllocationKind::kNewFromThere) {
      log.emplace(GPR_LOG_SEVERITY_ERROR);
    }
    {
      const FailingAllocator::Armed armed(kind, n);
      try {
        outcome.result = run();
      } catch (const std::bad_alloc&) {
        outcome.result = "bad_alloc";
      } catch (const std::logic_error&) {
        outcome.result = "logic_error";
      }
      outcome.fired = armed.fired();
    }
    for (const Line& line : log ? log->take(GPR_LOG_SEVERITY_ERROR) : Lines())
      outcome.errors.push_back(mask_numbers(line.text));
  }
  xmlResetLastError();  // libxml2 keeps a copy of the last one
  EXPECT_EQ(FailingAllocator::live(), before) << "kind " << static_cast<int>(kind) << " n " << n;
  return outcome;
}

// Runs for every n until there is no n-th allocation, and hands each failing run to `check`.
// Returns how many allocations there were.
inline int sweep(AllocationKind kind, const std::function<std::string()>& run,
                 const std::function<void(int, const Outcome&)>& check) {
  for (int n = 1;; ++n) {
    const Outcome outcome = run_failing(kind, n, run);
    if (!outcome.fired) return n - 1;
    check(n, outcome);
  }
}

}  // namespace nexa_test

#endif  // TESTS_SWEEP_SWEEP_H_
