// nexa, the offline tool: the library's work on files. Wiring only; each command has its own file.
#include <grpc/support/log.h>

#include <csignal>
#include <exception>
#include <iostream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "commands.h"
#include "help_text.h"
#include "manual_text.h"

namespace {

using namespace nexa_tool;

constexpr char kAbout[] =
    "nexa works offline on what a gNMI server receives: paths, JSON_IETF values, and the "
    "configuration XML that they become over a set of YANG modules; and on the data directory of a "
    "server, for its history and its health. For a first server it makes the directory.";
constexpr char kFooter[] =
    R"(Each command explains itself: nexa convert --help

EXAMPLE
  echo '"core-1.example.net"' |
    nexa convert --yang-dir /usr/share/yuma/modules/ietf --module ietf-system \
      --path /ietf-system:system/hostname --pretty)";

// In the list of commands each shows the first line of its description; the rest is for its own
// help.
class HelpFormatter : public help_text::Formatter {
 public:
  std::string make_subcommand(const CLI::App* command) const override {
    const std::string description = command->get_description();
    std::ostringstream line;
    CLI::detail::format_help(line, command->get_display_name(true),
                             description.substr(0, description.find('\n')), get_column_width());
    return line.str();
  }
};

void log_to_stderr(gpr_log_func_args* line) {
  std::fprintf(stderr, "%s %s:%d] %s\n", gpr_log_severity_string(line->severity), line->file,
               line->line, line->message);
}

int run(int argc, char** argv, ResultOutput& output) {
  Session session{output};
  CLI::App app(kAbout, "nexa");
  app.formatter(std::make_shared<HelpFormatter>());
  app.footer(kFooter);
  app.require_subcommand(1);
  app.set_version_flag("-V,--version", "nexa " NEXA_VERSION);
  app.add_flag_callback(
      "-v,--verbose",
      [] {
        gpr_set_log_function(log_to_stderr);
        gpr_set_log_verbosity(GPR_LOG_SEVERITY_DEBUG);
      },
      "Show the library's log on standard error");
  add_convert_command(app, session);
  add_capabilities_command(app, session);
  add_check_command(app, session);
  add_path_command(app, session);
  add_history_command(app, session);
  add_rollback_command(app, session);
  add_set_command(app, session);
  add_verify_command(app, session);
  add_init_command(app, session);
  if (manual_text::is_asked_for(std::vector<std::string>(argv + 1, argv + argc))) {
    return output.write(manual_text::description_of(app)) ? kDone : kRefused;
  }
  const auto is_named = [&](CLI::App* command) { return command->check_name(argv[1]); };
  if (argc > 1 && argv[1][0] != '-' && app.get_subcommands(is_named).empty()) {
    std::fprintf(stderr, "nexa: there is no command \"%s\"; nexa --help lists them\n", argv[1]);
    return kUsage;
  }
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    std::ostringstream text;
    const int status = app.exit(error, text, std::cerr);
    if (status != 0) return kUsage;
    return output.write(text.str()) ? kDone : kRefused;
  }
  return session.exit_status;
}

}  // namespace

int main(int argc, char** argv) {
  // A reader that goes away shows as a failed write.
  std::signal(SIGPIPE, SIG_IGN);
  // A limit on the size of files shows as a full disk.
  std::signal(SIGXFSZ, SIG_IGN);
  ResultOutput output;
  try {
    return run(argc, argv, output);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "INTERNAL: %s\n", error.what());
    return kRefused;
  }
}
