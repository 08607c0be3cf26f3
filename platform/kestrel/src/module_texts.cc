// A module's text, complete with the includes of its submodules.
#include "module_texts.h"

#include <algorithm>
#include <set>
#include <utility>

#include "yang_lexer.h"

namespace kestrel {
namespace {

// The statement, in one line.
std::string include_statement(const IncludeStatement& include) {
  std::string text = " include " + include.submodule;
  if (include.revision.empty()) return text + ";";
  return text + " { revision-date " + include.revision + "; }";
}

// `text` with blanks instead of the statements; line breaks stay.
std::string without_includes(std::string text, const std::vector<IncludeStatement>& includes) {
  for (const IncludeStatement& include : includes) {
    const std::size_t end = std::min(include.end, text.size());
    for (std::size_t i = include.begin; i < end; ++i) {
      if (text[i] != '\n') text[i] = ' ';
    }
  }
  return text;
}

}  // namespace

const ProvidedFile* ModuleTexts::module(std::string_view name, std::string_view revision) {
  SourceFile* const file = index_.find(name, revision);
  ModuleSurvey survey;
  if (file == nullptr || !accept(*file, survey)) return nullptr;
  ModuleFiles files;
  files.push_back(std::make_unique<ProvidedFile>(ProvidedFile{file, {}}));
  if (!survey.includes.empty() && !add_submodules(files, survey)) return nullptr;
  const ProvidedFile* const main = files.front().get();
  ModuleFiles& known = provided_[std::string(name)];
  if (!known.empty()) other_revisions_.push_back(std::move(known));
  known = std::move(files);
  return main;
}

const ProvidedFile* ModuleTexts::submodule(std::string_view module, std::string_view name) const {
  const auto known = provided_.find(module);
  if (known == provided_.end()) return nullptr;
  for (std::size_t i = 1; i < known->second.size(); ++i) {
    if (known->second[i]->file->name == name) return known->second[i].get();
  }
  return nullptr;
}

bool ModuleTexts::add_submodules(ModuleFiles& files, const ModuleSurvey& survey) {
  ProvidedFile& main = *files.front();
  std::vector<std::pair<IncludeStatement, const SourceFile*>> open;
  std::set<std::string> met;
  for (const IncludeStatement& include : survey.includes) {
    met.insert(include.submodule);
    open.emplace_back(include, main.file);
  }
  std::string additions;
  for (std::size_t i = 0; i < open.size(); ++i) {
    const auto [include, includer] = open[i];
    SourceFile* const file = find_submodule(include, *main.file, *includer);
    ModuleSurvey inner;
    if (file == nullptr || !accept(*file, inner)) return false;
    std::string edited;
    if (!inner.includes.empty()) edited = without_includes(file->text(), inner.includes);
    files.push_back(std::make_unique<ProvidedFile>(ProvidedFile{file, std::move(edited)}));
    for (const IncludeStatement& next : inner.includes) {
      if (!met.insert(next.submodule).second) continue;
      open.emplace_back(next, file);
      additions += include_statement(next);
    }
  }
  if (additions.empty()) return true;
  main.edited = main.file->text();
  main.edited.insert(std::min(survey.includes.back().end, main.edited.size()), additions);
  return true;
}

// The module's own folder comes first: submodules of another folder may be of another version.
SourceFile* ModuleTexts::find_submodule(const IncludeStatement& include, const SourceFile& main,
                                        const SourceFile& includer) {
  SourceFile* const file = index_.find_near(main.folder, include.submodule, include.revision);
  if (file != nullptr) return file;
  std::string message = "no submodule " + include.submodule + " in the search folders";
  if (!include.revision.empty()) message += ", revision " + include.revision;
  refuse({includer.path, line_of(includer.text(), include.begin), std::move(message)});
  return nullptr;
}

bool ModuleTexts::accept(SourceFile& file, ModuleSurvey& survey) {
  if (std::optional<LoadError> error = file.read()) {
    refuse(std::move(*error));
    return false;
  }
  const std::string& text = file.text();
  if (text.empty()) {
    refuse({file.path, 1, "the file is empty"});
    return false;
  }
  const std::size_t nul = text.find('\0');
  if (nul != std::string::npos) {
    refuse({file.path, line_of(text, nul), "a NUL byte, so this is no YANG text"});
    return false;
  }
  survey = survey_module(text);
  if (survey.too_deep != std::string_view::npos) {
    refuse({file.path, line_of(text, survey.too_deep), "statements are nested too deeply"});
    return false;
  }
  return true;
}

void ModuleTexts::refuse(LoadError error) {
  if (!refused_) refused_ = std::move(error);
}

}  // namespace kestrel
