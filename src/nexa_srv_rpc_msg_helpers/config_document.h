// The document in which the configuration database takes and returns configuration.
#ifndef NEXA_CONFIG_DOCUMENT_H_
#define NEXA_CONFIG_DOCUMENT_H_

namespace nexa {

inline constexpr char kConfigElement[] = "config";
inline constexpr char kConfigNamespace[] = "urn:nexa:params:xml:ns:config:1.0";
inline constexpr char kEmptyConfigDocument[] =
    "<config xmlns=\"urn:nexa:params:xml:ns:config:1.0\"></config>";

}  // namespace nexa

#endif  // NEXA_CONFIG_DOCUMENT_H_
