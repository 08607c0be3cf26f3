// Which text libyang is given for a module and for its submodules. Must not know libyang.
//
// A submodule that includes others ends in a null pointer when libyang 2.1.30 gets it from a
// function. As all submodules of a module see each other's definitions, a module's text here
// includes all of them, also those that only a submodule includes, and the submodules' own include
// statements are blanked out. No line moves.
#ifndef KESTREL_SRC_MODULE_TEXTS_H_
#define KESTREL_SRC_MODULE_TEXTS_H_

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "kestrel/loader.h"
#include "module_index.h"
#include "module_survey.h"

namespace kestrel {

// A file and the text to read in its place.
struct ProvidedFile {
  SourceFile* file = nullptr;
  std::string edited;  // empty: the text of the file is right

  const std::string& text() const { return edited.empty() ? file->text() : edited; }
};

// The files of a module: its own first, then its submodules'.
using ModuleFiles = std::vector<std::unique_ptr<ProvidedFile>>;
using ProvidedFiles = std::map<std::string, ModuleFiles, std::less<>>;  // by module name

class ModuleTexts {
 public:
  explicit ModuleTexts(ModuleIndex& index) : index_(index) {}

  // Null when no folder has the module, or when a file is refused: see refused(). The text stays as
  // long as this object.
  const ProvidedFile* module(std::string_view name, std::string_view revision);
  // A submodule of a module that was provided before.
  const ProvidedFile* submodule(std::string_view module, std::string_view name) const;

  const ProvidedFiles& provided() const { return provided_; }
  // The first file that must not reach libyang, with the reason.
  const std::optional<LoadError>& refused() const { return refused_; }

 private:
  bool accept(SourceFile& file, ModuleSurvey& survey);
  bool add_submodules(ModuleFiles& files, const ModuleSurvey& survey);
  SourceFile* find_submodule(const IncludeStatement& include, const SourceFile& main,
                             const SourceFile& includer);
  void refuse(LoadError error);

  ModuleIndex& index_;
  ProvidedFiles provided_;
  std::vector<ModuleFiles> other_revisions_;  // of modules provided more than once
  std::optional<LoadError> refused_;
};

}  // namespace kestrel

#endif  // KESTREL_SRC_MODULE_TEXTS_H_
