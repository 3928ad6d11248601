################################################################################
#
# libvos
#
################################################################################

LIBVOS_VERSION = 1.0.0
LIBVOS_MIRROR ?= https://downloads.gateway.invalid
LIBVOS_SITE = $(LIBVOS_MIRROR)
LIBVOS_LICENSE = BSD-2-Clause
LIBVOS_LICENSE_FILES = LICENSE
LIBVOS_INSTALL_STAGING = YES
LIBVOS_CONF_OPTS = \
	-DVOS_BUILD_TOOLS=OFF \
	-DVOS_BUILD_EXAMPLES=OFF \
	-DVOS_WITH_ANDROID_LOG=OFF

ifeq ($(BR2_PACKAGE_LIBVOS_SECURITY),y)
LIBVOS_DEPENDENCIES += openssl
LIBVOS_CONF_OPTS += -DVOS_WITH_SECURITY=ON
else
LIBVOS_CONF_OPTS += -DVOS_WITH_SECURITY=OFF
endif

# crypt(3) is in a library of its own with glibc. Both are opened at first use.
LIBVOS_DEPENDENCIES += $(if $(BR2_PACKAGE_LIBXCRYPT),libxcrypt)

ifeq ($(BR2_PACKAGE_LIBVOS_GB18030),y)
LIBVOS_CONF_OPTS += -DVOS_WITH_GB18030=ON
else
LIBVOS_CONF_OPTS += -DVOS_WITH_GB18030=OFF
endif

LIBVOS_CONF_OPTS += -DVOS_BUILD_MINI=$(if $(BR2_PACKAGE_LIBVOS_MINI),ON,OFF)

ifeq ($(BR2_PACKAGE_LIBVOS_SEMTIMEDOP_FALLBACK),y)
LIBVOS_CONF_OPTS += -DVOS_SEMTIMEDOP_FALLBACK=ON
else
LIBVOS_CONF_OPTS += -DVOS_SEMTIMEDOP_FALLBACK=OFF
endif

$(eval $(cmake-package))
