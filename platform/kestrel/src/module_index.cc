// The files of the search folders by module name.
#include "module_index.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "module_survey.h"

namespace kestrel {
namespace {

struct FileCloser {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

LoadError system_error(const std::string& path, int number) {
  return {path, 0, std::generic_category().message(number)};
}

// The date of a module: by the file's name, else by its contents; empty when it has none.
std::string revision_of(SourceFile& file) {
  if (!file.revision.empty() || file.read()) return file.revision;
  return survey_module(file.text()).newest_revision;
}

}  // namespace

std::optional<LoadError> SourceFile::read() {
  if (text_) return std::nullopt;
  const File file(std::fopen(path.c_str(), "rbe"));
  if (file == nullptr) return system_error(path, errno);
  std::string text;
  char block[1 << 16];
  std::size_t count = 0;
  while ((count = std::fread(block, 1, sizeof block, file.get())) > 0) text.append(block, count);
  if (std::ferror(file.get()) != 0) return system_error(path, errno);
  text_ = std::move(text);
  return std::nullopt;
}

std::optional<LoadError> ModuleIndex::add_folder(const std::string& path) {
  std::error_code error;
  std::filesystem::directory_iterator entries(path, error);
  if (error) return LoadError{path, 0, error.message()};
  std::vector<std::unique_ptr<SourceFile>> found;
  for (const std::filesystem::directory_iterator end; entries != end; entries.increment(error)) {
    const std::filesystem::path& file = entries->path();
    std::error_code ignored;
    const bool is_file = entries->is_regular_file(ignored) || entries->is_symlink(ignored);
    if (file.extension() != ".yang" || !is_file) continue;
    const std::string stem = file.stem().string();
    const std::size_t at = stem.find('@');
    auto source = std::make_unique<SourceFile>();
    source->path = file.string();
    source->folder = path;
    source->name = stem.substr(0, at);
    if (at != std::string::npos) source->revision = stem.substr(at + 1);
    found.push_back(std::move(source));
  }
  if (error) return LoadError{path, 0, error.message()};
  // The order of a folder's entries differs from machine to machine.
  std::sort(found.begin(), found.end(),
            [](const auto& left, const auto& right) { return left->path < right->path; });
  for (auto& source : found) {
    std::string name = source->name;
    files_[std::move(name)].push_back(std::move(source));
  }
  return std::nullopt;
}

SourceFile* ModuleIndex::find(std::string_view name, std::string_view revision) {
  const auto files = files_.find(name);
  if (files == files_.end()) return nullptr;
  return revision.empty() ? newest_of_first_folder(files->second, nullptr)
                          : of_revision(files->second, nullptr, revision);
}

SourceFile* ModuleIndex::find_near(const std::string& folder, std::string_view name,
                                   std::string_view revision) {
  const auto files = files_.find(name);
  if (files == files_.end()) return nullptr;
  SourceFile* const near = revision.empty() ? newest_of_first_folder(files->second, &folder)
                                            : of_revision(files->second, &folder, revision);
  return near != nullptr ? near : find(name, revision);
}

std::optional<LoadError> ModuleIndex::module_names(std::vector<std::string>& names) {
  for (const auto& [name, files] : files_) {
    SourceFile* const file = newest_of_first_folder(files, nullptr);
    if (std::optional<LoadError> error = file->read()) return error;
    if (first_keyword(file->text()) != "submodule") names.push_back(name);
  }
  return std::nullopt;
}

SourceFile* ModuleIndex::newest_of_first_folder(const Files& files, const std::string* folder) {
  SourceFile* best = nullptr;
  std::string best_revision;
  for (const auto& file : files) {
    if (folder != nullptr && file->folder != *folder) continue;
    if (best == nullptr) {
      best = file.get();
      continue;
    }
    if (file->folder != best->folder) break;
    // Revisions matter, and files are read for them, only where a folder has the name twice.
    if (best_revision.empty()) best_revision = revision_of(*best);
    std::string revision = revision_of(*file);
    if (revision <= best_revision) continue;
    best = file.get();
    best_revision = std::move(revision);
  }
  return best;
}

SourceFile* ModuleIndex::of_revision(const Files& files, const std::string* folder,
                                     std::string_view revision) {
  for (const auto& file : files) {
    if (folder != nullptr && file->folder != *folder) continue;
    if (revision_of(*file) == revision) return file.get();
  }
  return nullptr;
}

}  // namespace kestrel
