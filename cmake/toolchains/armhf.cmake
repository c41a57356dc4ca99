# 32-bit ARM, little-endian, with hardware floating point: the target that the limits on sizes are for.
set(triple arm-linux-gnueabihf)
set(processor arm)
set(emulator qemu-arm)
set(architecture armhf)
include(${CMAKE_CURRENT_LIST_DIR}/common.cmake)
