# The host SDK of a device, under the name of the stand-in's target.
find_path(host_sdk_include tqdev_sdk_kernel.h
  PATHS ${TQ_HOST_SDK_DIR} PATH_SUFFIXES inc include NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH NO_CACHE)
file(GLOB host_sdk_libraries CONFIGURE_DEPENDS ${TQ_HOST_SDK_DIR}/lib/*.so)
if(NOT host_sdk_include OR NOT host_sdk_libraries)
  message(FATAL_ERROR "TQ_HOST_SDK_DIR is ${TQ_HOST_SDK_DIR}: "
    "it needs tqdev_sdk_kernel.h in inc/ or include/ and at least one lib/*.so.")
endif()
message(STATUS "Host SDK: ${host_sdk_include}, ${host_sdk_libraries}")

add_library(tqDevSDK_host INTERFACE IMPORTED GLOBAL)
target_include_directories(tqDevSDK_host INTERFACE ${host_sdk_include})
target_link_libraries(tqDevSDK_host INTERFACE ${host_sdk_libraries})
# A function that this SDK lacks is an error here, not on the device; a library of it that the module
# does not use is not asked for there.
target_link_options(tqDevSDK_host INTERFACE LINKER:-z,defs LINKER:--as-needed)
