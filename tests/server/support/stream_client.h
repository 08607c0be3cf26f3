// A Subscribe call as a test writes it: what is watched, and what came, as lines.
#ifndef TESTS_SERVER_SUPPORT_STREAM_CLIENT_H_
#define TESTS_SERVER_SUPPORT_STREAM_CLIENT_H_

#include <grpcpp/grpcpp.h>

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "gnmi.grpc.pb.h"

namespace nexa_test {

// A list of SAMPLE subscriptions, JSON_IETF; the interval in milliseconds.
gnmi::SubscribeRequest watch(const std::vector<std::string>& paths, std::uint64_t interval_ms);

class StreamClient {
 public:
  // Opens the stream; every wait ends with the deadline.
  explicit StreamClient(gnmi::gNMI::Stub& stub,
                        std::chrono::milliseconds limit = std::chrono::seconds(20),
                        const std::multimap<std::string, std::string>& metadata = {});
  StreamClient(gnmi::gNMI::Stub& stub, const gnmi::SubscribeRequest& request);
  ~StreamClient();
  StreamClient(const StreamClient&) = delete;
  StreamClient& operator=(const StreamClient&) = delete;

  bool write(const gnmi::SubscribeRequest& request) { return stream_->Write(request); }
  void half_close() { stream_->WritesDone(); }
  void cancel() { context_.TryCancel(); }

  // The next message: "sync", or prefix and entries: "box1/a|/b=1|-/c". False at the end.
  bool read(std::string& line);

  // The messages up to and with the next "sync", or up to the end.
  std::vector<std::string> read_to_sync();

  // The next message, "end" when there is none.
  std::string next();

  const gnmi::SubscribeResponse& last() const { return response_; }

  // Reads what is left and gives "code text".
  std::string end();

 private:
  grpc::ClientContext context_;
  std::unique_ptr<grpc::ClientReaderWriter<gnmi::SubscribeRequest, gnmi::SubscribeResponse>>
      stream_;
  gnmi::SubscribeResponse response_;
  bool finished_ = false;
};

}  // namespace nexa_test

#endif  // TESTS_SERVER_SUPPORT_STREAM_CLIENT_H_
