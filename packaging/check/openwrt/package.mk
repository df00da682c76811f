# SPDX-License-Identifier: MIT
PKG_BUILD_DIR := $(PLACE)/build
PKG_INSTALL_DIR := $(PLACE)/installed
.PHONY: all facts
all:
facts:
	@echo version $(PKG_VERSION)
	@echo license $(PKG_LICENSE_FILES)
	@echo depends $(sort $(filter-out +vorn%,$(ALL_DEPENDS)))
	@echo options $(CMAKE_OPTIONS)

# One of the packages: where its files go is all that the recipe says in a shell's words.
define BuildPackage
$(eval $(call Package/$(1)))
ALL_DEPENDS += $(DEPENDS)
all: $(PLACE)/packages/$(1)
$(PLACE)/packages/$(1): $(PKG_INSTALL_DIR)
	mkdir -p $(PLACE)/packages/$(1)
	$(call Package/$(1)/install,$(PLACE)/packages/$(1))
	$(if $(Package/$(1)/conffiles),echo '$(strip $(Package/$(1)/conffiles))' >$(PLACE)/conffiles-$(1))
endef
