// Where the tests find published YANG modules and payloads. None of them is part of the tree, so a
// test asks first:
//
//   NEXA_NEED_FOLDER(openconfig_folder());
//
// NEXA_PUBLISHED_MODELS names the folder that has yang/openconfig and payloads in it; Debian's
// packages have the others.
#ifndef TESTS_REAL_YANG_FOLDERS_H_
#define TESTS_REAL_YANG_FOLDERS_H_

#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

namespace nexa_test {

// A folder, and the environment variable that says where it is. The path is empty when the
// variable is not set and there is no usual place.
struct YangFolder {
  const char* variable;
  std::string path;
};

inline YangFolder yang_folder(const char* variable, const std::string& usual) {
  const char* const chosen = std::getenv(variable);
  return {variable, chosen != nullptr && *chosen != '\0' ? std::string(chosen) : usual};
}

inline constexpr char kPublishedModels[] = "NEXA_PUBLISHED_MODELS";

inline YangFolder published_folder(const std::string& name) {
  YangFolder folder = yang_folder(kPublishedModels, std::string());
  if (!folder.path.empty()) folder.path.append("/").append(name);
  return folder;
}

// The OpenConfig models with what they import, in one folder.
inline YangFolder openconfig_folder() { return published_folder("yang/openconfig"); }
// JSON_IETF payloads, most of them for OpenConfig.
inline YangFolder payload_folder() { return published_folder("payloads"); }
// The IETF modules of Debian's libyuma-base: those for NMDA servers, and all the others.
inline YangFolder ietf_nmda_folder() {
  return yang_folder("NEXA_YANG_IETF_NMDA", "/usr/share/yuma/nmda-modules/ietf");
}
inline YangFolder ietf_folder() {
  return yang_folder("NEXA_YANG_IETF", "/usr/share/yuma/modules/ietf");
}
// The modules of Debian's frr.
inline YangFolder frr_folder() { return yang_folder("NEXA_YANG_FRR", "/usr/share/yang"); }

inline bool has_files(const YangFolder& folder, const char* extension) {
  std::error_code error;
  for (std::filesystem::directory_iterator entry(folder.path, error), end; !error && entry != end;
       entry.increment(error)) {
    if (entry->path().extension() == extension) return true;
  }
  return false;
}

// Whether the folder holds at least one *.yang file.
inline bool has_modules(const YangFolder& folder) { return has_files(folder, ".yang"); }

inline std::string absent(const YangFolder& folder) {
  if (folder.path.empty()) return std::string(kPublishedModels) + " is not set";
  return "nothing to read in " + folder.path + "; " + folder.variable + " names another folder";
}

}  // namespace nexa_test

// Skips the test when the folder is absent, or has no modules.
#define NEXA_NEED_FOLDER(folder)                                                      \
  if (const nexa_test::YangFolder needed = (folder); !nexa_test::has_modules(needed)) \
  GTEST_SKIP() << nexa_test::absent(needed)

#endif  // TESTS_REAL_YANG_FOLDERS_H_
