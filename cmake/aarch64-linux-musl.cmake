# The compiler, the libraries and the emulator that tools/build-arm64 puts into build/arm64.

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)

get_filename_component(target "${CMAKE_CURRENT_LIST_DIR}/../build/arm64" ABSOLUTE)
set(CMAKE_C_COMPILER ${target}/bin/cc)
set(CMAKE_CXX_COMPILER ${target}/bin/c++)
set(CMAKE_AR ${target}/bin/ar CACHE FILEPATH "")
set(CMAKE_RANLIB ${target}/bin/ranlib CACHE FILEPATH "")
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64-static)

# RFCD_SYSROOT is a second place for libraries, which is looked into first.
set(CMAKE_TRY_COMPILE_PLATFORM_VARIABLES RFCD_SYSROOT)
set(CMAKE_FIND_ROOT_PATH ${RFCD_SYSROOT} ${target}/root)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_LIBDIR} ${target}/root/lib/pkgconfig)
# As /usr/include on the machine itself: for headers that no target asks for.
set(CMAKE_CXX_STANDARD_INCLUDE_DIRECTORIES ${target}/root/include)

# musl and libc++ are compiled as what is linked with them: at -Os, also when CMake tries the compiler.
foreach(language C CXX)
  set(CMAKE_${language}_FLAGS_INIT "-Os -ffunction-sections -fdata-sections")
endforeach()
# The linker's own stack size would give threads 8 MiB; they get what musl gives them on the device.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-Wl,--gc-sections -Wl,-z,stack-size=131072")
