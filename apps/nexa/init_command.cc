// nexa init: the directory that a first server starts from.
#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "access/access.h"
#include "access/authority.h"
#include "commands.h"
#include "option_checks.h"
#include "schema_options.h"
#include "status_output.h"
#include "text/descriptor.h"
#include "text/escape.h"

namespace nexa_tool {

namespace {

namespace fs = std::filesystem;

constexpr char kInitExamples[] = R"(FILES
  DIR/nexad.toml           what the server reads
  DIR/users                one user, with the hash of the password
  DIR/tls/ca.pem           what clients trust
  DIR/tls/ca-key.pem       makes more certificates; keep it elsewhere
  DIR/tls/server.pem, DIR/tls/server-key.pem
                           the server's certificate and its key
  DIR/data                 the configuration, made by the server

EXAMPLES
  nexa init lab
  nexa init lab --name router-1.example.net --name 192.0.2.7 \
    --listen 0.0.0.0:9339 -p yang -m openconfig-interfaces

EXIT STATUS
  0 made    1 DIR is not empty or cannot be made    2 wrong usage)";

constexpr std::size_t kPasswordLetters = 20;  // 100 bits
constexpr mode_t kForEverybody = 0644;
constexpr mode_t kForTheOwner = 0600;

// Where Debian's libyuma-base has the IETF's modules, and those of them that make a first device.
constexpr std::array kUsualFolders{"/usr/share/yuma/nmda-modules/ietf",
                                   "/usr/share/yuma/modules/ietf"};
constexpr std::array kUsualModules{"ietf-interfaces", "ietf-ip", "iana-if-type", "ietf-system"};

struct InitOptions {
  std::string directory;
  SchemaOptions schema;
  std::vector<std::string> names;
  std::string user = "admin";
  std::string listen = "127.0.0.1:9339";
  std::uint64_t days = 825;
};

struct NewFile {
  std::string name;  // below the directory
  std::string content;
  mode_t mode;
};

int give_up(const nexa::text::Failure& failure) {
  report_failure(failure);
  return kRefused;
}

std::string system_text() { return std::generic_category().message(errno); }

// The schema that is asked for, or the usual one. False where there is neither.
bool choose_schema(SchemaOptions& schema) {
  if (!schema.search_dirs.empty()) return true;
  for (const char* folder : kUsualFolders) {
    if (fs::is_directory(folder)) schema.search_dirs.emplace_back(folder);
  }
  if (schema.modules.empty()) schema.modules.assign(kUsualModules.begin(), kUsualModules.end());
  return !schema.search_dirs.empty();
}

// Under which names clients on this machine, and those that --name tells of, reach the server.
std::vector<std::string> server_names(const InitOptions& options) {
  std::vector<std::string> names{"localhost"};
  std::array<char, 256> host{};
  if (gethostname(host.data(), host.size() - 1) == 0 && host[0] != '\0') {
    names.emplace_back(host.data());
  }
  names.insert(names.end(), {"127.0.0.1", "::1"});
  names.insert(names.end(), options.names.begin(), options.names.end());
  return names;
}

// A JSON string is a basic string of TOML as well.
void add_key(std::string_view key, const std::string& value, std::string& toml) {
  toml.append(key).append(" = ");
  nexa::text::append_json_string(value, toml);
  toml.push_back('\n');
}

void add_list(std::string_view key, const std::vector<std::string>& values, std::string& toml) {
  if (values.empty()) return;
  toml.append(key).append(" = [");
  for (const std::string& value : values) {
    if (toml.back() != '[') toml.append(", ");
    nexa::text::append_json_string(value, toml);
  }
  toml.append("]\n");
}

std::string settings_text(const InitOptions& options, const fs::path& directory) {
  std::vector<std::string> folders;
  for (const std::string& folder : options.schema.search_dirs) {
    folders.push_back(fs::absolute(folder).lexically_normal().string());
  }
  std::string toml =
      "# Settings of nexad, made by nexa init. nexad.toml(5), or nexad --help, has them all.\n";
  add_list("yang-dir", folders, toml);
  add_list("module", options.schema.modules, toml);
  add_list("feature", options.schema.features, toml);
  add_key("data", (directory / "data").string(), toml);
  add_key("listen", options.listen, toml);
  add_key("tls-cert", (directory / "tls/server.pem").string(), toml);
  add_key("tls-key", (directory / "tls/server-key.pem").string(), toml);
  add_key("users", (directory / "users").string(), toml);
  return toml;
}

std::vector<NewFile> new_files(const InitOptions& options, const fs::path& directory,
                               const std::string& password) {
  const std::vector<std::string> names = server_names(options);
  const nexa::access::Authority authority("nexa init", static_cast<int>(options.days));
  nexa::access::CertifiedKey ca = authority.own();
  nexa::access::CertifiedKey server = authority.issue_for_server("nexad", names);
  std::string users = "# name:role:hash, see nexad-users(5)\n" + options.user +
                      ":read-write:" + nexa::access::hash_password(password) + "\n";
  return {{"tls/ca.pem", std::move(ca.certificate), kForEverybody},
          {"tls/ca-key.pem", std::move(ca.key), kForTheOwner},
          {"tls/server.pem", std::move(server.certificate), kForEverybody},
          {"tls/server-key.pem", std::move(server.key), kForTheOwner},
          {"users", std::move(users), kForTheOwner},
          {"nexad.toml", settings_text(options, directory), kForEverybody}};
}

bool write_file(const fs::path& path, const NewFile& file) {
  nexa::text::Descriptor out(
      open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, file.mode));
  if (!out.is_open()) return false;
  std::string_view rest = file.content;
  while (!rest.empty()) {
    const ssize_t count = write(out.get(), rest.data(), rest.size());
    if (count < 0) return false;
    rest.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

// After a failure none is left.
nexa::text::Done write_files(const fs::path& directory, const std::vector<NewFile>& files) {
  std::error_code fault;
  fs::create_directories(directory / "tls", fault);
  if (fault) return nexa::text::unusable((directory / "tls").string(), fault.message());
  for (const NewFile& file : files) {
    const fs::path path = directory / file.name;
    if (write_file(path, file)) continue;
    nexa::text::Failure failure = nexa::text::unusable(path.string(), system_text());
    for (const NewFile& made : files) fs::remove(directory / made.name, fault);
    fs::remove(directory / "tls", fault);
    return failure;
  }
  return {};
}

// For a shell, where the text has anything that it would not take as it stands.
std::string shell_word(const std::string& text) {
  constexpr std::string_view kPlain =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789/._-:+@%,=";
  if (text.find_first_not_of(kPlain) == std::string::npos) return text;
  std::string word = "'";
  for (const char c : text) c == '\'' ? word.append("'\\''") : word.append(1, c);
  return word + "'";
}

// Where a client on this machine reaches the server: one that listens on every address does so on
// this one as well.
std::string client_address(const std::string& listen) {
  const std::size_t colon = listen.rfind(':');
  if (colon == std::string::npos) return listen;
  const std::string host = listen.substr(0, colon);
  const bool is_any = host.empty() || host == "0.0.0.0" || host == "[::]";
  return (is_any ? "127.0.0.1" : host) + listen.substr(colon);
}

std::string what_next(const InitOptions& options, const fs::path& directory,
                      const std::string& password) {
  std::string names;
  for (const std::string& name : server_names(options)) {
    names.append(names.empty() ? "" : ", ").append(name);
  }
  return "Made " + directory.string() + ", with a certificate for " + names + ".\n" + "The user " +
         options.user + " has this password, which is shown only now:\n\n  " + password +
         "\n\nStart the server:\n\n  nexad --config " +
         shell_word((directory / "nexad.toml").string()) + "\n\nAsk it with a gNMI client:\n\n" +
         "  gnmic -a " + client_address(options.listen) + " --tls-ca " +
         shell_word((directory / "tls/ca.pem").string()) + " -u " + shell_word(options.user) +
         " -p " + password + " -e json_ietf capabilities\n";
}

int run_init(InitOptions& options, Session& session) {
  const fs::path directory = fs::absolute(options.directory).lexically_normal();
  std::error_code fault;
  if (fs::exists(directory, fault) && !fs::is_empty(directory, fault)) {
    return give_up(
        fault ? nexa::text::unusable(directory.string(), fault.message())
              : nexa::text::unusable("", directory.string() + " is not empty; name a new one"));
  }
  if (!choose_schema(options.schema)) {
    return give_up(nexa::text::unusable("", "there are no YANG modules in " +
                                                std::string(kUsualFolders[0]) +
                                                "; name a folder with --yang-dir"));
  }
  // What cannot be loaded would only show when the server starts.
  if (options.schema.load() == nullptr) return kRefused;
  const std::string password = nexa::access::random_password(kPasswordLetters);
  std::vector<NewFile> files;
  try {
    files = new_files(options, directory, password);
  } catch (const std::runtime_error& error) {
    return give_up(nexa::text::unusable("", error.what()));
  }
  const bool is_new = fs::create_directories(directory, fault);
  if (fault) return give_up(nexa::text::unusable(directory.string(), fault.message()));
  if (is_new) fs::permissions(directory, fs::perms::owner_all, fault);
  if (const auto done = write_files(directory, files); !done.ok()) return give_up(done.failure());
  return session.output.write(what_next(options, directory, password)) ? kDone : kRefused;
}

CLI::Validator valid_user() {
  return CLI::Validator(
      [](const std::string& text) {
        const bool fits = !text.empty() && text.find_first_of(": \t\n#") == std::string::npos;
        return fits ? std::string() : "\"" + text + "\" is no name of a user";
      },
      "");
}

}  // namespace

void add_init_command(CLI::App& app, Session& session) {
  const auto options = std::make_shared<InitOptions>();
  CLI::App* command = app.add_subcommand("init");
  command->description(
      "Make the directory that a first server starts from\n\n"
      "Makes a directory with what nexad needs: an authority of its own and a certificate of it, a "
      "users file with one user, and nexad.toml. Prints the user's password, which is stored "
      "nowhere, and the command that starts the server. Without --yang-dir the server gets the "
      "IETF's modules of Debian's package libyuma-base, and of these the ones for interfaces, "
      "addresses and the system.");
  command->add_option("DIR", options->directory, "Directory to make; an empty one is taken")
      ->required()
      ->type_name("");
  command
      ->add_option("--name", options->names,
                   "Host name or address under which clients reach the server, beside this "
                   "machine's; give it again for more")
      ->type_name("NAME")
      ->expected(1)
      ->allow_extra_args(false)
      ->take_all();
  command->add_option("--user", options->user, "Name of the user")
      ->check(valid_user())
      ->type_name("NAME")
      ->capture_default_str();
  command->add_option("--listen", options->listen, "Where clients are served")
      ->type_name("ADDRESS")
      ->capture_default_str();
  command->add_option("--days", options->days, "Days that the certificates are valid")
      ->check(whole_number(1))
      ->check(CLI::Range(36500).description(""))
      ->type_name("N")
      ->capture_default_str();
  options->schema.add_to(*command, false);
  command->footer(kInitExamples);
  command->callback([options, &session] { session.exit_status = run_init(*options, session); });
}

}  // namespace nexa_tool
