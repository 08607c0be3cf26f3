// What one start of the program is asked to do: command line over environment over file.
#ifndef APPS_NEXAD_INVOCATION_H_
#define APPS_NEXAD_INVOCATION_H_

#include <map>
#include <string>
#include <vector>

#include "server_config.h"

namespace nexad {

enum class Action : unsigned char {
  kServe,
  kCheckConfig,   // validate everything, serve nothing
  kHashPassword,  // one line of standard input becomes a hash
  kShow,          // print `text`: help or version
};

struct Invocation {
  Action action = Action::kServe;
  ServerConfig config;
  std::string text;
};

// By variable name. Only those that begin with NEXAD_ are looked at; unknown ones are let be, for
// some orchestrators set variables named after a service of their own accord.
using Environment = std::map<std::string, std::string>;

// `arguments` without the program's name. A failure names the flag, the variable or the file's line
// at fault.
nexa::text::Result<Invocation> parse_invocation(const std::vector<std::string>& arguments,
                                                const Environment& environment);

// The NEXAD_ variables of this process.
Environment process_environment();

}  // namespace nexad

#endif  // APPS_NEXAD_INVOCATION_H_
