// Finds the line of a statement in the text of a YANG module. libyang names a place by a path once
// it has parsed the text; people want the line.
#ifndef KESTREL_SRC_STATEMENT_FINDER_H_
#define KESTREL_SRC_STATEMENT_FINDER_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kestrel {

// One step of a schema path. Without a keyword it names a schema node: any statement that defines
// one.
struct PathStep {
  std::string keyword;
  std::string argument;
};

class StatementFinder {
 public:
  // `text` must stay as long as the finder.
  explicit StatementFinder(std::string_view text);

  struct Place {
    std::size_t matched = 0;  // steps found
    std::uint32_t line = 0;   // 0 when nothing was found
  };
  // The statement that the longest found part of `steps` leads to, from the module statement on.
  // Inside it, a statement whose argument is `hint` stands closer to the problem and is preferred.
  // Steps below a uses statement are looked for in the grouping, and steps that are in no text,
  // such as the case that a lone node in a choice implies, are passed over.
  Place find(const std::vector<PathStep>& steps, std::string_view hint) const;

  // The same for steps that begin inside one of the module's augment statements.
  Place find_in_augments(const std::vector<PathStep>& steps, std::string_view hint) const;

  // The first statement, anywhere, with this argument and one of these keywords; no keywords stand
  // for any. Line 0 when there is none.
  std::uint32_t find_first(const std::vector<std::string_view>& keywords,
                           std::string_view argument) const;

  // The first use of this extension, named as "prefix:extension", or of any with this prefix. Line
  // 0 when there is none.
  std::uint32_t find_extension(std::string_view name) const;

 private:
  struct Statement {
    std::string_view keyword;
    std::string argument;
    std::size_t offset;
    std::size_t parent;  // kNone at the top
    std::size_t end;     // one beyond the last statement inside
  };
  static constexpr std::size_t kNone = static_cast<std::size_t>(-1);

  void read();
  Place find_from(std::size_t start, const std::vector<PathStep>& steps,
                  std::string_view hint) const;
  // `budget` is the number of groupings that may still be looked into.
  std::size_t child_for(std::size_t parent, const PathStep& step, unsigned& budget) const;
  std::size_t child_in_groupings(std::size_t parent, const PathStep& step, unsigned& budget) const;
  static bool fits(const Statement& statement, const PathStep& step);
  std::uint32_t line(std::size_t statement) const;

  std::string_view text_;
  std::vector<Statement> statements_;
};

}  // namespace kestrel

#endif  // KESTREL_SRC_STATEMENT_FINDER_H_
