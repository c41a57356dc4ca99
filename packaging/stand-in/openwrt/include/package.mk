archive = $(patsubst file://%,%,$(PKG_SOURCE_URL))/$(PKG_SOURCE)

all: staging
	$(foreach file,$(PKG_LICENSE_FILES),test -f $(PKG_BUILD_DIR)/$(file) &&) echo '$(PKG_LICENSE)' >$(WORK)/license

configured:
	echo '$(PKG_HASH)  $(archive)' | sha256sum --check
	mkdir -p $(BUILD_DIR)
	tar -C $(BUILD_DIR) -xf $(archive)
	$(call Build/Configure)

built: configured
	cmake --build $(CMAKE_BINARY_DIR)

staging: built
	$(call Build/InstallDev,$(WORK)/staging)

define BuildPackage
$(if $(Package/$(1)),,$$(error no Package/$(1)))
all: $(1)
$(1): built
	$$(call Package/$(1)/install,$(WORK)/$(1))
	{ $(if $(filter Package/$(1)/extra_provides,$(.VARIABLES)),$(Package/$(1)/extra_provides),true); } \
		>$(WORK)/$(1).provides
endef
