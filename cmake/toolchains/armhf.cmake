# Cross build for 32-bit ARM against a sysroot folder (NEXA_ARMHF_SYSROOT) that holds Debian's armhf packages,
# unpacked. protoc and the gRPC plugin are the build machine's; tests run under qemu.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(NEXA_ARMHF_SYSROOT "$ENV{NEXA_ARMHF_SYSROOT}" CACHE PATH "Folder with the armhf packages, unpacked")
if(NOT IS_DIRECTORY "${NEXA_ARMHF_SYSROOT}")
  message(FATAL_ERROR "set NEXA_ARMHF_SYSROOT to a folder with the armhf packages")
endif()

set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)
set(CMAKE_SYSROOT "${NEXA_ARMHF_SYSROOT}")
set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabihf)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_CROSSCOMPILING_EMULATOR "qemu-arm;-L;${NEXA_ARMHF_SYSROOT}")
set(ENV{PKG_CONFIG_SYSROOT_DIR} "${NEXA_ARMHF_SYSROOT}")
set(ENV{PKG_CONFIG_LIBDIR}
    "${NEXA_ARMHF_SYSROOT}/usr/lib/arm-linux-gnueabihf/pkgconfig:${NEXA_ARMHF_SYSROOT}/usr/share/pkgconfig")
