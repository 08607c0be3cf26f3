// How messages name a place of a request.
#ifndef HOST_REQUEST_REQUEST_RULES_H_
#define HOST_REQUEST_REQUEST_RULES_H_

#include <string>

#include "gnmi.pb.h"

namespace nexa::request {

// "field[index] /path: ", in front of what is wrong with it. `path` is the joined one.
std::string at_place(const std::string& place, const gnmi::Path& path);

// The path's string form, shortened to what a message takes.
std::string shown_path(const gnmi::Path& path);

}  // namespace nexa::request

#endif  // HOST_REQUEST_REQUEST_RULES_H_
