// Runs a program and collects what it did.
#ifndef TESTS_CLI_RUN_PROGRAM_H_
#define TESTS_CLI_RUN_PROGRAM_H_

#include <string>
#include <vector>

namespace nexa_test {

struct Outcome {
  int status = -1;  // exit status; -1 when a signal ended the program
  std::string out;
  std::string err;
};

// Runs the tool with these arguments and this standard input.
Outcome run_nexa(const std::vector<std::string>& arguments, const std::string& input = "");

}  // namespace nexa_test

#endif  // TESTS_CLI_RUN_PROGRAM_H_
