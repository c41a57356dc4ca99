# find_package(tqDevSDK_smart_control 2 [COMPONENTS host])
#   tqDevSDK::smart_control   the module
#   tqDevSDK::host            the stand-in host SDK, where it is installed
include(${CMAKE_CURRENT_LIST_DIR}/tqDevSDK_smart_control-targets.cmake)
include(${CMAKE_CURRENT_LIST_DIR}/tqDevSDK_host-targets.cmake
  OPTIONAL RESULT_VARIABLE tqDevSDK_smart_control_host_FOUND)

foreach(component IN LISTS tqDevSDK_smart_control_FIND_COMPONENTS)
  if(NOT tqDevSDK_smart_control_${component}_FOUND AND tqDevSDK_smart_control_FIND_REQUIRED_${component})
    set(tqDevSDK_smart_control_FOUND FALSE)
    set(tqDevSDK_smart_control_NOT_FOUND_MESSAGE "The component ${component} is not installed.")
  endif()
endforeach()
