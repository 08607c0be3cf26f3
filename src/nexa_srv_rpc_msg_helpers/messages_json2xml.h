// Texts that reach a client from the conversion of payloads to XML. They are part of the external
// interface, irregular wording, misnamed functions and doubled blanks included: clients and test
// tools match on them. A text that ends in a blank is continued by a value of the payload or a
// source line; so is kAt.
#ifndef NEXA_MESSAGES_JSON2XML_H_
#define NEXA_MESSAGES_JSON2XML_H_

namespace nexa {

inline constexpr char kAt[] = " at ";
inline constexpr char kName[] = " name ";

// --- Leaf values.

inline constexpr char kNoSchemaInfo[] = "No schema info for ";
inline constexpr char kUnhandledNumberType[] = "Unhandled number type ";
inline constexpr char kUnhandledStringType[] = "Unhandled string type ";
inline constexpr char kOutOfMemoryWhileProcessing[] = "Out of memory while processing ";
inline constexpr char kOutOfMemoryWhileProcessingBoolean[] =
    "Out of memory while processing Boolean ";
inline constexpr char kOutOfMemoryWhileProcessingXml[] = "Out of memory while processing xml";
inline constexpr char kFailedToCopyNumber[] = "Failed to copy number to XML ";
inline constexpr char kFailedCopyWhileProcessing[] = "Failed copy while processing ";
inline constexpr char kFailedToFindNamespace[] = "Failed to find namespace for ";

// --- Names.

inline constexpr char kOutOfMemoryAt[] = "out of memory at ";
inline constexpr char kFailedCopyAt[] = "Failed copy at ";
inline constexpr char kInternalErrorAt[] = "Internal error at ";
inline constexpr char kNoParentSchema[] = "Failed to find parent schema  for json ";
inline constexpr char kAtWithoutBlank[] = "at ";

// --- Containers and lists.

inline constexpr char kUnhandledJsonType[] = "Unhandled json->type ";
inline constexpr char kNoSchemaForJsonType[] = "Failed to find schema information for JSON type ";
inline constexpr char kNoSchemaInfoForJson[] = "Failed to find schema info for json ";
inline constexpr char kNoParentSchemaTag[] = "Failed to find parent schema tag for json ";
inline constexpr char kFailedBoolEntry[] = "Failed json_bool2xml for Bool element at ";
inline constexpr char kFailedNumberEntry[] = "Failed json_number2xml for Number element at ";
inline constexpr char kFailedStringEntry[] = "Failed json_string2xml for String element at ";
inline constexpr char kFailedArrayEntry[] = "Failed json_bool2xml for Array element at ";
inline constexpr char kFailedObjectEntry[] = "Failed json_bool2xml for Object element at ";
inline constexpr char kUnsupportedElementType[] = "UNSUPPORTED cjson_ele->type ";

// --- The path's own XML.

inline constexpr char kMemoryExhaustion[] = "Memory Exhaustion while processing xml";

}  // namespace nexa

#endif  // NEXA_MESSAGES_JSON2XML_H_
