################################################################################
#
# vorn-gw-common
#
################################################################################

# A product points VORN_GW_COMMON_OVERRIDE_SRCDIR at its checkout, or sets
# VORN_GW_COMMON_SITE to its own mirror.
VORN_GW_COMMON_VERSION = 3.0.0
VORN_GW_COMMON_SITE ?= https://git.example.com/vorn-gw-common/releases
VORN_GW_COMMON_LICENSE = MIT
VORN_GW_COMMON_LICENSE_FILES = LICENSE
VORN_GW_COMMON_INSTALL_STAGING = YES
VORN_GW_COMMON_DEPENDENCIES = host-pkgconf libcap
VORN_GW_COMMON_CONF_OPTS = \
	-DVORN_GW_COMMON_TESTS=OFF \
	-DVORN_GW_COMMON_EXAMPLES=OFF \
	-DVORN_GW_COMMON_INSTALL=ON

$(eval $(cmake-package))
