# 32-bit ARM as Debian builds it: ARMv7 with hardware floating point. Programs run under qemu's emulation of one
# process (the package qemu-user).
set(nexa_architecture armhf)
set(nexa_triplet arm-linux-gnueabihf)
set(nexa_tools arm-linux-gnueabihf)
set(CMAKE_SYSTEM_PROCESSOR arm)
include("${CMAKE_CURRENT_LIST_DIR}/sysroot.cmake")
set(CMAKE_CROSSCOMPILING_EMULATOR "qemu-arm;-L;${nexa_sysroot}")
