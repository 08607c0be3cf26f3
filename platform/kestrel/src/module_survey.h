// What must be known of a file before libyang reads it. Judges no syntax.
#ifndef KESTREL_SRC_MODULE_SURVEY_H_
#define KESTREL_SRC_MODULE_SURVEY_H_

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace kestrel {

struct IncludeStatement {
  std::string submodule;
  std::string revision;  // of its revision-date; may be empty
  std::size_t begin = 0;
  std::size_t end = 0;  // one beyond its semicolon or closing brace
};

struct ModuleSurvey {
  std::vector<IncludeStatement> includes;
  std::string newest_revision;  // of the module's own revision statements; may be empty
  // Where the first statement begins that is nested deeper than any sane module, or npos. libyang
  // parses recursively, so such a file would cost it the stack.
  std::size_t too_deep = std::string_view::npos;
};

ModuleSurvey survey_module(std::string_view text);

// The first word: "module" or "submodule" in a file that is one.
std::string_view first_keyword(std::string_view text);

}  // namespace kestrel

#endif  // KESTREL_SRC_MODULE_SURVEY_H_
