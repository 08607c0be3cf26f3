// libyang spells the place of a problem in one of these ways:
//   Line number 7.                          while it parses: the line of the file being read
//   /m:c/{uses='g'}/leaf                    while it compiles: a path of statements and nodes
//   Schema location "/m:c/leaf".            the same, when it checks the compiled tree
//   (nothing)                               then a later message names the module:
//   Parsing module "m" failed.   Including "s" submodule into "m" failed.
// The spellings are those of libyang 2.1.30; one that is not recognised costs the line, not the
// error.
#include "error_site.h"

#include <charconv>
#include <optional>
#include <string_view>

#include "statement_finder.h"

namespace kestrel {
namespace {

constexpr std::string_view kLineNumber = "Line number ";
constexpr std::string_view kSchemaLocation = "Schema location \"";

struct SchemaPlace {
  std::string module;           // the module of the last steps
  std::vector<PathStep> steps;  // inside that module
  bool is_augment = false;      // the steps begin in a tree of another module
};

std::optional<std::uint32_t> line_in(std::string_view place) {
  const std::size_t at = place.find(kLineNumber);
  if (at == std::string_view::npos) return std::nullopt;
  const std::string_view digits = place.substr(at + kLineNumber.size());
  std::uint32_t line = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), line);
  if (error != std::errc() || end == digits.data()) return std::nullopt;
  return line;
}

// The words in double quotes, in order.
std::vector<std::string> quoted_words(std::string_view text) {
  std::vector<std::string> words;
  for (std::size_t at = text.find('"'); at != std::string_view::npos; at = text.find('"', at + 1)) {
    const std::size_t end = text.find('"', at + 1);
    if (end == std::string_view::npos) break;
    words.emplace_back(text.substr(at + 1, end - at - 1));
    at = end;
  }
  return words;
}

// "{uses='g'}" names a statement, anything else a schema node.
PathStep step_of(std::string_view text) {
  const std::size_t equals = text.find("='");
  if (text.size() < 2 || text.front() != '{' || equals == std::string_view::npos) {
    return {{}, std::string(text)};
  }
  const std::string_view argument = text.substr(equals + 2);
  return {std::string(text.substr(1, equals - 1)),
          std::string(argument.substr(0, argument.find('\'')))};
}

// The end of the step that begins at `at`: the next slash that is not part of a statement's
// argument.
std::size_t end_of_step(std::string_view path, std::size_t at) {
  bool in_argument = false;
  for (; at < path.size(); ++at) {
    if (path[at] == '\'') in_argument = !in_argument;
    if (path[at] == '/' && !in_argument) break;
  }
  return at;
}

std::optional<SchemaPlace> schema_place(std::string_view place) {
  const std::size_t location = place.find(kSchemaLocation);
  if (location != std::string_view::npos) {
    place.remove_prefix(location + kSchemaLocation.size());
    place = place.substr(0, place.find('"'));
  }
  if (place.empty() || place.front() != '/') return std::nullopt;
  SchemaPlace result;
  for (std::size_t at = 0; at < place.size();) {
    const std::size_t end = end_of_step(place, at + 1);
    std::string_view step = place.substr(at + 1, end - at - 1);
    at = end;
    const std::size_t colon = step.find(':');
    if (colon != std::string_view::npos && step.find('{') > colon) {
      const std::string_view module = step.substr(0, colon);
      if (!result.module.empty() && module != result.module) {
        result.steps.clear();
        result.is_augment = true;
      }
      result.module = module;
      step.remove_prefix(colon + 1);
    }
    result.steps.push_back(step_of(step));
  }
  return result;
}

