// Runs work that may die in a forked child: its death is an answer, and nothing of this process is
// harmed. The child holds nothing but its pipe and standard error, so that it cannot write to this
// process's files.
#ifndef HOST_STORE_VALIDATION_CHILD_JUDGEMENT_H_
#define HOST_STORE_VALIDATION_CHILD_JUDGEMENT_H_

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>

namespace nexa::store {

struct ChildOutcome {
  enum class Kind : std::uint8_t {
    kDone,     // `result` is what the work returned
    kSignal,   // the child died of the signal `number`
    kExit,     // the child left with status `number` and without a result
    kTooLong,  // it took longer than the limit and was killed
    kNoChild,  // no child could be started; `number` is errno
  };
  Kind kind = Kind::kNoChild;
  int number = 0;
  std::string result;

  // "died of signal 11 (Segmentation fault)"; "done" after kDone.
  std::string in_words() const;
};

inline constexpr std::chrono::milliseconds kChildLimit{60'000};

// Calls `work` in a forked child of this process and waits for its result, of any size. The child
// is killed after `limit`, and when the calling thread ends. `work` sees the memory as it is at the
// call; what it changes is lost. Another thread may hold a lock of this process at that moment, and
// work that needs it would wait for ever: a child that sleeps for a second and uses no processor is
// killed, and another one is forked, within the same limit. `work` therefore never sleeps by itself
// for longer, and may be called more than once, each time in a child of its own. Any thread may
// call.
ChildOutcome run_in_child(const std::function<std::string()>& work,
                          std::chrono::milliseconds limit = kChildLimit);

}  // namespace nexa::store

#endif  // HOST_STORE_VALIDATION_CHILD_JUDGEMENT_H_
