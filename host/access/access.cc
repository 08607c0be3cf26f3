// Decides who a caller is. What is wrong with the credentials stays here: a stranger gets one text,
// after the same work, whether the name exists or not.
#include "access/access.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <unordered_map>
#include <utility>
#include <vector>

#include "access/password.h"
#include "access/users_file.h"

namespace nexa::access {
namespace {

constexpr char kRefused[] = "Authentication failed: user name, password or certificate is wrong";
constexpr char kUsersDiffer[] = "Authentication failed: the call has two different user names";
constexpr char kPasswordsDiffer[] = "Authentication failed: the call has two different passwords";
constexpr char kSeveralNames[] =
    "Authentication failed: the certificate has more than one common name";
constexpr char kOtherUser[] =
    "Authentication failed: the certificate is of one user and the user name of another";
constexpr char kAnonymous[] = "anonymous";

grpc::Status unauthenticated(const char* text) { return {grpc::StatusCode::UNAUTHENTICATED, text}; }

// Caller of a server that asks nobody for a password; what clients send of one is not looked at.
class OpenAccess final : public AccessControl {
 public:
  grpc::Status authenticate(const Credentials& credentials, Caller& caller) override {
    if (credentials.has_several_names) return unauthenticated(kSeveralNames);
    const bool named = credentials.certificate && !credentials.certificate_name.empty();
    caller.name = named ? std::string(credentials.certificate_name) : kAnonymous;
    caller.role = Role::kReadWrite;
    return grpc::Status::OK;
  }
  bool remembers(const Credentials& credentials, Caller& caller) override {
    return authenticate(credentials, caller).ok();
  }
  text::Done reload() override { return {}; }
};

// The users as one reading of the file gave them, with the passwords that fitted. What is
// remembered of a user never outlives a change of that user's hash.
class UserTable {
 public:
  UserTable(Users users, const UserTable* before) : users_(std::move(users)) {
    if (before != nullptr) inherit(*before);
    for (const auto& [name, user] : users_) {
      if (!user.hash.empty()) hashes_.push_back(&user.hash);
    }
  }

  const User* find(std::string_view name) const {
    const auto found = users_.find(std::string(name));
    return found == users_.end() ? nullptr : &found->second;
  }

  // The hash that stands in for a user who is not there or has none: one of those in use, so that
  // it costs what a real one costs, and always the same for a name. Null when there is none.
  const std::string* stand_in(const Digest& of_name) const {
    if (hashes_.empty()) return nullptr;
    return hashes_[(of_name[0] * 256U + of_name[1]) % hashes_.size()];
  }

  bool remembers(const std::string& name, const Digest& digest) const {
    const std::shared_lock lock(mutex_);
    const auto found = fitted_.find(name);
    return found != fitted_.end() && equal(found->second, digest);
  }

  void remember(const std::string& name, const Digest& digest) {
    const std::lock_guard lock(mutex_);
    fitted_[name] = digest;
  }

 private:
  void inherit(const UserTable& before) {
    const std::shared_lock lock(before.mutex_);
    for (const auto& [name, digest] : before.fitted_) {
      const User* user = find(name);
      if (user != nullptr && user->hash == before.find(name)->hash) fitted_[name] = digest;
    }
  }

  const Users users_;
  std::vector<const std::string*> hashes_;
  mutable std::shared_mutex mutex_;
  std::unordered_map<std::string, Digest> fitted_;
};

class FileAccess final : public AccessControl {
 public:
  FileAccess(std::string file, Users users)
      : file_(std::move(file)),
        unused_hash_(hash_password("no user's password")),
        table_(std::make_shared<UserTable>(std::move(users), nullptr)) {}

  grpc::Status authenticate(const Credentials& credentials, Caller& caller) override {
    if (const char* why = contradiction_of(credentials)) return unauthenticated(why);
    const std::shared_ptr<UserTable> table = current();
    switch (proof_of(credentials)) {
      case Proof::kPassword:
        return with_password(*table, credentials, caller);
      case Proof::kCertificate:
        return with_certificate(*table, credentials, caller);
      case Proof::kNone:
        break;
    }
    return refused();
  }

