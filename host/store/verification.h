// Is what a data directory holds valid? Asked by a process that does nothing else, beside the
// server: it believes nothing that the server found out.
#ifndef HOST_STORE_VERIFICATION_H_
#define HOST_STORE_VERIFICATION_H_

#include <string>

#include "store/verification_report.h"

namespace nexa::store {

// Reads the whole log and verifies its checksums, makes the newest configuration of it in both ways
// that it is stored in, compares them, and has libyang judge all of it under the loaded schema
// (kestrel::load), from nothing; what libyang completes it to is compared with what is served.
// Changes nothing in the directory; a server may work on it meanwhile. The calling process may die
// of it, and needs memory for the configuration several times over.
VerificationReport verify_directory(const std::string& directory);

}  // namespace nexa::store

#endif  // HOST_STORE_VERIFICATION_H_
