# Cross-builds for 64-bit Arm on a Debian machine of another architecture,
# with Debian's cross compiler (crossbuild-essential-arm64) and the arm64
# builds of the libraries (libfoo-dev:arm64, in the multiarch folders), and
# runs the built programs under qemu-user:
#   cmake -S . -B build-arm64 -G Ninja -DCMAKE_TOOLCHAIN_FILE=cmake/aarch64-linux-gnu.cmake
# scripts/deps.sh --arm64 installs what this needs.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)

set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)

# The arm64 libraries and headers live beside the machine's own, in the
# multiarch folders of /. Look for them there and only there: programs
# (tools run at build time) are the machine's own, and the machine's
# x86-64 folders are never searched, so an x86-64 library missing its
# arm64 twin fails the configure step instead of failing the link.
set(CMAKE_FIND_ROOT_PATH /)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(CMAKE_LIBRARY_PATH /usr/lib/aarch64-linux-gnu /lib/aarch64-linux-gnu)
set(CMAKE_INCLUDE_PATH /usr/include/aarch64-linux-gnu)
set(CMAKE_IGNORE_PATH
  /usr/lib/x86_64-linux-gnu /lib/x86_64-linux-gnu /usr/include/x86_64-linux-gnu
  /usr/lib/i386-linux-gnu /usr/include/i386-linux-gnu)

# pkg-config reads the arm64 .pc files only (Debian has no cross wrapper
# for pkgconf here); the toolchain file is read before any find step.
set(ENV{PKG_CONFIG_LIBDIR} /usr/lib/aarch64-linux-gnu/pkgconfig:/usr/share/pkgconfig)
set(ENV{PKG_CONFIG_PATH} "")

# CTest, and the test discovery after each build, run the test programs
# through this. -L / gives qemu the machine's own root for the loader and the
# libraries: /lib/ld-linux-aarch64.so.1 and /usr/lib/aarch64-linux-gnu come
# from the same arm64 C library. (-L /usr/aarch64-linux-gnu mixes the cross
# package's older loader with the newer arm64 C library; every child of
# fork() then spins forever.)
find_program(SHADOW_QEMU_AARCH64 qemu-aarch64 REQUIRED)
set(CMAKE_CROSSCOMPILING_EMULATOR "${SHADOW_QEMU_AARCH64};-L;/")
