# What the tool chains of other architectures share: Debian's cross compiler over a folder of Debian's packages
# (scripts/sysroot). The file that includes this one sets
#   nexa_architecture   Debian's name of it
#   nexa_triplet        the folder below usr/lib that its libraries are in
#   nexa_tools          what the names of the compiler and of binutils begin with
# protoc and the gRPC plugins are the build machine's; they are of the versions that the folder has.
set(CMAKE_SYSTEM_NAME Linux)
set(NEXA_SYSROOT "${CMAKE_CURRENT_LIST_DIR}/../../build/sysroot-${nexa_architecture}"
    CACHE PATH "Folder with Debian's packages of the target, unpacked")
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES NEXA_SYSROOT)
get_filename_component(nexa_sysroot "${NEXA_SYSROOT}" REALPATH)
if(NOT EXISTS "${nexa_sysroot}/usr/include")
  message(FATAL_ERROR "no packages in ${nexa_sysroot}: run scripts/sysroot ${nexa_architecture}, or name "
                      "another folder with -DNEXA_SYSROOT=")
endif()

set(CMAKE_C_COMPILER ${nexa_tools}-gcc)
set(CMAKE_CXX_COMPILER ${nexa_tools}-g++)
set(CMAKE_SYSROOT "${nexa_sysroot}")
set(CMAKE_LIBRARY_ARCHITECTURE ${nexa_triplet})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_SYSROOT_DIR} "${nexa_sysroot}")
set(ENV{PKG_CONFIG_LIBDIR}
    "${nexa_sysroot}/usr/lib/${nexa_triplet}/pkgconfig:${nexa_sysroot}/usr/share/pkgconfig")
