// Which schema is loaded, to the last statement: modules are edited without a new revision, and
// what was stored under the old text must not be taken as complete and valid under the new one.
#ifndef HOST_STORE_SCHEMA_CONTENT_H_
#define HOST_STORE_SCHEMA_CONTENT_H_

#include <string>

namespace nexa::store {

// A checksum over the statements of all modules and submodules of kestrel::context(), imported ones
// as well, and over the enabled features. The first call after a load costs about a third of the
// load. Empty when there is no memory. Any thread.
std::string schema_content_digest();

}  // namespace nexa::store

#endif  // HOST_STORE_SCHEMA_CONTENT_H_