// The best place among a module's files: its own and its submodules'.
std::optional<LoadError> find_schema_place(const SchemaPlace& place, std::string_view hint,
                                           const ModuleFiles& files) {
  std::optional<LoadError> best;
  std::size_t matched = 0;
  for (const auto& provided : files) {
    const StatementFinder finder(provided->file->text());
    const StatementFinder::Place found = place.is_augment
                                             ? finder.find_in_augments(place.steps, hint)
                                             : finder.find(place.steps, hint);
    if (best && found.matched <= matched) continue;
    best = LoadError{provided->file->path, found.line, {}};
    matched = found.matched;
  }
  return best;
}

// The module that a follow-up message names, or an empty string.
std::string failing_module(const std::vector<LibyangLog::Message>& messages) {
  for (const LibyangLog::Message& message : messages) {
    const std::vector<std::string> words = quoted_words(message.text);
    if (message.text.rfind("Parsing module ", 0) == 0 && !words.empty()) return words.front();
    if (message.text.rfind("Including ", 0) == 0 && words.size() > 1) return words[1];
  }
  return {};
}

// The line of the statement that has to do with one of the words of a message.
std::uint32_t related_line(const SourceFile& file, const std::vector<std::string>& words) {
  const StatementFinder finder(file.text());
  const std::vector<std::string_view> telling = {"import", "include", "namespace", "belongs-to"};
  for (const std::string& word : words) {
    std::uint32_t line = finder.find_first(telling, word);
    if (line == 0) line = finder.find_extension(word);
    if (line != 0) return line;
  }
  const std::vector<std::string_view> any;
  for (const std::string& word : words) {
    const std::uint32_t line = finder.find_first(any, word);
    if (line != 0) return line;
  }
  return 0;
}

// libyang does not say why it could not load a module that it was not given.
std::string message_of(const LibyangLog::Message& cause, const std::vector<std::string>& words,
                       const ProvidedFiles& files) {
  const bool is_missing = cause.text.rfind("Loading ", 0) == 0 && !words.empty() &&
                          files.find(words.front()) == files.end();
  return is_missing ? "no module " + words.front() + " in the search folders" : cause.text;
}

// The statement that a message without a place is about, in the file of the module that failed.
LoadError related_place(const std::vector<LibyangLog::Message>& messages,
                        const ProvidedFiles& files, const std::string& fallback_file) {
  const LibyangLog::Message& cause = messages.front();
  const std::vector<std::string> words = quoted_words(cause.text);
  const auto module = files.find(failing_module(messages));
  if (module != files.end()) {
    for (const auto& provided : module->second) {
      const std::uint32_t line = related_line(*provided->file, words);
      if (line != 0) return {provided->file->path, line, {}};
    }
    return {module->second.front()->file->path, 0, {}};
  }
  const std::string& file = cause.file.empty() ? fallback_file : cause.file;
  for (const auto& [name, sources] : files) {
    for (const auto& provided : sources) {
      if (provided->file->path == file) return {file, related_line(*provided->file, words), {}};
    }
  }
  return {file, 0, {}};
}

}  // namespace

LoadError explain(const std::vector<LibyangLog::Message>& messages, const ProvidedFiles& files,
                  const std::string& fallback_file) {
  if (messages.empty()) return {fallback_file, 0, "libyang refused the module without a reason"};
  const LibyangLog::Message& cause = messages.front();
  if (const std::optional<std::uint32_t> line = line_in(cause.place)) {
    return {cause.file, *line, cause.text};
  }
  const std::vector<std::string> words = quoted_words(cause.text);
  if (const std::optional<SchemaPlace> place = schema_place(cause.place)) {
    const std::string message = cause.text + " (" + cause.place + ")";
    const auto module = files.find(place->module);
    if (module != files.end()) {
      const std::string hint = words.empty() ? std::string() : words.front();
      if (auto found = find_schema_place(*place, hint, module->second)) {
        return {found->file, found->line, message};
      }
    }
    return {fallback_file, 0, message};
  }
  LoadError error = related_place(messages, files, fallback_file);
  error.message = message_of(cause, words, files);
  return error;
}

}  // namespace kestrel
