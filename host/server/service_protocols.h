// The two gRPC services that the server has without generated messages, as they go over the wire:
// FileDescriptorProtos in text form, without name and package. Names and numbers are the published
// ones, which clients have compiled in.
#ifndef HOST_SERVER_SERVICE_PROTOCOLS_H_
#define HOST_SERVER_SERVICE_PROTOCOLS_H_

namespace nexa::server {

// gRPC answers health itself; the text is for clients that ask what the service looks like.
inline constexpr char kHealthPackage[] = "grpc.health.v1";
inline constexpr char kHealthFile[] = "grpc/health/v1/health.proto";
inline constexpr char kHealthProtocol[] = R"(
message_type { name: "HealthCheckRequest"
  field { name: "service" number: 1 label: LABEL_OPTIONAL type: TYPE_STRING }
}
message_type { name: "HealthCheckResponse"
  field { name: "status" number: 1 label: LABEL_OPTIONAL type_name: "ServingStatus" }
  enum_type { name: "ServingStatus"
    value { name: "UNKNOWN" number: 0 }
    value { name: "SERVING" number: 1 }
    value { name: "NOT_SERVING" number: 2 }
    value { name: "SERVICE_UNKNOWN" number: 3 }
  }
}
service { name: "Health"
  method { name: "Check" input_type: "HealthCheckRequest" output_type: "HealthCheckResponse" }
  method { name: "Watch" input_type: "HealthCheckRequest" output_type: "HealthCheckResponse"
           server_streaming: true }
}
)";

// Of both versions, which differ in the package only.
inline constexpr char kReflectionPackage[] = "grpc.reflection.v1";
inline constexpr char kReflectionFile[] = "grpc/reflection/v1/reflection.proto";
inline constexpr char kOldReflectionPackage[] = "grpc.reflection.v1alpha";
inline constexpr char kOldReflectionFile[] = "grpc/reflection/v1alpha/reflection.proto";
inline constexpr char kReflectionProtocol[] = R"(
message_type { name: "ServerReflectionRequest"
  field { name: "host" number: 1 label: LABEL_OPTIONAL type: TYPE_STRING }
  field { name: "file_by_filename" number: 3
          label: LABEL_OPTIONAL type: TYPE_STRING oneof_index: 0 }
  field { name: "file_containing_symbol" number: 4
          label: LABEL_OPTIONAL type: TYPE_STRING oneof_index: 0 }
  field { name: "file_containing_extension" number: 5
          label: LABEL_OPTIONAL type_name: "ExtensionRequest" oneof_index: 0 }
  field { name: "all_extension_numbers_of_type" number: 6
          label: LABEL_OPTIONAL type: TYPE_STRING oneof_index: 0 }
  field { name: "list_services" number: 7 label: LABEL_OPTIONAL type: TYPE_STRING oneof_index: 0 }
  oneof_decl { name: "message_request" }
}
message_type { name: "ExtensionRequest"
  field { name: "containing_type" number: 1 label: LABEL_OPTIONAL type: TYPE_STRING }
  field { name: "extension_number" number: 2 label: LABEL_OPTIONAL type: TYPE_INT32 }
}
message_type { name: "ServerReflectionResponse"
  field { name: "valid_host" number: 1 label: LABEL_OPTIONAL type: TYPE_STRING }
  field { name: "original_request" number: 2
          label: LABEL_OPTIONAL type_name: "ServerReflectionRequest" }
  field { name: "file_descriptor_response" number: 4
          label: LABEL_OPTIONAL type_name: "FileDescriptorResponse" oneof_index: 0 }
  field { name: "all_extension_numbers_response" number: 5
          label: LABEL_OPTIONAL type_name: "ExtensionNumberResponse" oneof_index: 0 }
  field { name: "list_services_response" number: 6
          label: LABEL_OPTIONAL type_name: "ListServiceResponse" oneof_index: 0 }
  field { name: "error_response" number: 7
          label: LABEL_OPTIONAL type_name: "ErrorResponse" oneof_index: 0 }
  oneof_decl { name: "message_response" }
}
message_type { name: "FileDescriptorResponse"
  field { name: "file_descriptor_proto" number: 1 label: LABEL_REPEATED type: TYPE_BYTES }
}
message_type { name: "ExtensionNumberResponse"
  field { name: "base_type_name" number: 1 label: LABEL_OPTIONAL type: TYPE_STRING }
  field { name: "extension_number" number: 2 label: LABEL_REPEATED type: TYPE_INT32 }
}
message_type { name: "ListServiceResponse"
  field { name: "service" number: 1 label: LABEL_REPEATED type_name: "ServiceResponse" }
}
message_type { name: "ServiceResponse"
  field { name: "name" number: 1 label: LABEL_OPTIONAL type: TYPE_STRING }
}
message_type { name: "ErrorResponse"
  field { name: "error_code" number: 1 label: LABEL_OPTIONAL type: TYPE_INT32 }
  field { name: "error_message" number: 2 label: LABEL_OPTIONAL type: TYPE_STRING }
}
service { name: "ServerReflection"
  method { name: "ServerReflectionInfo" input_type: "ServerReflectionRequest"
           output_type: "ServerReflectionResponse" client_streaming: true server_streaming: true }
}
)";

}  // namespace nexa::server

#endif  // HOST_SERVER_SERVICE_PROTOCOLS_H_
