// A second pair of eyes: after commits, a program of its own judges what is stored as a whole.
#ifndef APPS_NEXAD_VERIFIER_H_
#define APPS_NEXAD_VERIFIER_H_

#include <chrono>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "hook/child_process.h"
#include "server_config.h"
#include "store/config_store.h"

namespace nexad {

struct VerifierOptions {
  // The program with its arguments. It prints the line of a VerificationReport (store/) on standard
  // output or standard error.
  std::vector<std::string> command;
  std::chrono::milliseconds interval{60'000};  // from one start to the next, at least
  std::chrono::milliseconds limit{1'800'000};  // of one run, which gets only idle time
};

struct VerifierCounts {
  std::uint64_t runs = 0;
  std::uint64_t violations = 0;            // runs that found a rule broken
  std::map<std::string, double> failures;  // runs without a verdict, by reason
  bool is_damaged = false;                 // the newest run could not read the log
};

// One run at a time, none while the configuration is the one that was looked at last or that the
// store knows as valid. Verdicts go to the store, and what is wrong to the log. A run that dies or
// takes too long is a warning.
class Verifier {
 public:
  // Begins at once. `store` outlives this object.
  Verifier(nexa::store::ConfigStore& store, VerifierOptions options);
  // Kills a run.
  ~Verifier();
  Verifier(const Verifier&) = delete;
  Verifier& operator=(const Verifier&) = delete;

  // Any thread.
  VerifierCounts counts() const;

 private:
  struct Run;

  void work();
  bool is_due(std::uint64_t number) const;
  void verify(std::uint64_t number);
  void take_verdict(std::uint64_t number, const Run& run);
  void fail(const char* reason, const std::string& text);
  // True when this object is to end.
  bool wait(int milliseconds) const;

  nexa::store::ConfigStore& store_;
  const VerifierOptions options_;
  nexa::text::Descriptor stop_;  // readable when this object is to end

  // The thread's alone.
  bool has_begun_ = false;
  std::uint64_t looked_at_ = 0;  // number of the commit
  std::chrono::steady_clock::time_point began_;

  mutable std::mutex mutex_;
  VerifierCounts counts_;
  std::thread thread_;
};

// The command that verifies a server's data: the program `nexa` beside this one, else the one in
// PATH, with the schema of `config`. Empty when there is no such program.
std::vector<std::string> verify_command(const ServerConfig& config);

}  // namespace nexad

#endif  // APPS_NEXAD_VERIFIER_H_
