# The 32-bit target: Debian's cross compiler, libraries of architecture armhf beside the native ones, and
# emulation for what the build and the tests run.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)
set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabihf)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm)
# The packages are for the target too.
set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE armhf)
# What cmake/cross-expat builds for this file.
cmake_path(GET CMAKE_CURRENT_LIST_FILE STEM toolchain)
list(APPEND CMAKE_PREFIX_PATH ${CMAKE_CURRENT_LIST_DIR}/../build/cross/${toolchain})
