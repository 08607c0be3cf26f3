// Who gets in, with which rights, and how much a stranger learns from being refused.
#include "access/access.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "access/password.h"
#include "support/results.h"

namespace {

using namespace nexa::access;
using nexa_test::line_of;
using nexa_test::value_of;

constexpr char kWrong[] = "user name, password or certificate is wrong";

Credentials password(std::string_view user, std::string_view word) {
  Credentials credentials;
  credentials.user = user;
  credentials.password = word;
  return credentials;
}

Credentials certificate(std::string_view name) {
  Credentials credentials;
  credentials.certificate = true;
  credentials.certificate_name = name;
  return credentials;
}

Credentials with_certificate(Credentials credentials, std::string_view name) {
  credentials.certificate = true;
  credentials.certificate_name = name;
  return credentials;
}

class UsersFile : public testing::Test {
 protected:
  UsersFile() {
    write("alice:read-write:" + hash_password("wonder") +
          "\nbob:read-only:" + hash_password("builder") + "\nrobot:read-write:*\n");
    access_ = value_of(make_access_control(path_));
  }
  ~UsersFile() override { std::filesystem::remove(path_); }

  void write(const std::string& text) { std::ofstream(path_, std::ios::trunc) << text; }

  void expect_refused(const Credentials& credentials, const char* why = kWrong) {
    Caller caller;
    const grpc::Status status = access_->authenticate(credentials, caller);
    EXPECT_EQ(status.error_code(), grpc::StatusCode::UNAUTHENTICATED);
    EXPECT_EQ(status.error_message(), std::string("Authentication failed: ") + why);
    EXPECT_EQ(caller.name, "");
  }

  void expect_accepted(const Credentials& credentials, const char* name, Role role) {
    Caller caller;
    const grpc::Status status = access_->authenticate(credentials, caller);
    EXPECT_TRUE(status.ok()) << status.error_message();
    EXPECT_EQ(caller.name, name);
    EXPECT_EQ(caller.role, role);
  }

  std::chrono::nanoseconds time_of(const Credentials& credentials) {
    Caller caller;
    const auto start = std::chrono::steady_clock::now();
    access_->authenticate(credentials, caller);
    return std::chrono::steady_clock::now() - start;
  }

