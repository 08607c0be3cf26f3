// The commands of the tool, one source file each. A command adds itself to the application with its
// options and help; when the command line names it, it runs and leaves the exit status.
#ifndef APPS_NEXA_COMMANDS_H_
#define APPS_NEXA_COMMANDS_H_

#include <CLI/CLI.hpp>

#include "result_output.h"

namespace nexa_tool {

inline constexpr int kDone = 0;
inline constexpr int kRefused = 1;  // the input was refused, or a result could not be written
inline constexpr int kUsage =
    2;  // the command line makes no sense, or names a file that is not there

// What every command may use. Lives as long as the application.
struct Session {
  ResultOutput& output;  // the only way to standard output
  int exit_status = kDone;
};

void add_convert_command(CLI::App& app, Session& session);
void add_capabilities_command(CLI::App& app, Session& session);
void add_check_command(CLI::App& app, Session& session);
void add_path_command(CLI::App& app, Session& session);
void add_history_command(CLI::App& app, Session& session);
void add_rollback_command(CLI::App& app, Session& session);
void add_init_command(CLI::App& app, Session& session);
void add_verify_command(CLI::App& app, Session& session);
void add_set_command(CLI::App& app, Session& session);

}  // namespace nexa_tool

#endif  // APPS_NEXA_COMMANDS_H_
