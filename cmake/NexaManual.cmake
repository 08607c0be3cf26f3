# Manual pages and completions of shells, made from what the programs say of themselves: see
# scripts/manual. A program of another architecture runs under its emulator here.
find_program(NEXA_MANUAL_PYTHON python3 PATHS /usr/bin NO_DEFAULT_PATH REQUIRED)

set(manual_dir "${PROJECT_BINARY_DIR}/manual")
set(manual_script "${PROJECT_SOURCE_DIR}/scripts/manual")
file(MAKE_DIRECTORY "${manual_dir}")
file(GLOB manual_parts CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/scripts/manlib/*.py")
set(manual_run "${CMAKE_COMMAND}" -E env PYTHONDONTWRITEBYTECODE=1 "${NEXA_MANUAL_PYTHON}" "${manual_script}")
set(manual_outputs)

# What one of these makes is written beside its place first, so that a failure leaves nothing half made.
function(nexa_manual_output output depends)
  add_custom_command(
    OUTPUT "${manual_dir}/${output}"
    COMMAND ${ARGN} > "${manual_dir}/${output}.new"
    COMMAND "${CMAKE_COMMAND}" -E rename "${manual_dir}/${output}.new" "${manual_dir}/${output}"
    DEPENDS ${depends})
  set(manual_outputs ${manual_outputs} "${manual_dir}/${output}" PARENT_SCOPE)
endfunction()

foreach(program nexad nexa)
  set(told "${manual_dir}/${program}.json")
  nexa_manual_output(${program}.json ${program} ${CMAKE_CROSSCOMPILING_EMULATOR} "$<TARGET_FILE:${program}>" --manual)
  foreach(shell bash zsh)
    nexa_manual_output(${program}.${shell} "${told};${manual_script};${manual_parts}"
                       ${manual_run} ${shell} "${told}")
  endforeach()
endforeach()

# Page, the document that it is made of, and the program that fills it in.
set(manual_pages
  "nexad.8 manual/nexad.8.md nexad"
  "nexad.toml.5 nexad/reference.md nexad"
  "nexad-users.5 manual/nexad-users.5.md nexad"
  "nexa.1 manual/nexa.1.md nexa")
foreach(line IN LISTS manual_pages)
  separate_arguments(words UNIX_COMMAND "${line}")
  list(GET words 0 page)
  list(GET words 1 document)
  list(GET words 2 program)
  set(document "${PROJECT_SOURCE_DIR}/docs/${document}")
  set(told "${manual_dir}/${program}.json")
  nexa_manual_output(${page} "${told};${document};${manual_script};${manual_parts}"
                     ${manual_run} page "${document}" "${told}")
  string(REGEX REPLACE ".*\\." "" section "${page}")
  install(FILES "${manual_dir}/${page}" DESTINATION "${CMAKE_INSTALL_MANDIR}/man${section}")
endforeach()
add_custom_target(manual ALL DEPENDS ${manual_outputs})

foreach(program nexad nexa)
  install(FILES "${manual_dir}/${program}.bash"
          DESTINATION "${CMAKE_INSTALL_DATADIR}/bash-completion/completions" RENAME ${program})
  install(FILES "${manual_dir}/${program}.zsh"
          DESTINATION "${CMAKE_INSTALL_DATADIR}/zsh/site-functions" RENAME _${program})
endforeach()

# The reference of the library's interface. Not part of a build, for Doxygen is not needed for one.
find_program(NEXA_DOXYGEN doxygen)
configure_file("${PROJECT_SOURCE_DIR}/docs/Doxyfile.in" "${PROJECT_BINARY_DIR}/Doxyfile" @ONLY)
if(NEXA_DOXYGEN)
  add_custom_target(api_reference
    COMMAND "${CMAKE_COMMAND}" -E make_directory "${PROJECT_BINARY_DIR}/reference"
    COMMAND "${NEXA_DOXYGEN}" "${PROJECT_BINARY_DIR}/Doxyfile"
    COMMENT "Making the reference of the library's interface")
endif()
if(NEXA_TESTS)
  # Doxygen ends with an error after a warning.
  add_test(NAME api_reference
           COMMAND sh -c "command -v doxygen >/dev/null || { echo 'skipped: there is no doxygen'; exit 77; }
mkdir -p reference && doxygen Doxyfile"
           WORKING_DIRECTORY "${PROJECT_BINARY_DIR}")
  set_tests_properties(api_reference PROPERTIES SKIP_RETURN_CODE 77)
endif()
install(DIRECTORY "${PROJECT_BINARY_DIR}/reference/html/"
        DESTINATION "${CMAKE_INSTALL_DOCDIR}/api" OPTIONAL)
