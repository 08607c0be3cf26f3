// The texts of the service's own that reach a client; those of the request checks are the
// library's.
#ifndef HOST_SERVER_MESSAGES_H_
#define HOST_SERVER_MESSAGES_H_

#include "request/messages.h"

namespace nexa::server {

inline constexpr char kShuttingDown[] = "The server is shutting down";
inline constexpr char kTooManyRequests[] = "Too many requests are waiting";
inline constexpr char kTooManyUnread[] = "Too many answers wait to be read by their clients";
inline constexpr char kTooManyLogins[] = "Too many logins are waiting, try again later";
inline constexpr char kTooManySets[] = "Too many Set requests are waiting";
using request::kCallCancelled;
inline constexpr char kServerFault[] = "The server failed to serve the call";
inline constexpr char kUnknownOutcome[] =
    "Whether the change was made is not known: memory is wanting";
inline constexpr char kNoSuchMessage[] =
    "The request cannot be read: it is no message of this method, or a text in it is not UTF-8";
inline constexpr char kReadOnlyRole[] = "Set needs a user of the role read-write";

inline constexpr char kAnswerTooLarge[] =
    "the answer is larger than the server sends, ask for less at a time";
inline constexpr char kNoData[] = "no data";

inline constexpr char kNoElectionId[] = "Extension master_arbitration without an election_id";
inline constexpr char kTwoArbitrations[] = "Extension master_arbitration is given twice";
inline constexpr char kNotMaster[] = "Another client is master, the highest election_id is ";
inline constexpr char kTooManyRoles[] = "Too many roles of master_arbitration";

inline constexpr char kTooManyStreams[] = "Too many streams are open";
inline constexpr char kNoReflectionRequest[] = "The message is no ServerReflectionRequest";
inline constexpr char kNoSubscription[] = "The stream was closed before a subscription";

}  // namespace nexa::server

#endif  // HOST_SERVER_MESSAGES_H_
