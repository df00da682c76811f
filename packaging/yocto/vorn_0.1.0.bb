SUMMARY = "Configuration and management daemon for small devices"
LICENSE = "MIT"
LIC_FILES_CHKSUM = "file://LICENSE;md5=fd2c990f57ad9113b6c9d7e78ced3abe"

# From a checkout beside the layer: nothing is published yet.
SRC_URI = "git://${TOPDIR}/../vorn;protocol=file;branch=main"
SRCREV = "${AUTOREV}"
S = "${WORKDIR}/git"

DEPENDS = "libxml2"

inherit cmake pkgconfig systemd

# As small as it gets, with what it has to do still done in time: see packaging/README.md.
EXTRA_OECMAKE = " \
    -DCMAKE_BUILD_TYPE=MinSizeRel \
    -DCMAKE_INTERPROCEDURAL_OPTIMIZATION=ON \
    -DCMAKE_SKIP_INSTALL_RPATH=ON \
    -DVORN_TESTS=OFF \
    -DVORN_KIT=OFF \
"

PACKAGECONFIG ??= "plugins client"
PACKAGECONFIG[plugins] = "-DVORN_PLUGINS=ON,-DVORN_PLUGINS=OFF,zlib"
PACKAGECONFIG[client] = "-DVORN_CLIENT=ON,-DVORN_CLIENT=OFF,pugixml"

PACKAGE_BEFORE_PN = "${PN}-plugins ${PN}-client"
FILES:${PN} += "${sysconfdir}/config ${nonarch_libdir}/vorn"
FILES:${PN}-plugins = "${nonarch_libdir}/vorn/plugins/*.vorn"
FILES:${PN}-client = "${bindir}/vornctl ${libdir}/libvorn-client.so.* ${datadir}/bash-completion ${datadir}/zsh"
RDEPENDS:${PN}-plugins = "${PN} iproute2"

SYSTEMD_SERVICE:${PN} = "vorn.service"
SYSTEMD_AUTO_ENABLE = "disable"

do_install:append() {
    install -d ${D}${sysconfdir}/config
    install -d ${D}${systemd_system_unitdir}
    install -m 0644 ${S}/debian/vorn.service ${D}${systemd_system_unitdir}/
}
