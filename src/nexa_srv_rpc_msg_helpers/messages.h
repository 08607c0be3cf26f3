// Texts that reach a client from the checks of paths and requests. They are part of the external
// interface, down to irregular wording and doubled blanks: clients and test tools match on them. A
// text that ends in a blank or a quotation mark is continued by what the client sent.
#ifndef NEXA_SRV_RPC_MSG_HELPERS_MESSAGES_H_
#define NEXA_SRV_RPC_MSG_HELPERS_MESSAGES_H_

namespace nexa {

// --- Paths and identifiers.

inline constexpr char kInvalidElementName[] = "Invalid PathElement.name ";
inline constexpr char kCannotStartWithXml[] = " Cannot start with 'xml'";
inline constexpr char kCharacter[] = " char ";
inline constexpr char kIsInvalid[] = " is invalid";
inline constexpr char kWildcardNotImplemented[] = "Wildcard not implemented for UPDATE nor REPLACE";
inline constexpr char kInvalidKeyName[] = "Invalid path element key/name: ";
// The conversion is literal text to the client; it was never filled in.
inline constexpr char kRegexStyleWildcard[] =
    "Invalid key value %s regex style wildcard not supported inside of a string ";
inline constexpr char kInvalidKeyValue[] = "Invalid key value ";
inline constexpr char kInvalidSetKeyValue[] = "Invalid key value  ";
inline constexpr char kWildcardNotForSet[] = " wild card is not supported for SET key value";
inline constexpr char kEmptyPath[] =
    "Invalid argument.  Path with 0 elements (xpath = \"/\") is not supported for SET and GET "
    "requests";
inline constexpr char kNoPathField[] = "No path field provided";

// --- Whole requests.

inline constexpr char kRequestedDataType[] = "Requested data type \"";
inline constexpr char kRequestedEncoding[] = "Requested encoding \"";
inline constexpr char kNotSupported[] = "\" not supported";
inline constexpr char kEncodingNotValid[] = "Requested encoding is not valid";
inline constexpr char kModelDataNotSupported[] = "Use of ModelData not currently supported.";
inline constexpr char kUnsupportedList[] = "Unsupported subscription list ";
inline constexpr char kUnsupportedSubscription[] = "Unsupported subscription ";
inline constexpr char kSelection[] = " selection";
inline constexpr char kEmptySubscriptionList[] = "Empty subscription list";
inline constexpr char kUnsupportedMethod[] = "Unsupported method[ ";
inline constexpr char kOnInitialRequest[] = " ] provided on initial subscribe request";
inline constexpr char kUnsupportedOnActiveStream[] =
    "Unsupported subscribeRequest::method on active stream [ poll/aliases/change of "
    "subscriptionList ]";

}  // namespace nexa

#endif  // NEXA_SRV_RPC_MSG_HELPERS_MESSAGES_H_
