// The protocols' texts are read into a pool when the object is made, so that requests and
// answers are dynamic messages of either version: one code serves both, and what a client is told
// of the services is what the server goes by.
#include "server/service_descriptions.h"

#include <google/protobuf/descriptor.pb.h>
#include <google/protobuf/text_format.h>
#include <grpcpp/support/status.h>

#include <set>
#include <stdexcept>
#include <vector>

#include "gnmi.pb.h"
#include "server/service_protocols.h"

namespace nexa::server {
namespace {

namespace pb = google::protobuf;

constexpr char kMethod[] = "ServerReflectionInfo";
constexpr char kGnmiService[] = "gnmi.gNMI";

struct Protocol {
  const char* package;
  const char* file;
  const char* text;
  const char* service;
};

constexpr Protocol kProtocols[] = {
    {kHealthPackage, kHealthFile, kHealthProtocol, "Health"},
    {kReflectionPackage, kReflectionFile, kReflectionProtocol, "ServerReflection"},
    {kOldReflectionPackage, kOldReflectionFile, kReflectionProtocol, "ServerReflection"},
};

std::string service_name(const Protocol& protocol) {
  return std::string(protocol.package) + "." + protocol.service;
}

void add_to(pb::DescriptorPool& pool, const Protocol& protocol) {
  pb::FileDescriptorProto file;
  const bool is_file = pb::TextFormat::ParseFromString(protocol.text, &file);
  file.set_name(protocol.file);
  file.set_package(protocol.package);
  file.set_syntax("proto3");
  if (!is_file || pool.BuildFile(file) == nullptr) {
    throw std::logic_error(std::string(protocol.file) + " is no protocol");
  }
}

const pb::FieldDescriptor* field_of(const pb::Message& message, const char* name) {
  return message.GetDescriptor()->FindFieldByName(name);
}

std::string text_of(const pb::Message& message, const char* name) {
  return message.GetReflection()->GetString(message, field_of(message, name));
}

pb::Message* mutable_part(pb::Message& message, const char* name) {
  return message.GetReflection()->MutableMessage(&message, field_of(message, name));
}

void set_text(pb::Message& message, const char* name, std::string text) {
  message.GetReflection()->SetString(&message, field_of(message, name), std::move(text));
}

}  // namespace

// One answer in the making.
class ServiceDescriptions::Answer {
 public:
  Answer(const pb::DescriptorPool& pool, pb::Message& response)
      : pool_(pool), response_(response) {}

  void fill(const pb::Message& request) {
    const pb::OneofDescriptor* kinds = request.GetDescriptor()->FindOneofByName("message_request");
    const pb::FieldDescriptor* asked =
        request.GetReflection()->GetOneofFieldDescriptor(request, kinds);
    if (asked == nullptr) return refuse(grpc::StatusCode::INVALID_ARGUMENT, "nothing is asked for");
    const std::string& name = asked->name();
    if (name == "list_services") return list_services();
    if (name == "file_containing_extension") return add_extension(request, asked);
    const std::string text = text_of(request, name.c_str());
    if (name == "file_by_filename") return add_files(pool_.FindFileByName(text));
    if (name == "file_containing_symbol") return add_files(pool_.FindFileContainingSymbol(text));
    list_extensions(text);
  }

 private:
  void refuse(grpc::StatusCode code, const char* why) {
    pb::Message& error = *mutable_part(response_, "error_response");
    error.GetReflection()->SetInt32(&error, field_of(error, "error_code"), code);
    set_text(error, "error_message", why);
  }

  void list_services() {
    pb::Message& list = *mutable_part(response_, "list_services_response");
    std::vector<std::string> names{kGnmiService};
    for (const Protocol& protocol : kProtocols) names.push_back(service_name(protocol));
    for (std::string& name : names) {
      set_text(*list.GetReflection()->AddMessage(&list, field_of(list, "service")), "name",
               std::move(name));
    }
  }

