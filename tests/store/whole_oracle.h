// The reference for a store: libyang's judgement of the whole configuration, from nothing, after
// each Set. Keeps the configuration as a text without defaults, so nothing of an earlier judgement
// can stay behind in it.
#ifndef TESTS_STORE_WHOLE_ORACLE_H_
#define TESTS_STORE_WHOLE_ORACLE_H_

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "store/config_store.h"
#include "store/oracle_edits.h"
#include "store/oracle_process.h"

namespace nexa_test {

struct OracleAnswer {
  enum class Verdict : std::uint8_t {
    kAccepted,
    kRefused,
    kCrashed,    // libyang did not survive the judgement
    kUncertain,  // libyang's own result is none by RFC 7950, section 7.21.5: see below
  };
  Verdict verdict = Verdict::kRefused;
  std::string why;   // of a refusal
  std::string xml;   // accepted: the configuration without defaults, no element around it
  std::string json;  // accepted: all of it with defaults, as libyang prints it
};

class WholeOracle {
 public:
  // Over the loaded schema. `in_child`: judges in processes that may die; the caller has one
  // thread.
  explicit WholeOracle(bool in_child);

  // Does not change what the oracle holds.
  OracleAnswer judge(const std::vector<nexa::store::Edit>& edits) const;

  // Whether a default is missing in what was accepted (OracleAnswer::json) although its condition
  // holds there: libyang asked that while another default was there that does not stand.
  static bool lacks_a_default(const std::string& json);

  // The configuration, without an element around it.
  void keep(const std::string& inner_xml) { xml_ = inner_xml; }
  const std::string& xml() const { return xml_; }

 private:
  static OracleAnswer judge_here(const std::string& inner_xml,
                                 const std::vector<nexa::store::Edit>& edits);

  std::unique_ptr<OracleProcess> process_;
  std::string xml_;
};

// One text for one configuration: siblings in a fixed order, except entries that the user orders.
std::string normal_xml(const std::string& inner_xml);

// One text for one JSON object: members and entries sorted, without empty objects and without what
// stands in an anydata.
std::string normal_json(const std::string& json);

}  // namespace nexa_test

#endif  // TESTS_STORE_WHOLE_ORACLE_H_
