################################################################################
#
# vorn
#
################################################################################

# From a checkout: nothing is published yet. Set VORN_OVERRIDE_SRCDIR in local.mk, or adapt this.
VORN_VERSION = 0.1.0
VORN_SITE = $(BR2_EXTERNAL)/../vorn
VORN_SITE_METHOD = local
VORN_LICENSE = MIT
VORN_LICENSE_FILES = LICENSE
VORN_DEPENDENCIES = libxml2
VORN_INSTALL_STAGING = YES

# As small as it gets, with what it has to do still done in time: see packaging/README.md.
VORN_CONF_OPTS = \
	-DCMAKE_BUILD_TYPE=MinSizeRel \
	-DCMAKE_INTERPROCEDURAL_OPTIMIZATION=ON \
	-DCMAKE_SKIP_INSTALL_RPATH=ON \
	-DVORN_TESTS=OFF \
	-DVORN_KIT=OFF

ifeq ($(BR2_PACKAGE_VORN_PLUGINS),y)
VORN_DEPENDENCIES += zlib
VORN_CONF_OPTS += -DVORN_PLUGINS=ON
else
VORN_CONF_OPTS += -DVORN_PLUGINS=OFF
endif

ifeq ($(BR2_PACKAGE_VORN_CLIENT),y)
VORN_DEPENDENCIES += pugixml
VORN_CONF_OPTS += -DVORN_CLIENT=ON
else
VORN_CONF_OPTS += -DVORN_CLIENT=OFF
endif

# The daemon saves there, and makes no folder.
define VORN_MAKE_CONFIG_FOLDER
	$(INSTALL) -d -m 0755 $(TARGET_DIR)/etc/config
endef
VORN_POST_INSTALL_TARGET_HOOKS += VORN_MAKE_CONFIG_FOLDER

define VORN_INSTALL_INIT_SYSV
	$(INSTALL) -D -m 0755 $(VORN_PKGDIR)/S50vorn $(TARGET_DIR)/etc/init.d/S50vorn
endef

define VORN_INSTALL_INIT_SYSTEMD
	$(INSTALL) -D -m 0644 $(@D)/debian/vorn.service \
		$(TARGET_DIR)/usr/lib/systemd/system/vorn.service
endef

$(eval $(cmake-package))
