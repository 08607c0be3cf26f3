// Bytes as text (RFC 4648, section 4).
#ifndef HOST_TEXT_BASE64_H_
#define HOST_TEXT_BASE64_H_

#include <string>
#include <string_view>

namespace nexa::text {

// Appends the text of `bytes`, padded, without line breaks.
void append_base64(std::string_view bytes, std::string& out);

// Appends the bytes of `text`, whose white space counts nothing. False for a text that stands for
// no bytes; what was appended is worth nothing then.
bool append_decoded_base64(std::string_view text, std::string& out);

}  // namespace nexa::text

#endif  // HOST_TEXT_BASE64_H_
