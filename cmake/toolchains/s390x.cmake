# 64-bit, big-endian.
set(triple s390x-linux-gnu)
set(processor s390x)
set(emulator qemu-s390x)
set(architecture s390x)
include(${CMAKE_CURRENT_LIST_DIR}/common.cmake)
