// Which file of the search folders is meant by a module's name. Reads file names, and contents when
// the name alone does not tell; must not know libyang.
#ifndef KESTREL_SRC_MODULE_INDEX_H_
#define KESTREL_SRC_MODULE_INDEX_H_

#include <cstddef>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "kestrel/loader.h"

namespace kestrel {

// A *.yang file of a search folder.
struct SourceFile {
  std::string path;
  std::string folder;
  std::string name;      // of the module, by the file's name
  std::string revision;  // by the file's name; empty when that has none

  // Reads the file on the first call. An error names the file.
  std::optional<LoadError> read();
  const std::string& text() const { return *text_; }  // after a successful read()

 private:
  std::optional<std::string> text_;
};

class ModuleIndex {
 public:
  // Adds the *.yang files of a folder, not of folders inside it, behind those added before.
  std::optional<LoadError> add_folder(const std::string& path);

  // The file of a module or submodule. Without a revision: the newest one in the first folder that
  // has the name. With a revision: the first file of that revision. Null when there is none.
  SourceFile* find(std::string_view name, std::string_view revision);

  // The same, with `folder` looked at before all others.
  SourceFile* find_near(const std::string& folder, std::string_view name,
                        std::string_view revision);

  // The names of all modules, submodules not counted, in alphabetical order.
  std::optional<LoadError> module_names(std::vector<std::string>& names);

  bool empty() const { return files_.empty(); }

 private:
  using Files =
      std::vector<std::unique_ptr<SourceFile>>;  // of one name, in the order of the folders

  static SourceFile* newest_of_first_folder(const Files& files, const std::string* folder);
  static SourceFile* of_revision(const Files& files, const std::string* folder,
                                 std::string_view revision);

  std::map<std::string, Files, std::less<>> files_;
};

}  // namespace kestrel

#endif  // KESTREL_SRC_MODULE_INDEX_H_
