// Which files of users are taken, and what is said of the others.
#include "access/users_file.h"

#include <gtest/gtest.h>

#include <string>

#include "access/access.h"
#include "support/results.h"

namespace {

using nexa::access::parse_users;
using nexa::access::Role;
using nexa_test::line_of;
using nexa_test::value_of;

// sha512 of "secret".
constexpr char kHash[] =
    "$6$saltsalt$QPlU6hdFVuPFYaUnWs9p2DB8N0eRnqMCUZr8rhkTUm42UMhvTGjYMjuhcEDNmbFdwcKAGNeHgJjGQ2"
    "RvMbxI30";

TEST(ParseUsers, ReadsNamesRolesAndHashes) {
  const auto users = value_of(parse_users(
      "# people\n\n alice : read-write : " + std::string(kHash) + "\r\nwatcher:read-only:*\n",
      "users"));
  ASSERT_EQ(users.size(), 2U);
  EXPECT_EQ(users.at("alice").role, Role::kReadWrite);
  EXPECT_EQ(users.at("alice").hash, kHash);
  EXPECT_EQ(users.at("watcher").role, Role::kReadOnly);
  EXPECT_EQ(users.at("watcher").hash, "");
}

struct Refusal {
  std::string text;
  const char* error;
};

class ParseUsersRefuses : public testing::TestWithParam<Refusal> {};

TEST_P(ParseUsersRefuses, NamesFileLineAndFault) {
  const auto users = parse_users(GetParam().text, "users");
  ASSERT_FALSE(users.ok());
  EXPECT_EQ(users.failure().line(), GetParam().error);
  EXPECT_EQ(users.failure().path.substr(0, 6), "users:");
}

const std::string kLine = "alice:read-only:" + std::string(kHash) + "\n";

INSTANTIATE_TEST_SUITE_P(
    Lines, ParseUsersRefuses,
    testing::Values(
        Refusal{"alice:read-only\n", "users:1: a line is name:role:hash"},
        Refusal{"alice:read-only:*:more\n", "users:1: a line is name:role:hash"},
        Refusal{"\n:read-only:*", "users:2: the name is empty, too long or has blanks in it"},
        Refusal{"a b:read-only:*", "users:1: the name is empty, too long or has blanks in it"},
        Refusal{std::string(256, 'a') + ":read-only:*",
                "users:1: the name is empty, too long or has blanks in it"},
        Refusal{"alice:admin:*", "users:1: the role is neither read-only nor read-write"},
        Refusal{"alice:read-only:",
                "users:1: the password's hash is not one that crypt(5) "
                "describes; make one with nexad hash-password"},
        Refusal{"alice:read-only:secret!",
                "users:1: the password's hash is not one that crypt(5) "
                "describes; make one with nexad hash-password"},
        Refusal{"alice:read-only:$1$saltsalt$qjXMvbEw8oaL.CzflDtaK/",
                "users:1: the password's hash is of a method that is too weak; make one with nexad "
                "hash-password"},
        Refusal{kLine + "bob:read-only:*\n" + kLine,
                "users:3: the user alice stands in the file twice"}));

TEST(ReadUsers, NamesAFileThatIsNotThere) {
  EXPECT_EQ(line_of(nexa::access::read_users("no/such/file")),
            "no/such/file: cannot be read: No such file or directory");
}

TEST(ReadUsers, RefusesAFolder) {
  EXPECT_EQ(line_of(nexa::access::read_users("/")), "/: cannot be read: it is not a file");
}

}  // namespace
