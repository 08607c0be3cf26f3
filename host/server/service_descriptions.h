// What does reflection answer? The protocol of gRPC server reflection (versions v1 and v1alpha,
// which differ in their names alone) over the descriptors of this program.
#ifndef HOST_SERVER_SERVICE_DESCRIPTIONS_H_
#define HOST_SERVER_SERVICE_DESCRIPTIONS_H_

#include <google/protobuf/descriptor.h>
#include <google/protobuf/dynamic_message.h>

#include <memory>
#include <string>
#include <string_view>

namespace nexa::server {

class ServiceDescriptions {
 public:
  // Throws std::logic_error when its own descriptors do not fit together.
  ServiceDescriptions();
  ~ServiceDescriptions();
  ServiceDescriptions(const ServiceDescriptions&) = delete;
  ServiceDescriptions& operator=(const ServiceDescriptions&) = delete;

  // Whether `method` ("/package.Service/Method") is reflection's, of either version.
  bool serves(std::string_view method) const;

  // The answer to one request of that method, both serialised; false when the request is not one.
  // What the server does not have is an answer too, with an error in it. Any thread.
  bool answer(std::string_view method, const std::string& request, std::string& response) const;

 private:
  class Answer;

  const google::protobuf::ServiceDescriptor* service_of(std::string_view method) const;

  google::protobuf::DescriptorPool pool_;  // over the one of the generated messages
  std::unique_ptr<google::protobuf::DynamicMessageFactory> messages_;
};

}  // namespace nexa::server

#endif  // HOST_SERVER_SERVICE_DESCRIPTIONS_H_
