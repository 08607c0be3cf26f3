// Which schema was a configuration valid under? A text to compare, and words for the difference.
#ifndef HOST_STORE_LOG_SCHEMA_STAMP_H_
#define HOST_STORE_LOG_SCHEMA_STAMP_H_

#include <string>
#include <string_view>

namespace nexa::store {

// The implemented modules of the loaded schema, sorted, one a line: "name@revision feature ...".
std::string schema_stamp();

// How the modules differ: "ietf-system 2014-08-06 became 2020-01-01, x is gone, y is new"; at most
// a few of them are named.
std::string stamp_difference(std::string_view before, std::string_view after);

}  // namespace nexa::store

#endif  // HOST_STORE_LOG_SCHEMA_STAMP_H_
