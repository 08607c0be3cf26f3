# Every header can be included alone, in a unit that includes nothing before it. A header that some unit of
# the programs' code includes first has its proof there; for each other one a unit is made here that
# includes nothing else. A precompiled header would hide what is missing, and units that are compiled
# together hide it as well, so the proof is a build without both: the one with clang in .ci/run.
set(code "${CMAKE_SOURCE_DIR}/host" "${CMAKE_SOURCE_DIR}/src" "${CMAKE_SOURCE_DIR}/platform"
         "${CMAKE_SOURCE_DIR}/apps")
list(TRANSFORM code APPEND "/*.cc" OUTPUT_VARIABLE unit_patterns)
list(TRANSFORM code APPEND "/*.h" OUTPUT_VARIABLE header_patterns)
file(GLOB_RECURSE units CONFIGURE_DEPENDS ${unit_patterns})
file(GLOB_RECURSE lone_headers CONFIGURE_DEPENDS ${header_patterns} "${CMAKE_SOURCE_DIR}/include/*.h")
file(GLOB platform_folders "${CMAKE_SOURCE_DIR}/platform/*/include" "${CMAKE_SOURCE_DIR}/platform/*/src")
set(header_roots "${CMAKE_SOURCE_DIR}/host" "${CMAKE_SOURCE_DIR}/src" "${CMAKE_SOURCE_DIR}/include"
                 "${CMAKE_SOURCE_DIR}/apps" ${platform_folders})

foreach(unit IN LISTS units)
  file(STRINGS "${unit}" first REGEX "^#include" LIMIT_COUNT 1)
  if(NOT first MATCHES "[<\"]([^>\"]+)[>\"]")
    continue()
  endif()
  set(name "${CMAKE_MATCH_1}")
  get_filename_component(folder "${unit}" DIRECTORY)
  foreach(root IN ITEMS "${folder}" LISTS header_roots)
    if(EXISTS "${root}/${name}")
      list(REMOVE_ITEM lone_headers "${root}/${name}")
      break()
    endif()
  endforeach()
endforeach()

set(lone_units)
foreach(header IN LISTS lone_headers)
  file(RELATIVE_PATH name "${CMAKE_SOURCE_DIR}" "${header}")
  string(MAKE_C_IDENTIFIER "${name}" name)
  set(lone_unit "${CMAKE_BINARY_DIR}/lone_headers/${name}.cc")
  file(CONFIGURE OUTPUT "${lone_unit}" @ONLY
       CONTENT "// Made by cmake/NexaHeaders.cmake.\n#include \"${header}\"\n")
  list(APPEND lone_units "${lone_unit}")
endforeach()
list(LENGTH lone_units count)
message(STATUS "Headers that no unit includes first: ${count}")

add_library(lone_headers OBJECT ${lone_units})
target_include_directories(lone_headers PRIVATE ${header_roots})
target_link_libraries(lone_headers PRIVATE
  nexad_parts nexa_server nexa_store nexa_translate nexa_state nexa_access nexa_hook nexa_text kestrel
  CLI11::CLI11 PkgConfig::SAFEC nexa_flags)
target_compile_options(lone_headers PRIVATE $<$<CONFIG:Release>:-O0>)
# It would cost a build that proves nothing by it.
if(NEXA_UNITY OR NOT CMAKE_DISABLE_PRECOMPILE_HEADERS)
  set_target_properties(lone_headers PROPERTIES EXCLUDE_FROM_ALL ON)
endif()
