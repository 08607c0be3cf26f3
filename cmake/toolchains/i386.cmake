# 32 bits on a 64-bit PC: the quick check of what 32-bit ARM would do. Programs run natively, without an emulator
# and without a package of that architecture installed: they name the dynamic linker and the libraries of the
# sysroot folder, so they run on this machine and nowhere else.
set(nexa_architecture i386)
set(nexa_triplet i386-linux-gnu)
set(nexa_tools i686-linux-gnu)
set(CMAKE_SYSTEM_PROCESSOR i686)
include("${CMAKE_CURRENT_LIST_DIR}/sysroot.cmake")
# The x87 unit computes with 80 bits; no other machine that this is for does.
set(CMAKE_C_FLAGS_INIT "-msse2 -mfpmath=sse")
set(CMAKE_CXX_FLAGS_INIT "-msse2 -mfpmath=sse")
# RPATH, not RUNPATH, because the libraries' own libraries are found by it as well.
set(nexa_run_in_sysroot
    "-Wl,--dynamic-linker=${nexa_sysroot}/lib/ld-linux.so.2 -Wl,--disable-new-dtags -Wl,-rpath,${nexa_sysroot}/lib/i386-linux-gnu:${nexa_sysroot}/usr/lib/i386-linux-gnu")
set(CMAKE_EXE_LINKER_FLAGS_INIT "${nexa_run_in_sysroot}")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "${nexa_run_in_sysroot}")
