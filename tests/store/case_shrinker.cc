// Takes things away while the disagreement stays: operations, edits, then statements of the
// modules.
#include <chrono>
#include <cstdlib>
#include <sstream>

#include "store/random_case.h"
#include "translate/path_string.h"

namespace nexa_test {
namespace {

// NEXA_RANDOM_PATIENCE: seconds to spend on one case.
std::chrono::seconds patience() {
  const char* const text = std::getenv("NEXA_RANDOM_PATIENCE");
  return std::chrono::seconds(text != nullptr ? std::strtol(text, nullptr, 10) : 30);
}

// There are many of them.
constexpr std::chrono::seconds kForARepetition(5);

class Shrinker {
 public:
  Shrinker(CasePlan plan, std::string kind)
      : plan_(std::move(plan)), kind_(std::move(kind)), patience_of_a_case_(plan_.patience) {
    plan_.patience = kForARepetition;
  }

  CasePlan run() {
    for (std::size_t size = plan_.operations.size() / 2; size > 0; size /= 2) drop_runs(size);
    drop_edits();
    drop_statements();
    drop_runs(1);
    drop_edits();
    plan_.patience = patience_of_a_case_;
    return plan_;
  }

 private:
  bool is_late() const { return std::chrono::steady_clock::now() > start_ + patience(); }

  bool still_fails(const CasePlan& plan) {
    if (is_late() || plan.operations.empty()) return false;
    return run_case(plan).kind == kind_;
  }
  bool take(CasePlan smaller) {
    if (!still_fails(smaller)) return false;
    plan_ = std::move(smaller);
    return true;
  }

  void drop_runs(std::size_t size) {
    for (std::size_t at = 0; at < plan_.operations.size();) {
      CasePlan smaller = plan_;
      const auto begin = smaller.operations.begin() + static_cast<std::ptrdiff_t>(at);
      const std::size_t count = std::min(size, plan_.operations.size() - at);
      smaller.operations.erase(begin, begin + static_cast<std::ptrdiff_t>(count));
      if (!take(std::move(smaller))) at += size;
    }
  }

  void drop_edits() {
    for (std::size_t i = 0; i < plan_.operations.size(); ++i) {
      for (std::size_t j = 0;
           plan_.operations[i].edits.size() > 1 && j < plan_.operations[i].edits.size();) {
        CasePlan smaller = plan_;
        auto& edits = smaller.operations[i].edits;
        edits.erase(edits.begin() + static_cast<std::ptrdiff_t>(j));
        if (!take(std::move(smaller))) ++j;
      }
    }
  }

  // Statements stand one a line, blocks end with a line of their own.
  void drop_statements() {
    std::vector<std::string> names;
    for (const auto& [name, text] : plan_.schema.modules) names.push_back(name);
    for (const std::string& name : names) {
      if (name != "m") {
        CasePlan smaller = plan_;
        smaller.schema.modules.erase(name);
        smaller.schema.features.erase(name);
        if (take(std::move(smaller))) continue;
      }
      for (std::size_t at = 1;;) {
        const std::vector<std::string> lines = lines_of(plan_.schema.modules[name]);
        if (at + 1 >= lines.size() || is_late()) break;
        const std::size_t end = end_of(lines, at);
        std::string text;
        for (std::size_t i = 0; i < lines.size(); ++i) {
          if (i < at || i >= end) text += lines[i] + "\n";
        }
        CasePlan smaller = plan_;
        smaller.schema.modules[name] = text;
        if (lines[at].find('}') == lines[at].find_first_not_of(' ') || !take(std::move(smaller))) {
          ++at;
        }
      }
    }
  }

  static std::vector<std::string> lines_of(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) lines.push_back(line);
    return lines;
  }
  static std::size_t end_of(const std::vector<std::string>& lines, std::size_t at) {
    int depth = 0;
    for (std::size_t i = at; i < lines.size(); ++i) {
      if (lines[i].back() == '{') ++depth;
      if (lines[i].find('}') == lines[i].find_first_not_of(' ')) --depth;
      if (depth <= 0) return i + 1;
    }
    return lines.size();
  }

  CasePlan plan_;
  const std::string kind_;
  const std::chrono::seconds patience_of_a_case_;
  const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

}  // namespace

CasePlan shrunk(const CasePlan& plan, const std::string& kind) {
  return Shrinker(plan, kind).run();
}

std::string describe(const CasePlan& plan) {
  static const char* const kinds[] = {"delete", "replace", "update"};
  std::string text;
  for (const auto& [name, module] : plan.schema.modules) text += module;
  for (const auto& [name, features] : plan.schema.features) {
    if (plan.schema.modules.at("m").find("if-feature") == std::string::npos) break;
    text += "features of " + name + ":";
    for (const std::string& feature : features) text += " " + feature;
    text += "\n";
  }
  int number = 0;
  for (const StoreOperation& operation : plan.operations) {
    text += "-- " + std::to_string(++number) + ": ";
    if (operation.kind == StoreOperation::Kind::kRestart) {
      text += "restart\n";
    } else if (operation.kind == StoreOperation::Kind::kRollback) {
      text += "rollback to commit " + std::to_string(operation.back) + " (modulo their number)\n";
    } else {
      text += "Set\n";
      for (const nexa::store::Edit& edit : operation.edits) {
        text += "   " + std::string(kinds[static_cast<int>(edit.kind)]) + " " +
                (edit.kind == nexa::store::Edit::Kind::kUpdate
                     ? ""
                     : nexa::translate::format_path_string(edit.target.path) + " ") +
                edit.xml + "\n";
      }
    }
  }
  return text;
}

}  // namespace nexa_test
