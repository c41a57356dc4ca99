# SPDX-License-Identifier: Apache-2.0
SUMMARY = "Smart control module of the device SDK, and its linkage engine"
DESCRIPTION = "Linkage between the devices of a home: platform commands, linkage rules and settings for the \
device application, its events and results for the platform. The linkage engine carries the rules out."
LICENSE = "Apache-2.0"
LIC_FILES_CHKSUM = "file://LICENSE;md5=3b83ef96387f14655fc854ddc3c6bd57"

SRC_URI = "file://${TQ_RELEASE_DIR}/smart-control-${PV}.tar.xz;sha256sum=@SHA256@"
S = "${WORKDIR}/smart-control-${PV}"

inherit cmake

EXTRA_OECMAKE = "-DTQ_HOST_SDK_DIR=${TQ_HOST_SDK_DIR}"

# Without the folder, CMake would take the stand-in host SDK.
TQ_HOST_SDK_DIR ?= ""
do_configure:prepend() {
    if [ -z "${TQ_HOST_SDK_DIR}" ]; then
        bbfatal "TQ_HOST_SDK_DIR is not set"
    fi
}

PACKAGES =+ "tqdevsdk-linkage tqdevsdk-linkage-dev tqdevsdk-linkage-staticdev"

SUMMARY:tqdevsdk-linkage = "Linkage engine of the device SDK"
FILES:tqdevsdk-linkage = "${libdir}/libtqDevSDK_linkage.so.* ${docdir}/tqDevSDK_linkage"
FILES:tqdevsdk-linkage-dev = "${libdir}/libtqDevSDK_linkage.so ${includedir}/tqDevSDK/tqDevSDK_Linkage.h \
    ${libdir}/pkgconfig/tqDevSDK_linkage.pc ${libdir}/cmake/tqDevSDK_linkage"
FILES:tqdevsdk-linkage-staticdev = "${libdir}/libtqDevSDK_linkage.a"
# Its CMake files name the static library, too.
RDEPENDS:tqdevsdk-linkage-dev = "tqdevsdk-linkage tqdevsdk-linkage-staticdev ${PN}-dev"

FILES:${PN} = "${libdir}/libtqDevSDK_smart_control.so.* ${docdir}/tqDevSDK_smart_control/LICENSE"
FILES:${PN}-dev = "${libdir}/libtqDevSDK_smart_control.so ${includedir}/tqDevSDK \
    ${libdir}/pkgconfig/tqDevSDK_smart_control.pc ${libdir}/cmake/tqDevSDK_smart_control \
    ${docdir}/tqDevSDK_smart_control/examples ${docdir}/tqDevSDK_smart_control/README.md \
    ${docdir}/tqDevSDK_smart_control/docs"
# The licence belongs to the library, the pages to who builds with it.
FILES:${PN}-doc = ""

# The SDK's libraries are on the device already, in no package of this build system.
INSANE_SKIP:${PN} += "file-rdeps"
