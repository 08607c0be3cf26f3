// Who is asked before gRPC reads from a socket? gRPC 1.51 bounds each frame of headers and never
// their sum, so that one call's headers may take all memory while they come; what has to be cut is
// cut before it is read.
#ifndef APPS_NEXAD_SOCKET_READS_H_
#define APPS_NEXAD_SOCKET_READS_H_

#include <functional>

namespace nexad {

// While it lives, `before_read` is called with the descriptor of each recvmsg(2) of this process,
// on the thread that reads, and the read waits for it. The destructor waits for calls in hand.
// Several may live. Any thread.
class SocketReads {
 public:
  using Observer = std::function<void(int descriptor)>;

  explicit SocketReads(Observer before_read);
  ~SocketReads();
  SocketReads(const SocketReads&) = delete;
  SocketReads& operator=(const SocketReads&) = delete;

 private:
  const Observer before_read_;
};

}  // namespace nexad

#endif  // APPS_NEXAD_SOCKET_READS_H_
