// The program that applies a commit to the device, and may veto it.
#ifndef HOST_HOOK_COMMIT_HOOK_H_
#define HOST_HOOK_COMMIT_HOOK_H_

#include <grpcpp/support/status.h>

#include <chrono>
#include <string>
#include <vector>

#include "store/config_store.h"

namespace nexa::hook {

struct CommitHookOptions {
  std::vector<std::string> command;  // program and arguments; run without a shell
  std::chrono::milliseconds timeout{10000};
};

// Runs the program in a process group of its own with the change on standard input:
//
//   <commit xmlns="urn:nexa:params:xml:ns:commit:1.0" number="7" author="alice" time="..."
//           reason="set">
//     <before><config>...</config></before><after><config>...</config></after></commit>
//
// Exit status 0 accepts. Another one, or a signal, vetoes: FAILED_PRECONDITION with what the
// program wrote on standard error (at most 4 KiB, control characters replaced). After the time
// limit the group is killed: ABORTED. A program that cannot be started: INTERNAL. Standard output
// goes nowhere. Blocks; any thread, one run at a time.
grpc::Status run_commit_hook(const CommitHookOptions& options, const store::Change& change,
                             const char* reason);

}  // namespace nexa::hook

#endif  // HOST_HOOK_COMMIT_HOOK_H_
