// Values of yang:date-and-time. libyang's type plugin reads behind the end of a text that is a
// union's; and where its seconds have 32 bits, it makes one and the same value of every date beyond
// 2038 or before 1901, and stores that.
#ifndef KESTREL_SRC_DATE_AND_TIME_H_
#define KESTREL_SRC_DATE_AND_TIME_H_

#include <libyang/libyang.h>

#include <string>
#include <string_view>

namespace kestrel {

// The canonical text that libyang's plugin gives a value, of any year: in the machine's time zone,
// or with the unknown offset -00:00 that it was given with. `text` fits the type's pattern.
std::string canonical_date_and_time(std::string_view text);

// Gives each leaf of the compiled modules whose type is date-and-time, or has it as a member, a
// plugin that reads no further than the value's end, and that keeps the value by its canonical text
// where libyang counts with 32 bits. Before any value is made.
void widen_date_and_time(const ly_ctx* context);

}  // namespace kestrel

#endif  // KESTREL_SRC_DATE_AND_TIME_H_
