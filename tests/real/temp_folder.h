// A folder of YANG modules that a test writes itself; gone with the object.
//
//   TempFolder folder;
//   folder.write("m.yang", R"(module m { namespace "urn:m"; prefix m; leaf x { type string; } })");
//   ASSERT_EQ(load_all(folder), std::nullopt);
#ifndef TESTS_REAL_TEMP_FOLDER_H_
#define TESTS_REAL_TEMP_FOLDER_H_

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "kestrel/loader.h"

namespace kestrel {

// For the messages of failing tests.
inline std::ostream& operator<<(std::ostream& out, const LoadError& error) {
  return out << error.text();
}

}  // namespace kestrel

namespace nexa_test {

class TempFolder {
 public:
  TempFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "nexa-yang-XXXXXX").string();
    if (mkdtemp(name.data()) != nullptr) path_ = name;
    EXPECT_NE(path_, "") << "no temporary folder";
  }
  ~TempFolder() {
    std::error_code ignored;
    if (!path_.empty()) std::filesystem::remove_all(path_, ignored);
  }
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;

  const std::string& path() const { return path_; }
  std::string file(std::string_view name) const { return path_ + "/" + std::string(name); }

  void write(std::string_view name, std::string_view text) const {
    std::ofstream out(file(name), std::ios::binary);
    out.write(text.data(), static_cast<std::streamsize>(text.size()));
    EXPECT_TRUE(out.good()) << name;
  }

 private:
  std::string path_;
};

inline kestrel::LoadOptions options_for(const TempFolder& folder,
                                        std::vector<std::string> modules = {}) {
  kestrel::LoadOptions options;
  options.search_dirs = {folder.path()};
  options.modules = std::move(modules);
  return options;
}

// Loads every module of the folder, or those named. The text of the error; empty on success.
inline std::string load_text(const kestrel::LoadOptions& options) {
  const std::optional<kestrel::LoadError> error = kestrel::load(options);
  return error ? error->text() : std::string();
}
inline std::string load_text(const TempFolder& folder, std::vector<std::string> modules = {}) {
  return load_text(options_for(folder, std::move(modules)));
}

// Loads one module, whose text is given.
inline std::string load_module(const std::string& name, std::string_view text) {
  const TempFolder folder;
  folder.write(name + ".yang", text);
  return load_text(folder);
}

}  // namespace nexa_test

#endif  // TESTS_REAL_TEMP_FOLDER_H_
