# SPDX-License-Identifier: MIT
#
# What OpenWrt does with a package that CMake builds, as far as our recipe goes: this file, and
# package.mk and cmake.mk beside it. tools/recipes gives from outside: TOPDIR and INCLUDE_DIR (this
# folder), SOURCE (a checkout), PLACE for all that is made, TOOLCHAIN (a file for CMake), JOBS.
INSTALL_DIR := install -d -m0755
INSTALL_BIN := install -m0755
INSTALL_DATA := install -m0644
INSTALL_CONF := install -m0600
CP := cp -fpR
