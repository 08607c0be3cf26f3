// A process beside the test that judges for it, each judgement in a child that may die. It is
// forked while its parent has one thread: a child of a process with more may wait for ever for a
// lock that another thread held.
#ifndef TESTS_STORE_ORACLE_PROCESS_H_
#define TESTS_STORE_ORACLE_PROCESS_H_

#include <sys/types.h>

#include <functional>
#include <string>

namespace nexa_test {

class OracleProcess {
 public:
  // Answers a request with a text that is not empty.
  using Judge = std::function<std::string(const std::string& request)>;

  explicit OracleProcess(const Judge& judge);
  ~OracleProcess();
  OracleProcess(const OracleProcess&) = delete;
  OracleProcess& operator=(const OracleProcess&) = delete;

  // Empty when the judgement died, or took longer than two seconds.
  std::string ask(const std::string& request) const;

 private:
  int to_ = -1;
  int from_ = -1;
  pid_t child_ = -1;
};

}  // namespace nexa_test

#endif  // TESTS_STORE_ORACLE_PROCESS_H_
