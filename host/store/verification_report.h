// What a look at a whole data directory found, and the line that says it: between the program that
// looks and the one that asked for it. Knows nothing of YANG.
#ifndef HOST_STORE_VERIFICATION_REPORT_H_
#define HOST_STORE_VERIFICATION_REPORT_H_

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace nexa::store {

struct VerificationReport {
  enum class Kind : std::uint8_t {
    kValid,
    kViolation,   // the newest configuration breaks a rule, or is stored in two ways that differ
    kUnjudged,    // libyang died of it, or there was no memory
    kUnreadable,  // the log is damaged or in use in another format, or does not fit the schema
  };
  Kind kind = Kind::kUnreadable;
  std::uint64_t number = 0;  // of the newest commit; 0 when kUnreadable
  std::string text;          // what is wrong, one line; empty when kValid

  // "commit 17: valid", "commit 17: /m:top/leaf: must ...", "commit 17: cannot be judged: ...",
  // "cannot be read: ...".
  std::string line() const;
  // The report that has this line; nothing when there is none.
  static std::optional<VerificationReport> of_line(std::string_view line);
};

}  // namespace nexa::store

#endif  // HOST_STORE_VERIFICATION_REPORT_H_
