// How the programs' help looks: no line is longer than a terminal of 80 columns is wide.
#ifndef APPS_HELP_TEXT_H_
#define APPS_HELP_TEXT_H_

#include <CLI/CLI.hpp>

#include <cstddef>
#include <string>

namespace help_text {

constexpr std::size_t kWidth = 79;

// The text broken at blanks, so that no line is longer than `width`; a longer word stays whole.
inline std::string wrapped(std::string text, std::size_t width) {
  std::size_t start = 0;
  while (text.size() - start > width) {
    std::size_t blank = text.find('\n', start);
    if (blank > start + width) blank = text.rfind(' ', start + width);
    if (blank == std::string::npos || blank < start) blank = text.find(' ', start);
    if (blank == std::string::npos) break;
    text[blank] = '\n';
    start = blank + 1;
  }
  return text;
}

// Breaks what CLI11 prints as it stands: the text about a program or a command, and the
// descriptions of options, which have a column of their own.
class Formatter : public CLI::Formatter {
 public:
  std::string make_description(const CLI::App* command) const override {
    return wrapped(CLI::Formatter::make_description(command), kWidth);
  }
  std::string make_option_desc(const CLI::Option* option) const override {
    return wrapped(option->get_description(), kWidth - get_column_width());
  }
};

}  // namespace help_text

#endif  // APPS_HELP_TEXT_H_
