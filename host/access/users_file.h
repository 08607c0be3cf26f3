// The file of users: one line for each, name, role and hashed password.
#ifndef HOST_ACCESS_USERS_FILE_H_
#define HOST_ACCESS_USERS_FILE_H_

#include <string>
#include <string_view>
#include <unordered_map>

#include "access/access.h"
#include "text/result.h"

namespace nexa::access {

struct User {
  Role role = Role::kReadOnly;
  std::string hash;  // empty: a user of certificates only
};

using Users = std::unordered_map<std::string, User>;

// Users of `text`, which `file` names in failures. Fails at the first line that is wrong, with the
// path "file:line"; the rule never shows a hash.
text::Result<Users> parse_users(std::string_view text, const std::string& file);

// The same of the file's content. A file that every user of the machine can write is refused.
text::Result<Users> read_users(const std::string& file);

}  // namespace nexa::access

#endif  // HOST_ACCESS_USERS_FILE_H_
