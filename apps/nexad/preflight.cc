// Looks only: a server that runs over the same data is not disturbed.
#include "preflight.h"

#include <netdb.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <sstream>
#include <system_error>

#include "address.h"

namespace nexad {

using nexa::text::Done;
using nexa::text::unusable;

namespace {

namespace fs = std::filesystem;

constexpr char kTool[] = "nexa";

Done check_data(const ServerConfig& config) {
  const std::string origin = config.origin("data");
  std::error_code ignored;
  fs::path path = fs::absolute(config.data, ignored);
  if (!path.has_filename()) path = path.parent_path();
  if (fs::status(path, ignored).type() == fs::file_type::not_found) {
    // It will be made: the folder above has to let us.
    path = path.parent_path();
    if (!fs::exists(path, ignored)) {
      return unusable(origin, "there is no folder " + path.string() + " to make it in");
    }
  }
  if (!fs::is_directory(path, ignored)) return unusable(origin, path.string() + " is not a folder");
  if (access(path.c_str(), W_OK | X_OK) != 0) {
    return unusable(origin, path.string() + " cannot be written to: " + strerror(errno));
  }
  return {};
}

bool can_run(const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) &&
         access(path.c_str(), X_OK) == 0;
}

// `setting` names the program of a command.
Done check_program(const ServerConfig& config, const char* setting,
                   const std::vector<std::string>& command) {
  if (command.empty() || !find_program(command.front()).empty()) return {};
  return unusable(config.origin(setting), "there is no program " + command.front());
}

Done check_hook(const ServerConfig& config) { return check_program(config, "hook", config.hook); }

Done check_state_command(const ServerConfig& config) {
  return check_program(config, "state-command", config.state_command);
}

Done check_listen(const ServerConfig& config) {
  struct FreeAddresses {
    void operator()(addrinfo* list) const { freeaddrinfo(list); }
  };
  const std::string place = config.origin("listen") + ": " + config.listen;
  const auto address = parse_address(config.listen);
  if (!address) return unusable(place, "it is no address");
  if (address->host.empty()) return {};
  addrinfo hints{};
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* list = nullptr;
  const int fault = getaddrinfo(address->host.c_str(), nullptr, &hints, &list);
  const std::unique_ptr<addrinfo, FreeAddresses> owned(list);
  if (fault != 0) return unusable(place, gai_strerror(fault));
  return {};
}

void warn_of_readers(const std::string& file, std::vector<std::string>& warnings) {
  struct stat status {};
  if (file.empty() || stat(file.c_str(), &status) != 0 || (status.st_mode & S_IROTH) == 0) return;
  warnings.push_back(file + " can be read by every user of this machine");
}

}  // namespace

std::string find_program(const std::string& program) {
  if (program.find('/') != std::string::npos) return can_run(program) ? program : std::string();
  const char* path = std::getenv("PATH");
  std::istringstream folders(path == nullptr ? "/bin:/usr/bin" : path);
  for (std::string folder; std::getline(folders, folder, ':');) {
    std::string file = (folder.empty() ? "." : folder) + "/" + program;
    if (can_run(file)) return file;
  }
  return {};
}

std::string find_nexa() {
  std::error_code fault;
  const fs::path self = fs::read_symlink("/proc/self/exe", fault);
  if (!fault) {
    std::string beside = (self.parent_path() / kTool).string();
    if (can_run(beside)) return beside;
  }
  return find_program(kTool);
}

Done check_folders_and_programs(const ServerConfig& config) {
  Done done = check_data(config);
  if (done.ok()) done = check_hook(config);
  if (done.ok()) done = check_state_command(config);
  return done.ok() ? check_listen(config) : done;
}

std::vector<std::string> warnings_of(const ServerConfig& config) {
  std::vector<std::string> warnings;
  warn_of_readers(config.tls_key, warnings);
  warn_of_readers(config.users, warnings);
  // It may come later, with the file system that it is on.
  if (const Done done = check_hook(config); !done.ok()) {
    warnings.push_back(done.failure().line() + "; until there is, every Set is refused");
  }
  if (const Done done = check_state_command(config); !done.ok()) {
    warnings.push_back(done.failure().line() + "; it is looked for again");
  }
  const auto address = parse_address(config.listen);
  if (!address || is_loopback(*address)) return warnings;
  const std::string where = config.listen + " can be reached from other machines, and ";
  if (config.insecure) warnings.push_back(where + "connections to it are not encrypted");
  if (config.users.empty() && config.tls_ca.empty()) {
    warnings.push_back(where + "everybody who connects may read and write");
  }
  return warnings;
}

}  // namespace nexad
