// The TOML file of settings: which values it gives, and on which lines.
#ifndef APPS_NEXAD_CONFIG_FILE_H_
#define APPS_NEXAD_CONFIG_FILE_H_

#include <map>
#include <string>
#include <vector>

#include "text/result.h"

namespace nexad {

struct FileValue {
  std::vector<std::string> values;
  std::string origin;  // "nexad.toml:3: listen"
};

using FileValues = std::map<std::string, FileValue>;  // by setting

// Fails, with the path "file:line", when the file cannot be read, is no TOML, or has a key that is
// no setting or a value that the setting cannot have.
nexa::text::Result<FileValues> read_config_file(const std::string& path);

}  // namespace nexad

#endif  // APPS_NEXAD_CONFIG_FILE_H_
