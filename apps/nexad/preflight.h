// Whether the folders, programs and names of the configuration are there, without using them.
#ifndef APPS_NEXAD_PREFLIGHT_H_
#define APPS_NEXAD_PREFLIGHT_H_

#include <string>
#include <vector>

#include "server_config.h"

namespace nexad {

// Fails, naming the setting: the data folder is none, or cannot be made or written to; the hook's
// program cannot be found or run; the listen address is not of this machine's families or its name
// is unknown.
nexa::text::Done check_folders_and_programs(const ServerConfig& config);

// The file of a program that can be run: the name itself where it has a slash, else the first of
// that name in PATH. Empty when there is none.
std::string find_program(const std::string& program);

// The tool: beside this program, else in PATH. Empty when there is none.
std::string find_nexa();

// What can be used but should give pause, one line each: secrets that every user of the machine can
// read, writing without being asked who one is, no encryption where other machines can listen, a
// hook that is not there.
std::vector<std::string> warnings_of(const ServerConfig& config);

}  // namespace nexad

#endif  // APPS_NEXAD_PREFLIGHT_H_
