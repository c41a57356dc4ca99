# 64-bit ARM, little-endian.
set(triple aarch64-linux-gnu)
set(processor aarch64)
set(emulator qemu-aarch64)
set(architecture arm64)
include(${CMAKE_CURRENT_LIST_DIR}/common.cmake)
