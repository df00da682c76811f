# SPDX-License-Identifier: MIT
#
# What Buildroot does with a package that CMake builds, as far as our recipe goes; tools/recipes
# includes it before the recipe. From outside: SOURCE (a checkout, in which is built, as Buildroot
# does), PLACE for all that is made, TOOLCHAIN (a file for CMake), BR2_EXTERNAL, VORN_PKGDIR, JOBS.
INSTALL := install
STAGING_DIR := $(PLACE)/staging
TARGET_DIR := $(PLACE)/target

define cmake-package
.PHONY: all facts
all: $(SOURCE)/.stamp_installed

facts:
	@echo version $$(VORN_VERSION)
	@echo license $$(VORN_LICENSE_FILES)
	@echo depends $$(VORN_DEPENDENCIES)
	@echo options $$(VORN_CONF_OPTS)

# Buildroot knows nothing of what a project calls its tests: each of these names is tried.
$(SOURCE)/.stamp_installed:
	cmake -S $(SOURCE) -B $(SOURCE) -G "Unix Makefiles" \
		-DCMAKE_TOOLCHAIN_FILE=$(TOOLCHAIN) -DCMAKE_INSTALL_PREFIX=/usr \
		-DCMAKE_INSTALL_RUNSTATEDIR=/run -DCMAKE_COLOR_MAKEFILE=OFF \
		-DBUILD_DOC=OFF -DBUILD_DOCS=OFF -DBUILD_EXAMPLE=OFF -DBUILD_EXAMPLES=OFF \
		-DBUILD_TEST=OFF -DBUILD_TESTS=OFF -DBUILD_TESTING=OFF -DBUILD_SHARED_LIBS=ON \
		$$(VORN_CONF_OPTS)
	cmake --build $(SOURCE) -j $(JOBS)
	$$(if $$(filter YES,$$(VORN_INSTALL_STAGING)),DESTDIR=$(STAGING_DIR) cmake --install $(SOURCE))
	DESTDIR=$(TARGET_DIR) cmake --install $(SOURCE)
	$$(foreach hook,$$(VORN_POST_INSTALL_TARGET_HOOKS),$$($$(hook))$$(newline))
	$$(if $$(BR2_INIT_SYSTEMD),$$(VORN_INSTALL_INIT_SYSTEMD),$$(VORN_INSTALL_INIT_SYSV))
	cd $(TARGET_DIR) && rm -rf usr/include usr/share/aclocal usr/lib/pkgconfig usr/share/pkgconfig \
		usr/lib/cmake usr/share/cmake usr/doc usr/share/man usr/share/info usr/share/doc \
		usr/share/bash-completion usr/share/zsh
	find $(TARGET_DIR)/usr/lib $(TARGET_DIR)/usr/share \( -name '*.a' -o -name '*.la' \) -delete
	rmdir --ignore-fail-on-non-empty $(TARGET_DIR)/usr/share
	touch $$@
endef

define newline


endef
