# Every library the tree stands on, found once and named once. All of them are Debian packages
# (scripts/dependencies.txt).
find_package(PkgConfig REQUIRED)
find_package(Threads REQUIRED)
find_package(Protobuf REQUIRED)
find_package(Boost REQUIRED)
find_package(CLI11 REQUIRED)

pkg_check_modules(GRPC REQUIRED IMPORTED_TARGET grpc++)
pkg_check_modules(GPR REQUIRED IMPORTED_TARGET gpr)
pkg_check_modules(CJSON REQUIRED IMPORTED_TARGET libcjson)
pkg_check_modules(LIBXML2 REQUIRED IMPORTED_TARGET libxml-2.0)
pkg_check_modules(SAFEC REQUIRED IMPORTED_TARGET libsafec)
pkg_check_modules(LIBYANG REQUIRED IMPORTED_TARGET libyang)

find_program(NEXA_PROTOC protoc REQUIRED)
find_program(NEXA_GRPC_PLUGIN grpc_cpp_plugin REQUIRED)

if(NEXA_TESTS)
  find_package(GTest REQUIRED)
  find_package(rapidcheck REQUIRED)
endif()
if(NEXA_BENCH)
  find_package(benchmark REQUIRED)
endif()

find_program(NEXA_CCACHE ccache)
if(NEXA_CCACHE)
  # Precompiled headers need both sloppiness settings, or ccache declines every file that uses one.
  set(launcher "${CMAKE_COMMAND}" -E env CCACHE_SLOPPINESS=pch_defines,time_macros "${NEXA_CCACHE}")
  set(CMAKE_C_COMPILER_LAUNCHER ${launcher})
  set(CMAKE_CXX_COMPILER_LAUNCHER ${launcher})
endif()

if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  find_program(NEXA_LINKER NAMES ld.lld-14 ld.lld)
  set(linker_name lld)
else()
  find_program(NEXA_LINKER ld.mold)
  set(linker_name mold)
endif()
