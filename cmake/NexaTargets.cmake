# How the project's own targets are built: warnings, sanitizers, log file names, precompiled headers.

# Flags that every target of ours carries, kept on an interface target instead of in global flags.
add_library(nexa_flags INTERFACE)
target_compile_options(nexa_flags INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wformat=2 -Wconversion -Wnon-virtual-dtor
  $<$<COMPILE_LANG_AND_ID:CXX,GNU,Clang>:-Wsuggest-override>
  # GCC 12 sees overruns in std::string's own code once it is inlined (GCC bug 105329 and its kin).
  $<$<COMPILE_LANG_AND_ID:CXX,GNU>:-Wno-array-bounds$<SEMICOLON>-Wno-restrict$<SEMICOLON>-Wno-stringop-overflow>
  $<$<BOOL:${NEXA_WERROR}>:-Werror>
  # A log line carries its unit as the path below src/ or include/.
  # GCC takes the last map that fits, clang the longest.
  -fmacro-prefix-map=${CMAKE_SOURCE_DIR}/=
  -fmacro-prefix-map=${CMAKE_SOURCE_DIR}/include/=
  -fmacro-prefix-map=${CMAKE_SOURCE_DIR}/src/=)
if(NEXA_SANITIZE)
  target_compile_options(nexa_flags INTERFACE -fsanitize=${NEXA_SANITIZE} -fno-omit-frame-pointer
                                              -fno-sanitize-recover=all)
  target_link_options(nexa_flags INTERFACE -fsanitize=${NEXA_SANITIZE})
endif()
if(NEXA_LINKER AND NOT CMAKE_CROSSCOMPILING)
  target_link_options(nexa_flags INTERFACE -fuse-ld=${linker_name})
endif()

# Generated code keeps the sanitizers and the linker, not the warnings.
add_library(nexa_generated_flags INTERFACE)
target_compile_options(nexa_generated_flags INTERFACE -w)
if(NEXA_SANITIZE)
  target_compile_options(nexa_generated_flags INTERFACE -fsanitize=${NEXA_SANITIZE})
  target_link_options(nexa_generated_flags INTERFACE -fsanitize=${NEXA_SANITIZE})
endif()
if(NEXA_LINKER AND NOT CMAKE_CROSSCOMPILING)
  target_link_options(nexa_generated_flags INTERFACE -fuse-ld=${linker_name})
endif()
