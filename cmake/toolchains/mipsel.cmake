# MIPS32, little-endian.
set(triple mipsel-linux-gnu)
set(processor mipsel)
set(emulator qemu-mipsel)
set(architecture mipsel)
include(${CMAKE_CURRENT_LIST_DIR}/common.cmake)
