// Operational data that a program of the user's tells, line by line (state_line.h).
#ifndef HOST_FEED_STATE_COMMAND_H_
#define HOST_FEED_STATE_COMMAND_H_

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "model/resolver.h"
#include "state/state_provider.h"

namespace nexa::feed {

struct StateCommandOptions {
  std::vector<std::string> command;              // program and arguments; run without a shell
  std::size_t max_line = 1 << 20;                // bytes; the rest of a longer line is skipped
  std::size_t max_nodes = 200'000;               // leaves, entries and containers that are held
  std::chrono::milliseconds first_delay{1'000};  // from an end to the next start; doubled each time
  std::chrono::milliseconds last_delay{60'000};
  // How long the values of a run that ended are shown, unless the next run tells them again; and
  // how long a run has to last for the delay to be the first one again.
  std::chrono::milliseconds keep{10'000};
  // Hears of ends and of lines that do not fit, one line each: of a run at most ten of those, each
  // fault once. Called on the provider's thread.
  std::function<void(const std::string& line)> warn;
  // Hears each line that the program writes on standard error, of which the first 4 KiB are told.
  std::function<void(const std::string& line)> tell;
};

// Starts the program, in a process group of its own, and reads its standard output until the object
// ends; the program gets SIGTERM then, and SIGKILL when it is there a second later. Its standard
// input is a pipe that nobody writes to, and which ends with this process. `resolver` outlives the
// object. No line that it writes does more than be left out.
std::unique_ptr<state::StateProvider> make_state_command(const model::Resolver& resolver,
                                                         StateCommandOptions options);

}  // namespace nexa::feed

#endif  // HOST_FEED_STATE_COMMAND_H_
