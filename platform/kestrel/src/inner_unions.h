// Unions in unions. libyang takes the members of the inner one for the outer one's, and forgets the
// plugin of a leafref that it copies for that; it dies of the first value that gets there.
#ifndef KESTREL_SRC_INNER_UNIONS_H_
#define KESTREL_SRC_INNER_UNIONS_H_

#include <libyang/libyang.h>

namespace kestrel {

// Gives each such leafref of the compiled modules its plugin. Before any value is made.
void complete_inner_unions(const ly_ctx* context);

}  // namespace kestrel

#endif  // KESTREL_SRC_INNER_UNIONS_H_
