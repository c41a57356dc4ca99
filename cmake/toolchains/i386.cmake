# 32-bit x86, whose programs a 64-bit one runs.
set(triple i686-linux-gnu)
set(processor i686)
set(architecture i386)
include(${CMAKE_CURRENT_LIST_DIR}/common.cmake)
