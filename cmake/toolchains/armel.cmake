# ARMv5, 32-bit, little-endian, without floating point.
set(triple arm-linux-gnueabi)
set(processor arm)
set(emulator qemu-arm)
set(architecture armel)
include(${CMAKE_CURRENT_LIST_DIR}/common.cmake)
