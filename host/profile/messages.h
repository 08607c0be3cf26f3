// The texts of the checks that are the host's own; all others are the library's.
#ifndef HOST_PROFILE_MESSAGES_H_
#define HOST_PROFILE_MESSAGES_H_

namespace nexa::profile {

inline constexpr char kElementList[] =
    "Path field \"element\" is deprecated and not supported, use \"elem\"";
inline constexpr char kNoValue[] = "No value field provided";
inline constexpr char kUnionReplace[] = "Operation union_replace not supported";
inline constexpr char kUnionReplaceAlone[] =
    "union_replace stands alone in its request, without delete, replace and update";
inline constexpr char kAsciiOfConfigOnly[] =
    "Encoding \"ASCII\" is served for a Get of type CONFIG only";

inline constexpr char kCommitExtension[] = "Extension commit not supported";
inline constexpr char kHistoryExtension[] = "Extension history not supported";
inline constexpr char kDepthExtension[] = "Extension depth not supported";
inline constexpr char kConfigSubscriptionExtension[] =
    "Extension config_subscription not supported";

}  // namespace nexa::profile

#endif  // HOST_PROFILE_MESSAGES_H_
