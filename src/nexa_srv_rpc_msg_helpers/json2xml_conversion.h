// What the converters share with each other and show to no one else: the arguments of one
// conversion, and the naming of an element whose binding is known already.
#ifndef NEXA_JSON2XML_CONVERSION_H_
#define NEXA_JSON2XML_CONVERSION_H_

#include <grpc/support/log.h>

#include <string>

#include "nexa/nexa_srv_rpc_msg_helpers.h"
#include "nexa_srv_kestrel_text.h"
#include "nexa_srv_rpc_msg_helpers/xml_handles.h"

namespace nexa {

inline constexpr int kJsonTypeMask = 0xFF;  // the flags of a cJSON type are above

// One conversion: the converters pass these on unchanged.
struct Conversion {
  ServiceRpcMsgHelpers::TokenPtr& token;
  grpc::Status* status;
  Json2cJsonCsnodeHash* hash;
  ServiceRpcMsgHelpers::Mapper* mapper;
  bool debug = gpr_should_log(GPR_LOG_SEVERITY_DEBUG) != 0;  // asked once for a whole conversion
};

// A copy of the item's string value. Throws std::logic_error when it has none, in words that do not
// depend on the standard library in use.
inline std::string string_value_of(const cJSON& item) { return schema_text(item.valuestring); }

enum class Naming { kDone, kNoMemory, kCopyRefused };

// Names `xml` by the local part of the item's member name, and declares the namespace that a prefix
// of the name stands for, if it stands for one. `function` is the caller's, for the log.
Naming name_by_member(const char* function, const Conversion& conversion, cJSON* item,
                      bool is_identityref, xmlNodePtr xml);

// json_name2xml on the item's binding, which may be null. Frees `xml` and returns null on failure.
XmlNode name_by_binding(const Conversion& conversion, cJSON* item, const cJsonCsnode* binding,
                        XmlNode xml);

}  // namespace nexa

#endif  // NEXA_JSON2XML_CONVERSION_H_
