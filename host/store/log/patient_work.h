// Work that nobody waits for: it takes a long time, and commits and readers go before it.
#ifndef HOST_STORE_LOG_PATIENT_WORK_H_
#define HOST_STORE_LOG_PATIENT_WORK_H_

#include <functional>

namespace nexa::store {

// Calls `work` on a thread that gives way to the others of the process, and waits for it. What the
// work throws is thrown here. `work` takes no lock that a commit needs: its holder could be kept
// from the processor for long.
void do_patiently(const std::function<void()>& work);

}  // namespace nexa::store

#endif  // HOST_STORE_LOG_PATIENT_WORK_H_
