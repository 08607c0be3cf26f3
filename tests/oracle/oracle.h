// The oracle: libyang's own reading of JSON against its reading of our XML.
#ifndef TESTS_ORACLE_ORACLE_H_
#define TESTS_ORACLE_ORACLE_H_

#include <memory>
#include <string>

#include "kestrel/loader.h"
#include "translate/translate.h"

namespace nexa_test {

// A loaded schema and the mapper over it. One at a time: the schema is the process's.
class Oracle {
 public:
  explicit Oracle(const kestrel::LoadOptions& options);

  const std::string& load_error() const { return load_error_; }

  // Translates a replace.
  nexa::translate::Translation translate(const std::string& path, const std::string& value,
                                         nexa::translate::Mode mode);

  // Empty when libyang reads the same tree from the document `xml` as from the JSON that has
  // `value` at `path`; otherwise what differs, or what libyang says against one of the two.
  std::string difference(const std::string& path, const std::string& value, const std::string& xml);

 private:
  std::string load_error_;
  std::unique_ptr<nexa::ServiceKestrelNamespaceMapperImpl> mapper_;
};

}  // namespace nexa_test

#endif  // TESTS_ORACLE_ORACLE_H_