  // The file, and then all that it needs, each once.
  void add_files(const pb::FileDescriptor* file) {
    if (file == nullptr) return refuse(grpc::StatusCode::NOT_FOUND, "there is no such file");
    pb::Message& files = *mutable_part(response_, "file_descriptor_response");
    std::vector<const pb::FileDescriptor*> needed{file};
    std::set<const pb::FileDescriptor*> seen{file};
    for (std::size_t at = 0; at < needed.size(); ++at) {
      const pb::FileDescriptor& each = *needed[at];
      pb::FileDescriptorProto proto;
      each.CopyTo(&proto);
      files.GetReflection()->AddString(&files, field_of(files, "file_descriptor_proto"),
                                       proto.SerializeAsString());
      for (int index = 0; index < each.dependency_count(); ++index) {
        if (seen.insert(each.dependency(index)).second) needed.push_back(each.dependency(index));
      }
    }
  }

  void add_extension(const pb::Message& request, const pb::FieldDescriptor* asked) {
    const pb::Message& wanted = request.GetReflection()->GetMessage(request, asked);
    const pb::Descriptor* type = pool_.FindMessageTypeByName(text_of(wanted, "containing_type"));
    const int number =
        wanted.GetReflection()->GetInt32(wanted, field_of(wanted, "extension_number"));
    const pb::FieldDescriptor* extension =
        type == nullptr ? nullptr : pool_.FindExtensionByNumber(type, number);
    add_files(extension == nullptr ? nullptr : extension->file());
  }

  void list_extensions(const std::string& name) {
    const pb::Descriptor* type = pool_.FindMessageTypeByName(name);
    if (type == nullptr) return refuse(grpc::StatusCode::NOT_FOUND, "there is no such message");
    pb::Message& numbers = *mutable_part(response_, "all_extension_numbers_response");
    set_text(numbers, "base_type_name", name);
    std::vector<const pb::FieldDescriptor*> extensions;
    pool_.FindAllExtensions(type, &extensions);
    for (const pb::FieldDescriptor* extension : extensions) {
      numbers.GetReflection()->AddInt32(&numbers, field_of(numbers, "extension_number"),
                                        extension->number());
    }
  }

  const pb::DescriptorPool& pool_;
  pb::Message& response_;
};

ServiceDescriptions::ServiceDescriptions()
    : pool_(gnmi::CapabilityRequest::descriptor()->file()->pool()),
      messages_(std::make_unique<pb::DynamicMessageFactory>(&pool_)) {
  for (const Protocol& protocol : kProtocols) add_to(pool_, protocol);
}

ServiceDescriptions::~ServiceDescriptions() = default;

const pb::ServiceDescriptor* ServiceDescriptions::service_of(std::string_view method) const {
  for (const char* package : {kReflectionPackage, kOldReflectionPackage}) {
    const pb::ServiceDescriptor* service =
        pool_.FindServiceByName(std::string(package) + ".ServerReflection");
    if (method == "/" + service->full_name() + "/" + kMethod) return service;
  }
  return nullptr;
}

bool ServiceDescriptions::serves(std::string_view method) const {
  return service_of(method) != nullptr;
}

bool ServiceDescriptions::answer(std::string_view method, const std::string& request,
                                 std::string& response) const {
  const pb::ServiceDescriptor* service = service_of(method);
  if (service == nullptr) return false;
  const pb::MethodDescriptor& info = *service->FindMethodByName(kMethod);
  const std::unique_ptr<pb::Message> asked(messages_->GetPrototype(info.input_type())->New());
  if (!asked->ParseFromString(request)) return false;
  const std::unique_ptr<pb::Message> told(messages_->GetPrototype(info.output_type())->New());
  set_text(*told, "valid_host", text_of(*asked, "host"));
  mutable_part(*told, "original_request")->CopyFrom(*asked);
  Answer(pool_, *told).fill(*asked);
  return told->SerializeToString(&response);
}

}  // namespace nexa::server
