// close(2) is not repeated after EINTR: on Linux the descriptor has gone by then.
#include "text/descriptor.h"

#include <unistd.h>

#include <cerrno>

namespace nexa::text {

void Descriptor::close() noexcept {
  if (fd_ < 0) return;
  const int error = errno;
  ::close(release());
  errno = error;
}

}  // namespace nexa::text
