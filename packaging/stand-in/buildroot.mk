# What the package takes from Buildroot, for packaging/check: WORK is the folder to work in, CONFIG what its
# Config.in came to.
include $(CONFIG)
qstrip = $(strip $(subst ",,$(1)))
define sep


endef
BR_BUILDING = y
BR2_CMAKE = cmake
TARGET_MAKE_ENV =
TARGET_DIR = $(WORK)/target

package = TQDEVSDK_SMART_CONTROL
archive = $($(package)_SITE)/$($(package)_SOURCE)
$(package)_SRCDIR = $(WORK)/build/smart-control-$($(package)_VERSION)
$(package)_BUILDDIR = $($(package)_SRCDIR)/buildroot-build

define build-package
all:
	test '$($(package)_SITE_METHOD)' = file
	cd $($(package)_SITE) && sed -n 's/^sha256 //p' $(HASHES) | grep -F $($(package)_SOURCE) | sha256sum --check
	mkdir -p $(WORK)/build
	tar -C $(WORK)/build -xf $(archive)
	cd $($(package)_SRCDIR) && sed -n 's/^sha256 //p' $(HASHES) | grep -w $($(package)_LICENSE_FILES) | sha256sum --check
	cmake -S $($(package)_SRCDIR) -B $($(package)_BUILDDIR) -DCMAKE_INSTALL_PREFIX=/usr $(CMAKE_FLAGS) \
		$($(package)_CONF_OPTS)
	cmake --build $($(package)_BUILDDIR)
	$$($(package)_INSTALL_TARGET_CMDS)
	echo '$($(package)_LICENSE)' >$(WORK)/license
endef
cmake-package = $(build-package)

include $(BR2_EXTERNAL_TQDEVSDK_PATH)/external.mk
