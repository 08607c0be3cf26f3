// The texts of this room that reach a client.
#ifndef HOST_REQUEST_MESSAGES_H_
#define HOST_REQUEST_MESSAGES_H_

namespace nexa::request {

inline constexpr char kCallCancelled[] = "The call was cancelled before it was served";
inline constexpr char kEmptyEntry[] =
    "{} or null is no value for a list entry, give its members or delete it";

}  // namespace nexa::request

#endif  // HOST_REQUEST_MESSAGES_H_
