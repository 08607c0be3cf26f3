// Gives every module a prefix that no other module of the schema has. Knows names only.
#ifndef KESTREL_SRC_UNIQUE_PREFIXES_H_
#define KESTREL_SRC_UNIQUE_PREFIXES_H_

#include <string>
#include <string_view>
#include <vector>

namespace kestrel {

struct DeclaredPrefix {
  std::string_view module;
  std::string_view prefix;
};

// The prefixes to use, in the order given. The first module that declares a prefix keeps it; a
// later one gets the prefix with "-2", "-3" and so on, the first of these that no module declares
// and none has got. Each change is logged at INFO.
std::vector<std::string> unique_prefixes(const std::vector<DeclaredPrefix>& declared);

}  // namespace kestrel

#endif  // KESTREL_SRC_UNIQUE_PREFIXES_H_
