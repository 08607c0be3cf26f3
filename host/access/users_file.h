// The file of users: one line for each, name, role and hashed password.
#ifndef HOST_ACCESS_USERS_FILE_H_
#define HOST_ACCESS_USERS_FILE_H_

#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

#include "access/access.h"

namespace nexa::access {

struct User {
  Role role = Role::kReadOnly;
  std::string hash;  // empty: a user of certificates only
};

using Users = std::unordered_map<std::string, User>;

// Users of `text`, which `file` names in errors. nullopt with `error` set ("file:line: what") at
// the first line that is wrong; the error never shows a hash.
std::optional<Users> parse_users(std::string_view text, const std::string& file,
                                 std::string& error);

// The same of the file's content. A file that every user of the machine can write is refused.
std::optional<Users> read_users(const std::string& file, std::string& error);

}  // namespace nexa::access

#endif  // HOST_ACCESS_USERS_FILE_H_