  bool remembers(const Credentials& credentials, Caller& caller) override {
    if (contradiction_of(credentials) != nullptr || proof_of(credentials) != Proof::kPassword) {
      return false;
    }
    const std::shared_ptr<UserTable> table = current();
    const User* user = table->find(credentials.user);
    const auto digest = key_.of(credentials.user, credentials.password);
    if (user == nullptr || !digest || is_other_users(*table, credentials) ||
        !table->remembers(std::string(credentials.user), *digest)) {
      return false;
    }
    return accepted(credentials.user, *user, caller).ok();
  }

  text::Done reload() override {
    text::Result<Users> users = read_users(file_);
    if (!users.ok()) return std::move(users).failure();
    auto table = std::make_shared<UserTable>(std::move(users).value(), current().get());
    const std::lock_guard lock(mutex_);
    table_ = std::move(table);
    return {};
  }

 private:
  // Null when there is none.
  static const char* contradiction_of(const Credentials& credentials) {
    if (credentials.users_differ) return kUsersDiffer;
    if (credentials.passwords_differ) return kPasswordsDiffer;
    return credentials.has_several_names ? kSeveralNames : nullptr;
  }

  static grpc::Status refused() { return unauthenticated(kRefused); }

  static grpc::Status accepted(std::string_view name, const User& user, Caller& caller) {
    caller.name = name;
    caller.role = user.role;
    return grpc::Status::OK;
  }

  std::shared_ptr<UserTable> current() const {
    const std::lock_guard lock(mutex_);
    return table_;
  }

  static grpc::Status with_certificate(const UserTable& table, const Credentials& credentials,
                                       Caller& caller) {
    const User* user = table.find(credentials.certificate_name);
    if (user == nullptr) return refused();
    return accepted(credentials.certificate_name, *user, caller);
  }

  // A certificate beside the password may be of the machine that the client runs on. When its name
  // is a user's, that user has to be the one who gives the password; which one of the two means it
  // is not for the server to guess.
  static bool is_other_users(const UserTable& table, const Credentials& credentials) {
    return credentials.certificate && !credentials.user.empty() &&
           credentials.certificate_name != credentials.user &&
           table.find(credentials.certificate_name) != nullptr;
  }

  grpc::Status with_password(UserTable& table, const Credentials& credentials,
                             Caller& caller) const {
    if (is_other_users(table, credentials)) return unauthenticated(kOtherUser);
    const auto digest = key_.of(credentials.user, credentials.password);
    const auto of_name = key_.of(credentials.user, {});
    if (!digest || !of_name) return refused();
    const User* user = table.find(credentials.user);
    if (user == nullptr || user->hash.empty()) {
      const std::string* stand_in = table.stand_in(*of_name);
      password_fits(credentials.password, stand_in != nullptr ? *stand_in : unused_hash_);
      return refused();
    }
    const std::string name(credentials.user);
    if (table.remembers(name, *digest)) return accepted(name, *user, caller);
    if (!password_fits(credentials.password, user->hash)) return refused();
    table.remember(name, *digest);
    return accepted(name, *user, caller);
  }

  const std::string file_;
  const std::string unused_hash_;
  const KeyedDigest key_;
  mutable std::mutex mutex_;
  std::shared_ptr<UserTable> table_;
};

}  // namespace

Proof proof_of(const Credentials& credentials) {
  if (credentials.certificate && credentials.password.empty() &&
      (credentials.user.empty() || credentials.user == credentials.certificate_name)) {
    return Proof::kCertificate;
  }
  const bool has_none = credentials.user.empty() && credentials.password.empty();
  return has_none ? Proof::kNone : Proof::kPassword;
}

text::Result<std::unique_ptr<AccessControl>> make_access_control(const std::string& users_file) {
  if (users_file.empty()) return std::make_unique<OpenAccess>();
  text::Result<Users> users = read_users(users_file);
  if (!users.ok()) return std::move(users).failure();
  return std::make_unique<FileAccess>(users_file, std::move(users).value());
}

}  // namespace nexa::access
