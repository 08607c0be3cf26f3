# What `make install` puts where: the libraries with their headers, a CMake package, a pkg-config file, and
# the programs. Everything is found from where it stands, so an installed tree can be moved.
include(CMakePackageConfigHelpers)

set(nexa_package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/nexa_schemaif")

install(TARGETS nexa_schemaif gnmi_base gnmi_proto kitbase kestrel nexa_interface kestrel_headers
        EXPORT nexa_schemaif_targets
        LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}")
install(TARGETS nexa RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}")
if(TARGET nexad)
  install(TARGETS nexad RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}")
  # The unit names the program by its place, which is known when it is installed.
  install(CODE "
    set(nexad_bindir \"\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_BINDIR}\")
    configure_file(\"${PROJECT_SOURCE_DIR}/apps/nexad/nexad.service.in\"
                   \"${PROJECT_BINARY_DIR}/nexad.service\" @ONLY)")
  install(FILES "${PROJECT_BINARY_DIR}/nexad.service" DESTINATION lib/systemd/system)
  install(FILES "${PROJECT_SOURCE_DIR}/apps/nexad/nexad.sysusers"
          DESTINATION lib/sysusers.d RENAME nexad.conf)
  install(FILES "${PROJECT_SOURCE_DIR}/apps/nexad/nexad.toml.example"
          DESTINATION "${CMAKE_INSTALL_DOCDIR}")
endif()

install(DIRECTORY
          "${PROJECT_SOURCE_DIR}/include/"
          "${PROJECT_SOURCE_DIR}/platform/gnmi_base/include/"
          "${PROJECT_SOURCE_DIR}/platform/kestrel/include/"
          "${PROJECT_SOURCE_DIR}/platform/kitbase/include/"
        DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}"
        FILES_MATCHING PATTERN "*.h")
install(DIRECTORY "${PROJECT_BINARY_DIR}/proto/generated/"
        DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/nexa/proto"
        FILES_MATCHING PATTERN "*.pb.h")
install(FILES "${PROJECT_SOURCE_DIR}/LICENSE" "${PROJECT_SOURCE_DIR}/README.md"
        DESTINATION "${CMAKE_INSTALL_DOCDIR}")
install(DIRECTORY "${PROJECT_SOURCE_DIR}/docs" DESTINATION "${CMAKE_INSTALL_DOCDIR}"
        PATTERN "*.in" EXCLUDE)
install(DIRECTORY "${PROJECT_SOURCE_DIR}/models" DESTINATION "${CMAKE_INSTALL_DOCDIR}")

install(EXPORT nexa_schemaif_targets NAMESPACE nexa:: DESTINATION "${nexa_package_dir}")
configure_package_config_file(
  "${PROJECT_SOURCE_DIR}/cmake/nexa_schemaif-config.cmake.in"
  "${PROJECT_BINARY_DIR}/nexa_schemaif-config.cmake"
  INSTALL_DESTINATION "${nexa_package_dir}")
write_basic_package_version_file("${PROJECT_BINARY_DIR}/nexa_schemaif-config-version.cmake"
                                 COMPATIBILITY SameMajorVersion)
install(FILES "${PROJECT_BINARY_DIR}/nexa_schemaif-config.cmake"
              "${PROJECT_BINARY_DIR}/nexa_schemaif-config-version.cmake"
        DESTINATION "${nexa_package_dir}")

file(RELATIVE_PATH nexa_prefix_from_pc "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
configure_file("${PROJECT_SOURCE_DIR}/cmake/nexa_schemaif.pc.in"
               "${PROJECT_BINARY_DIR}/nexa_schemaif.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/nexa_schemaif.pc"
        DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
