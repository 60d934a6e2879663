# Cross build for 64-bit ARM Linux with Debian's g++-aarch64-linux-gnu. Libraries and CMake packages of the
# target (GoogleTest, Boost, zstd) come from the arm64 multiarch packages (libgtest-dev:arm64 ...), which Debian
# installs under /usr/lib/aarch64-linux-gnu; the C and C++ runtime of the cross compiler lies under
# /usr/aarch64-linux-gnu. Programs built here run through qemu-user, also where binfmt is not set up.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)

# Search the target's files only: the host's x86-64 libraries and package files must not be picked up.
set(CMAKE_FIND_ROOT_PATH /usr/aarch64-linux-gnu /)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Linked statically: qemu-user 7.2 hangs when a dynamically linked aarch64 program starts a thread, and the
# converter reads, plots and writes on more than one.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static")
set(ZSTD_LIBRARY /usr/lib/aarch64-linux-gnu/libzstd.a CACHE FILEPATH "the static zstd library of the target")

find_program(PLOTWRIGHT_QEMU qemu-aarch64 REQUIRED)
set(CMAKE_CROSSCOMPILING_EMULATOR ${PLOTWRIGHT_QEMU} -L /usr/aarch64-linux-gnu)
