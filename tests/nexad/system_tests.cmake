# The server from outside: nexad as users run it, driven by a gNMI client in Python over Debian's
# grpcio. Each *_test.py is one ctest entry; its cases are counted one by one (kit/report.py).
if(NOT TARGET nexad)
  return()
endif()
find_program(NEXA_PYTHON python3 PATHS /usr/bin NO_DEFAULT_PATH REQUIRED)
find_program(NEXA_GRPC_PYTHON_PLUGIN grpc_python_plugin REQUIRED)

# The messages for Python, as scripts/gnmilib/stubs.py looks for them.
set(stubs "${CMAKE_BINARY_DIR}/python")
set(proto_dir "${CMAKE_SOURCE_DIR}/proto")
file(MAKE_DIRECTORY "${stubs}")
add_custom_command(
  OUTPUT "${stubs}/gnmi_pb2.py" "${stubs}/gnmi_pb2_grpc.py" "${stubs}/gnmi_ext_pb2.py"
         "${stubs}/google/rpc/status_pb2.py"
  COMMAND "${NEXA_PROTOC}" "-I${proto_dir}" "--python_out=${stubs}" "--grpc_python_out=${stubs}"
          "--plugin=protoc-gen-grpc_python=${NEXA_GRPC_PYTHON_PLUGIN}" gnmi_ext.proto gnmi.proto
  COMMAND "${NEXA_PROTOC}" "-I${proto_dir}" "--python_out=${stubs}" google/rpc/status.proto
  DEPENDS "${proto_dir}/gnmi.proto" "${proto_dir}/gnmi_ext.proto"
          "${proto_dir}/google/rpc/status.proto"
  WORKING_DIRECTORY "${proto_dir}"
  COMMENT "Generating gNMI messages for Python"
  VERBATIM)
add_custom_target(gnmi_python ALL
  DEPENDS "${stubs}/gnmi_pb2.py" "${stubs}/google/rpc/status_pb2.py")

set(time_limit 600)
if(CMAKE_CROSSCOMPILING_EMULATOR)
  set(time_limit 5400)
endif()
set(environment
  "NEXAD=${nexad_program}" "NEXA=${nexa_program}" "NEXA_STUBS=${stubs}"
  "NEXA_NATIVE_BIN=${CMAKE_SOURCE_DIR}/build/release/bin" "NEXA_BUILD_DIR=${CMAKE_BINARY_DIR}" "NEXA_SANITIZED=${NEXA_SANITIZE}"
  "PYTHONPATH=${CMAKE_CURRENT_LIST_DIR}:${CMAKE_SOURCE_DIR}/scripts" PYTHONDONTWRITEBYTECODE=1)

file(GLOB files CONFIGURE_DEPENDS RELATIVE "${CMAKE_CURRENT_LIST_DIR}"
     "${CMAKE_CURRENT_LIST_DIR}/*_test.py")
if(NOT CMAKE_CROSSCOMPILING)
  list(REMOVE_ITEM files carry_test.py)  # from one width of pointers to another
endif()
foreach(file IN LISTS files)
  string(REGEX REPLACE "_test\\.py$" "" stem "${file}")
  set(name "nexad_${stem}")
  add_test(NAME ${name} COMMAND "${NEXA_PYTHON}" "${CMAKE_CURRENT_LIST_DIR}/${file}")
  set_tests_properties(${name} PROPERTIES
    ENVIRONMENT "${environment};NEXA_TEST_NAME=${name}" TIMEOUT ${time_limit})
endforeach()
# The first time it makes the clients ready.
set_tests_properties(nexad_clients PROPERTIES TIMEOUT 1500 COST 500)
# The long ones: started first, and alone where they use both cores themselves.
set_tests_properties(nexad_crash PROPERTIES TIMEOUT 5400 COST 1000 PROCESSORS 2)
# It measures how long others wait and how much memory there is.
set_tests_properties(nexad_floods PROPERTIES TIMEOUT 5400 PROCESSORS 2)
