# find_package(tqDevSDK_linkage 1)
#   tqDevSDK::linkage          the linkage engine
#   tqDevSDK::linkage_static   the same, to be linked in
include(${CMAKE_CURRENT_LIST_DIR}/tqDevSDK_linkage-targets.cmake)
