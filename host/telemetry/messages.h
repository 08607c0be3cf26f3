// The texts of this room that reach a client.
#ifndef HOST_TELEMETRY_MESSAGES_H_
#define HOST_TELEMETRY_MESSAGES_H_

namespace nexa::telemetry {

inline constexpr char kStateNotAvailable[] = "The operational data are not available";
inline constexpr char kStreamOverflow[] =
    "The client does not read fast enough, the stream's queue is full";
inline constexpr char kIntervalOfTarget[] =
    "sample_interval is the target's to choose in mode TARGET_DEFINED";

inline constexpr char kLongHistory[] =
    "the range has more commits than are sent at a time, ask for a shorter one";

}  // namespace nexa::telemetry

#endif  // HOST_TELEMETRY_MESSAGES_H_
