// Lines "name:role:hash". A line that is not understood is an error, never skipped: a mistyped role
// must not leave a user with another one's rights.
#include "access/users_file.h"

#include <crypt.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <system_error>
#include <utility>

namespace nexa::access {
namespace {

constexpr std::size_t kLongestName = 255;

std::string_view trimmed(std::string_view text) {
  constexpr std::string_view kBlank = " \t\r";
  const auto first = text.find_first_not_of(kBlank);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlank) - first + 1);
}

bool is_name(std::string_view name) {
  if (name.empty() || name.size() > kLongestName) return false;
  for (const char c : name) {
    if (static_cast<unsigned char>(c) <= 0x20 || c == 0x7f) return false;
  }
  return true;
}

// Why the field is no hash that a password can be checked against; null when it is one.
const char* fault_of_hash(const std::string& hash) {
  switch (crypt_checksalt(hash.c_str())) {
    case CRYPT_SALT_OK:
      return nullptr;
    case CRYPT_SALT_METHOD_LEGACY:
      return "the password's hash is of a method that is too weak; make one with nexad "
             "hash-password";
    default:
      return "the password's hash is not one that crypt(5) describes; make one with nexad "
             "hash-password";
  }
}

// The line's three fields; false when there are fewer or more.
bool split(std::string_view line, std::array<std::string_view, 3>& fields) {
  for (std::size_t i = 0; i < fields.size(); ++i) {
    const auto colon = line.find(':');
    if ((colon == std::string_view::npos) != (i + 1 == fields.size())) return false;
    fields[i] = trimmed(line.substr(0, colon));
    line.remove_prefix(colon == std::string_view::npos ? line.size() : colon + 1);
  }
  return true;
}

// Adds the line's user. `place` is the line.
text::Done add_user(const std::string& place, std::string_view line, Users& users) {
  std::array<std::string_view, 3> fields;
  if (!split(line, fields)) return text::unusable(place, "a line is name:role:hash");
  const auto [name, role, hash] = fields;
  if (!is_name(name)) {
    return text::unusable(place, "the name is empty, too long or has blanks in it");
  }
  User user;
  if (role == "read-write") {
    user.role = Role::kReadWrite;
  } else if (role != "read-only") {
    return text::unusable(place, "the role is neither read-only nor read-write");
  }
  if (hash != "*") {
    user.hash = hash;
    if (const char* fault = fault_of_hash(user.hash)) return text::unusable(place, fault);
  }
  if (!users.emplace(name, std::move(user)).second) {
    return text::unusable(place, "the user " + std::string(name) + " stands in the file twice");
  }
  return {};
}

text::Failure cannot_be_read(const std::string& file, const std::string& why) {
  return text::unusable(file, "cannot be read: " + why);
}

}  // namespace

text::Result<Users> parse_users(std::string_view text, const std::string& file) {
  Users users;
  for (std::size_t number = 1; !text.empty(); ++number) {
    const auto end = text.find('\n');
    const std::string_view line = trimmed(text.substr(0, end));
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    if (line.empty() || line.front() == '#') continue;
    text::Done done = add_user(file + ":" + std::to_string(number), line, users);
    if (!done.ok()) return std::move(done).failure();
  }
  return users;
}

text::Result<Users> read_users(const std::string& file) {
  std::error_code fault;
  const std::filesystem::file_status status = std::filesystem::status(file, fault);
  if (status.type() != std::filesystem::file_type::regular) {
    return cannot_be_read(file, fault ? fault.message() : "it is not a file");
  }
  using std::filesystem::perms;
  if ((status.permissions() & perms::others_write) != perms::none) {
    return text::unusable(
        file, "every user of this machine can write it, and so become any user of the server");
  }
  errno = 0;
  std::ifstream in(file, std::ios::binary);
  std::ostringstream content;
  if (in && in.peek() != std::ifstream::traits_type::eof()) content << in.rdbuf();
  if (!in.is_open() || in.bad() || content.fail()) {
    return cannot_be_read(file, strerror(errno));
  }
  return parse_users(content.str(), file);
}

}  // namespace nexa::access
