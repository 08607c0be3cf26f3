// The file of users: users with names, or an error that names file and line and shows no hash.
#include "access/users_file.h"
#include "support.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text = fuzz::text_of(data, size);
  const auto users = nexa::access::parse_users(text, "users");
  if (!users.ok()) {
    const std::string error = users.failure().line();
    if (error.rfind("users:", 0) != 0) fuzz::fail("no place", error);
    if (error.find('\n') != std::string::npos) fuzz::fail("more than a line", error);
    return 0;
  }
  for (const auto& [name, user] : users.value()) {
    if (name.empty()) fuzz::fail("a user without a name");
    if (user.hash == "*") fuzz::fail("a star as a hash");
  }
  return 0;
}
