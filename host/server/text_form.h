// How is a client's text shown in messages and log lines? Bounded in length, without control
// characters, always UTF-8.
#ifndef HOST_SERVER_TEXT_FORM_H_
#define HOST_SERVER_TEXT_FORM_H_

#include <cstddef>
#include <string>
#include <string_view>

namespace nexa::host {

// `text` with control characters and bytes that are not UTF-8 as \xNN; what lies beyond `bound`
// bytes of the text is replaced by "...".
std::string printable(std::string_view text, std::size_t bound);

// The same between double quotes, quotes and backslashes escaped: one field of a log line.
std::string quoted(std::string_view text, std::size_t bound);

// The length of the longest prefix of `text` that is at most `bound` bytes and cuts no UTF-8
// character.
std::size_t prefix_length(std::string_view text, std::size_t bound);

}  // namespace nexa::host

#endif  // HOST_SERVER_TEXT_FORM_H_
