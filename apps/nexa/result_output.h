// Standard output for results only. The library prints a debug line to standard output for every
// JSON boolean, so while a command runs file descriptor 1 leads nowhere and the real one is kept
// here.
#ifndef APPS_NEXA_RESULT_OUTPUT_H_
#define APPS_NEXA_RESULT_OUTPUT_H_

#include <string_view>

#include "text/descriptor.h"

namespace nexa_tool {

class ResultOutput {
 public:
  // Takes standard output away from the rest of the process. Ends the process with status 1 if it
  // cannot.
  ResultOutput();
  ~ResultOutput();
  ResultOutput(const ResultOutput&) = delete;
  ResultOutput& operator=(const ResultOutput&) = delete;

  // Writes all of `text` to the real standard output; false after an error, which is reported.
  bool write(std::string_view text);

  // Whether the real standard output is a terminal.
  bool is_terminal() const;

  // Gives standard output back.
  void restore();

 private:
  nexa::text::Descriptor real_;
};

}  // namespace nexa_tool

#endif  // APPS_NEXA_RESULT_OUTPUT_H_
