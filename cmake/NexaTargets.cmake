# How the project's own targets are built: warnings, sanitizers, log file names, precompiled headers.

# Where pointers have 32 bits, so have time_t and off_t unless they are asked for wider: a clock beyond 2038 and a
# log above 2 GiB want 64. Debian's libraries are compiled with the narrow ones, so no unit may hand a time_t, an
# off_t or a record that holds one to a library; docs/target.md says which interfaces these are.
set(nexa_wide_time)
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
  set(nexa_wide_time _TIME_BITS=64 _FILE_OFFSET_BITS=64)
endif()

# Flags that every target of ours carries, kept on an interface target instead of in global flags.
add_library(nexa_flags INTERFACE)
target_compile_options(nexa_flags INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wformat=2 -Wconversion -Wnon-virtual-dtor
  $<$<COMPILE_LANG_AND_ID:CXX,GNU,Clang>:-Wsuggest-override>
  # GCC 12 sees overruns in std::string's own code once it is inlined (GCC bug 105329 and its kin).
  $<$<COMPILE_LANG_AND_ID:CXX,GNU>:-Wno-array-bounds$<SEMICOLON>-Wno-restrict$<SEMICOLON>-Wno-stringop-overflow$<SEMICOLON>-Wno-stringop-overread>
  $<$<BOOL:${NEXA_WERROR}>:-Werror>
  # A log line carries its unit as the path below src/ or include/.
  # GCC takes the last map that fits, clang the longest.
  -fmacro-prefix-map=${CMAKE_SOURCE_DIR}/=
  -fmacro-prefix-map=${CMAKE_SOURCE_DIR}/include/=
  -fmacro-prefix-map=${CMAKE_SOURCE_DIR}/src/=
  # Programs and libraries read the same precompiled header, so they are compiled alike.
  -fPIC)
if(NEXA_SANITIZE)
  target_compile_options(nexa_flags INTERFACE -fsanitize=${NEXA_SANITIZE} -fno-omit-frame-pointer
                                              -fno-sanitize-recover=all)
  target_link_options(nexa_flags INTERFACE -fsanitize=${NEXA_SANITIZE})
endif()
target_link_options(nexa_flags INTERFACE ${nexa_linker_option})
target_compile_definitions(nexa_flags INTERFACE ${nexa_wide_time})

# Generated code keeps the sanitizers and the linker, not the warnings.
add_library(nexa_generated_flags INTERFACE)
target_compile_options(nexa_generated_flags INTERFACE -w)
if(NEXA_SANITIZE)
  target_compile_options(nexa_generated_flags INTERFACE -fsanitize=${NEXA_SANITIZE})
  target_link_options(nexa_generated_flags INTERFACE -fsanitize=${NEXA_SANITIZE})
endif()
target_link_options(nexa_generated_flags INTERFACE ${nexa_linker_option})
target_compile_definitions(nexa_generated_flags INTERFACE ${nexa_wide_time})

# One precompiled header for the tree and one for the tests: the generated messages take a second to read,
# GoogleTest another one.
add_library(nexa_precompiled OBJECT EXCLUDE_FROM_ALL "${CMAKE_CURRENT_LIST_DIR}/precompiled/messages.cc")
target_link_libraries(nexa_precompiled PRIVATE
  gnmi_proto Boost::headers PkgConfig::GRPC PkgConfig::CJSON PkgConfig::LIBXML2 nexa_flags)
target_precompile_headers(nexa_precompiled PRIVATE "${CMAKE_CURRENT_LIST_DIR}/precompiled/messages.h")
set(nexa_test_options)
if(NEXA_SANITIZE OR CMAKE_BUILD_TYPE STREQUAL "Release")
  set(nexa_test_options -O0)
endif()
if(NEXA_TESTS)
  add_library(nexa_precompiled_tests OBJECT EXCLUDE_FROM_ALL
              "${CMAKE_CURRENT_LIST_DIR}/precompiled/tests.cc")
  target_link_libraries(nexa_precompiled_tests PRIVATE
    gnmi_proto Boost::headers PkgConfig::GRPC PkgConfig::CJSON PkgConfig::LIBXML2 GTest::gtest GTest::gmock
    nexa_flags)
  target_compile_options(nexa_precompiled_tests PRIVATE ${nexa_test_options})
  target_precompile_headers(nexa_precompiled_tests PRIVATE
                            "${CMAKE_CURRENT_LIST_DIR}/precompiled/tests.h")
endif()

# nexa_unity(TARGET [FILES]): with NEXA_UNITY the target's sources are compiled FILES at a time, or those of
# a folder together when no number is given. Names in unnamed namespaces are then unique in such a group.
function(nexa_unity target)
  if(NOT NEXA_UNITY)
    return()
  endif()
  if(ARGC GREATER 1)
    set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE ${ARGV1})
    return()
  endif()
  set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_MODE GROUP)
  get_target_property(sources ${target} SOURCES)
  foreach(source IN LISTS sources)
    get_filename_component(folder "${source}" DIRECTORY)
    get_filename_component(folder "${folder}" NAME)
    set_source_files_properties("${source}" TARGET_DIRECTORY ${target}
                                PROPERTIES UNITY_GROUP "${target}_${folder}")
  endforeach()
endfunction()

# nexa_fast_build(TARGET [FILES]): the shared precompiled header, and units as nexa_unity makes them.
function(nexa_fast_build target)
  target_precompile_headers(${target} REUSE_FROM nexa_precompiled)
  # GCC takes a precompiled header only where the macros that it saw are the same.
  target_compile_definitions(${target} PRIVATE BOOST_ALL_NO_LIB)
  nexa_unity(${ARGV})
endfunction()

# The same for a test's files: without the optimisation that takes longer than the tests run.
function(nexa_fast_tests target)
  get_target_property(type ${target} TYPE)
  get_target_property(sources ${target} SOURCES)
  if(type STREQUAL "INTERFACE_LIBRARY" OR NOT sources MATCHES "\\.cc")
    return()
  endif()
  target_precompile_headers(${target} REUSE_FROM nexa_precompiled_tests)
  target_compile_definitions(${target} PRIVATE BOOST_ALL_NO_LIB GTEST_HAS_PTHREAD=1)
  target_compile_options(${target} PRIVATE ${nexa_test_options})
  # Test files one at a time spend most of it on reading headers anew. They may so name what they like, unless
  # two files of a folder do: then they have namespaces of their own.
  nexa_unity(${target} 16)
  foreach(source IN LISTS sources)
    if(NOT source MATCHES "_(test|sweep)\\.cc$")
      set_source_files_properties("${source}" TARGET_DIRECTORY ${target}
                                  PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)
    endif()
  endforeach()
endfunction()

# nexa_exports(TARGET MAP): of the shared library only what the export map names is seen outside, under the
# map's version.
function(nexa_exports target map)
  target_link_options(${target} PRIVATE "LINKER:--version-script=${CMAKE_CURRENT_SOURCE_DIR}/${map}")
  set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS "${CMAKE_CURRENT_SOURCE_DIR}/${map}")
endfunction()
