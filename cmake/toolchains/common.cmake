# What the toolchain files share. Each sets
#   triple        of Debian's cross compiler, whose package is g++-TRIPLE
#   processor     as CMake names it
#   emulator      that runs the target's programs; unset where this machine does
#   architecture  of the packages that cpack makes
# and includes this file.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR ${processor})
set(CMAKE_C_COMPILER ${triple}-gcc)
set(CMAKE_CXX_COMPILER ${triple}-g++)
if(emulator)
  # The path keeps libraries of the same architecture that this machine may have away from the compiler's loader.
  set(CMAKE_CROSSCOMPILING_EMULATOR ${emulator} -L /usr/${triple} -E LD_LIBRARY_PATH=/usr/${triple}/lib)
endif()
set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE ${architecture})

# Libraries are those that cmake/cross-libraries built for the toolchain file, never this machine's. Packages
# that are headers alone may be this machine's.
cmake_path(GET CMAKE_PARENT_LIST_FILE STEM toolchain)
set(CMAKE_FIND_ROOT_PATH ${CMAKE_CURRENT_LIST_DIR}/../../build/cross/${toolchain})
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
