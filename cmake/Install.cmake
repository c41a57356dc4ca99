# What is installed besides the libraries and their headers, and the packages made of it. Components:
# runtime for devices, development for those who build applications, the same two of the linkage engine, host
# and gateway for desks.
include(CMakePackageConfigHelpers)

set(package tqDevSDK_smart_control)
set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/${package})
set(pkgconfig_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH pkgconfig_to_prefix /prefix/${pkgconfig_dir} /prefix)

write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/${package}ConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
configure_file(cmake/${package}.pc.in ${package}.pc @ONLY)
install(EXPORT ${package}-targets NAMESPACE tqDevSDK:: DESTINATION ${package_dir} COMPONENT development)
install(FILES cmake/${package}Config.cmake ${CMAKE_CURRENT_BINARY_DIR}/${package}ConfigVersion.cmake
  DESTINATION ${package_dir} COMPONENT development)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${package}.pc DESTINATION ${pkgconfig_dir} COMPONENT development)
install(DIRECTORY examples DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT development)
# Laid out as here, so that the links between them lead somewhere. A desk has them by this component.
install(FILES README.md DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT development)
install(DIRECTORY docs DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT development
  FILES_MATCHING PATTERN *.md PATTERN *.svg)
install(FILES LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT runtime)

set(linkage_package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/tqDevSDK_linkage)
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/tqDevSDK_linkageConfigVersion.cmake
  VERSION ${linkage_version} COMPATIBILITY SameMajorVersion)
configure_file(cmake/tqDevSDK_linkage.pc.in tqDevSDK_linkage.pc @ONLY)
install(EXPORT tqDevSDK_linkage-targets NAMESPACE tqDevSDK::
  DESTINATION ${linkage_package_dir} COMPONENT linkage_development)
install(FILES cmake/tqDevSDK_linkageConfig.cmake ${CMAKE_CURRENT_BINARY_DIR}/tqDevSDK_linkageConfigVersion.cmake
  DESTINATION ${linkage_package_dir} COMPONENT linkage_development)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/tqDevSDK_linkage.pc
  DESTINATION ${pkgconfig_dir} COMPONENT linkage_development)
install(FILES LICENSE DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/tqDevSDK_linkage COMPONENT linkage)

if(TQ_HOST_SDK_DIR)
  set(host_library_dir ${TQ_HOST_SDK_DIR}/lib)
else()
  set(host_library_dir ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
  configure_file(cmake/tqDevSDK_host.pc.in tqDevSDK_host.pc @ONLY)
  install(EXPORT tqDevSDK_host-targets NAMESPACE tqDevSDK:: DESTINATION ${package_dir} COMPONENT host)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/tqDevSDK_host.pc DESTINATION ${pkgconfig_dir} COMPONENT host)
  # The public header needs the SDK's integer types; a device's SDK brings its own.
  install(FILES host/inc/tqdev_sdk_types.h
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/tqDevSDK COMPONENT development)
endif()

if(TQ_BUILD_GATEWAY)
  file(RELATIVE_PATH bin_to_lib /${CMAKE_INSTALL_BINDIR} /${CMAKE_INSTALL_LIBDIR})
  # The same for the build: one that is changed at installation has an empty entry, the working directory.
  set_target_properties(tq_gateway PROPERTIES
    INSTALL_RPATH "$ORIGIN;$ORIGIN/${bin_to_lib}" BUILD_WITH_INSTALL_RPATH ON)
  install(TARGETS tq_gateway RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT gateway)
  install(FILES gateway/tq_gateway.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT gateway)
  install(DIRECTORY gateway/scenarios
    DESTINATION ${CMAKE_INSTALL_DATADIR}/${package} COMPONENT gateway)
endif()

# ---- Packages: one for devices, one for development, the same two of the linkage engine, one for desks. ----

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
if(NOT CPACK_PACKAGE_CONTACT)
  set(CPACK_PACKAGE_CONTACT "Smart control maintainers <maintainers@localhost>")
endif()
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${host_library_dir})

set(runtime_package libtqdevsdk-smart-control${PROJECT_VERSION_MAJOR})
set(development_package libtqdevsdk-smart-control-dev)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ${runtime_package})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION "smart control module of the device SDK
Linkage between the devices of a home: platform commands, linkage rules and
settings for the device application, its events and results for the platform.
The host SDK that it runs in comes with the device.")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME ${development_package})
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${runtime_package} (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "smart control module, development files
Header, CMake and pkg-config files, documentation, and examples of device
applications.")
set(CPACK_DEBIAN_LINKAGE_PACKAGE_NAME libtqdevsdk-linkage1)
set(CPACK_DEBIAN_LINKAGE_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_LINKAGE_DESCRIPTION "linkage engine of the device SDK
Decides at each event which linkage rules fire and what is to be done, and
says of every rule why it fired or did not.")
set(CPACK_DEBIAN_LINKAGE_DEVELOPMENT_PACKAGE_NAME libtqdevsdk-linkage-dev)
set(CPACK_DEBIAN_LINKAGE_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_LINKAGE_DEVELOPMENT_PACKAGE_DEPENDS
  "libtqdevsdk-linkage1 (= ${PROJECT_VERSION}), ${development_package} (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_LINKAGE_DEVELOPMENT_DESCRIPTION "linkage engine, development files
Header, static library, CMake and pkg-config files.")
set(CPACK_DEBIAN_DESK_PACKAGE_NAME tqdevsdk-smart-control-desk)
set(CPACK_DEBIAN_DESK_PACKAGE_SECTION devel)
set(CPACK_DEBIAN_DESK_PACKAGE_DEPENDS "${development_package} (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_DESK_PACKAGE_RECOMMENDS libcjson-dev)
set(CPACK_DEBIAN_DESK_DESCRIPTION "smart control module, tools for a desk
tq_gateway, which plays the platform and the device application, and the
stand-in host SDK, in which the module runs without a device.")

include(CPack)
cpack_add_component(runtime)
cpack_add_component(development DEPENDS runtime)
cpack_add_component(linkage)
cpack_add_component(linkage_development DEPENDS linkage development)
if(NOT TQ_HOST_SDK_DIR)
  cpack_add_component_group(desk)
  cpack_add_component(host GROUP desk)
  cpack_add_component(gateway GROUP desk)
endif()