  const std::string path_ = testing::TempDir() + "nexa_users_" + std::to_string(getpid());
  std::unique_ptr<AccessControl> access_;
};

TEST(HashPassword, IsYescryptWithAFreshSalt) {
  const std::string first = hash_password("secret");
  const std::string second = hash_password("secret");
  EXPECT_EQ(first.substr(0, 3), "$y$");
  EXPECT_NE(first, second);
  EXPECT_TRUE(password_fits("secret", first));
  EXPECT_TRUE(password_fits("secret", second));
  EXPECT_FALSE(password_fits("Secret", first));
  EXPECT_FALSE(password_fits("", first));
}

TEST(HashPassword, RefusesWhatItWouldCut) {
  EXPECT_EQ(hash_password(std::string("se\0cret", 7)), "");
  EXPECT_EQ(hash_password(std::string(512, 'x')), "");
  EXPECT_NE(hash_password(std::string(511, 'x')), "");
  EXPECT_FALSE(password_fits(std::string("secret\0x", 8), hash_password("secret")));
}

TEST(KeyedDigest, DependsOnBothTextsWhereTheyMeetAndTheKey) {
  const KeyedDigest key;
  const auto digest = key.of("ab", "c");
  ASSERT_TRUE(digest);
  EXPECT_TRUE(equal(*digest, *key.of("ab", "c")));
  EXPECT_FALSE(equal(*digest, *key.of("a", "bc")));
  EXPECT_FALSE(equal(*digest, *KeyedDigest().of("ab", "c")));
}

TEST(OpenAccess, LetsEverybodyReadAndWrite) {
  const auto access = value_of(make_access_control(""));
  Caller caller;
  EXPECT_TRUE(access->authenticate({}, caller).ok());
  EXPECT_EQ(caller.name, "anonymous");
  EXPECT_EQ(caller.role, Role::kReadWrite);
  EXPECT_TRUE(access->authenticate(certificate("device-7"), caller).ok());
  EXPECT_EQ(caller.name, "device-7");
  Credentials two = certificate("device-7");
  two.has_several_names = true;
  EXPECT_EQ(access->authenticate(two, caller).error_code(), grpc::StatusCode::UNAUTHENTICATED);
}

TEST_F(UsersFile, GivesTheRoleOfTheFile) {
  expect_accepted(password("alice", "wonder"), "alice", Role::kReadWrite);
  expect_accepted(password("bob", "builder"), "bob", Role::kReadOnly);
  expect_accepted(certificate("robot"), "robot", Role::kReadWrite);
  expect_accepted(certificate("bob"), "bob", Role::kReadOnly);
}

TEST_F(UsersFile, RefusesEveryOtherCallerWithOneText) {
  expect_refused({});
  expect_refused(password("alice", "builder"));
  expect_refused(password("alice", ""));
  expect_refused(password("", "wonder"));
  expect_refused(password("carol", "wonder"));
  expect_refused(password("robot", ""));
  expect_refused(password("robot", "*"));
  expect_refused(password("alice", std::string_view("wonder\0", 7)));
  expect_refused(certificate("carol"));
  expect_refused(certificate(""));
}

TEST_F(UsersFile, RefusesAWrongPasswordBesideAGoodCertificate) {
  expect_refused(with_certificate(password("alice", "wrong"), "alice"));
  expect_refused(with_certificate(password("", "wrong"), "alice"));
  expect_refused(with_certificate(password("", "wonder"), "host-1"));
}

TEST_F(UsersFile, TakesEmptyNamesAndPasswordsForNone) {
  expect_accepted(with_certificate(password("", ""), "robot"), "robot", Role::kReadWrite);
  expect_refused(with_certificate(password("", ""), "carol"));
  expect_refused(password("", ""));
}

TEST_F(UsersFile, TakesANameThatTheCertificateVouchesFor) {
  expect_accepted(with_certificate(password("robot", ""), "robot"), "robot", Role::kReadWrite);
  expect_refused(with_certificate(password("alice", ""), "host-1"));
  expect_refused(with_certificate(password("carol", ""), "carol"));
  expect_refused(password("robot", ""));
}

TEST_F(UsersFile, TakesAPasswordBesideTheCertificateOfAMachine) {
  expect_accepted(with_certificate(password("alice", "wonder"), "host-1"), "alice",
                  Role::kReadWrite);
  expect_accepted(with_certificate(password("alice", "wonder"), ""), "alice", Role::kReadWrite);
  expect_accepted(with_certificate(password("alice", "wonder"), "alice"), "alice",
                  Role::kReadWrite);
}

TEST_F(UsersFile, RefusesCredentialsThatContradictThemselvesInWords) {
  Credentials both = with_certificate(password("alice", "wonder"), "bob");
  expect_refused(both, "the certificate is of one user and the user name of another");
  both = with_certificate(password("alice", ""), "bob");
  expect_refused(both, "the certificate is of one user and the user name of another");
  both = password("", "wonder");
  both.users_differ = true;
  expect_refused(both, "the call has two different user names");
  both = password("alice", "");
  both.passwords_differ = true;
  expect_refused(both, "the call has two different passwords");
  both = certificate("robot");
  both.users_differ = true;
  expect_refused(both, "the call has two different user names");
  both = certificate("robot");
  both.has_several_names = true;
  expect_refused(both, "the certificate has more than one common name");
}

TEST_F(UsersFile, RemembersARightPasswordOnly) {
  const auto first = time_of(password("alice", "wonder"));
  auto again = time_of(password("alice", "wonder"));
  for (int i = 0; i < 5; ++i) again = std::min(again, time_of(password("alice", "wonder")));
  EXPECT_LT(again * 20, first);
  expect_refused(password("alice", "wonde"));
  expect_refused(password("bob", "wonder"));
  expect_accepted(password("alice", "wonder"), "alice", Role::kReadWrite);
}

TEST_F(UsersFile, TakesAsLongForANameThatIsNotThere) {
  auto known = time_of(password("alice", "wrong"));
  auto unknown = time_of(password("carol", "wrong"));
  for (int i = 0; i < 4; ++i) {
    known = std::min(known, time_of(password("alice", "wrong")));
    unknown = std::min(unknown, time_of(password("carol", "wrong")));
  }
  EXPECT_GT(unknown * 3, known);
  EXPECT_GT(known * 3, unknown);
}

TEST_F(UsersFile, ReloadTakesOverChangesAndForgetsOldPasswords) {
  expect_accepted(password("alice", "wonder"), "alice", Role::kReadWrite);
  write("alice:read-only:" + hash_password("new word") + "\n");
  ASSERT_EQ(line_of(access_->reload()), "");
  expect_refused(password("alice", "wonder"));
  expect_accepted(password("alice", "new word"), "alice", Role::kReadOnly);
  expect_refused(password("bob", "builder"));
}

TEST_F(UsersFile, RemembersPasswordsThatWereRight) {
  const auto remembered = [this](const Credentials& credentials) {
    Caller caller;
    return access_->remembers(credentials, caller) ? caller.name : "nobody";
  };
  const Credentials right = password("alice", "wonder");
  EXPECT_EQ(remembered(right), "nobody");
  expect_accepted(right, "alice", Role::kReadWrite);
  EXPECT_EQ(remembered(right), "alice");
  EXPECT_EQ(remembered(password("alice", "wonde")), "nobody");
  EXPECT_EQ(remembered(password("bob", "wonder")), "nobody");
  EXPECT_EQ(remembered(with_certificate(right, "bob")), "nobody");
  EXPECT_EQ(remembered(certificate("alice")), "nobody");
  Credentials doubtful = right;
  doubtful.users_differ = true;
  EXPECT_EQ(remembered(doubtful), "nobody");
  doubtful = right;
  doubtful.passwords_differ = true;
  EXPECT_EQ(remembered(doubtful), "nobody");
}

TEST_F(UsersFile, ReloadForgetsThePasswordsOfUsersWhoChanged) {
  for (const char* name : {"alice", "bob"}) {
    Caller caller;
    EXPECT_TRUE(
        access_->authenticate(password(name, name[0] == 'a' ? "wonder" : "builder"), caller).ok());
  }
  std::ifstream file(path_);
  std::string alice;
  std::getline(file, alice);
  write(alice + "\nbob:read-write:" + hash_password("builder") + "\n");
  ASSERT_EQ(line_of(access_->reload()), "");
  Caller caller;
  EXPECT_TRUE(access_->remembers(password("alice", "wonder"), caller));
  EXPECT_FALSE(access_->remembers(password("bob", "builder"), caller));
  write("");
  ASSERT_EQ(line_of(access_->reload()), "");
  EXPECT_FALSE(access_->remembers(password("alice", "wonder"), caller));
}

TEST_F(UsersFile, KeepsItsUsersWhenTheNewFileIsWrong) {
  write("alice:boss:*\n");
  EXPECT_EQ(line_of(access_->reload()), path_ + ":1: the role is neither read-only nor read-write");
  expect_accepted(password("alice", "wonder"), "alice", Role::kReadWrite);
}

TEST_F(UsersFile, RefusesAFileThatEverybodyCanWrite) {
  using std::filesystem::perms;
  const std::string text =
      path_ + ": every user of this machine can write it, and so become any user of the server";
  write("mallory:read-write:*\n");
  std::filesystem::permissions(path_, perms::others_write, std::filesystem::perm_options::add);
  EXPECT_EQ(line_of(access_->reload()), text);
  expect_accepted(certificate("robot"), "robot", Role::kReadWrite);
  expect_refused(certificate("mallory"));
  EXPECT_EQ(line_of(make_access_control(path_)), text);
}

TEST_F(UsersFile, ServesManyThreadsWhileItIsReloaded) {
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([this] {
      for (int call = 0; call < 200; ++call) {
        expect_accepted(password("alice", "wonder"), "alice", Role::kReadWrite);
      }
    });
  }
  for (int i = 0; i < 5; ++i) {
    EXPECT_EQ(line_of(access_->reload()), "");
  }
  for (std::thread& thread : threads) thread.join();
}

TEST(MakeAccessControl, SaysWhyAFileCannotBeUsed) {
  EXPECT_EQ(line_of(make_access_control("no/such/file")),
            "no/such/file: cannot be read: No such file or directory");
}

}  // namespace
