# MIPS32, big-endian.
set(triple mips-linux-gnu)
set(processor mips)
set(emulator qemu-mips)
set(architecture mips)
include(${CMAKE_CURRENT_LIST_DIR}/common.cmake)
