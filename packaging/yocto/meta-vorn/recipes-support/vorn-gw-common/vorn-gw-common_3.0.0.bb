SUMMARY = "Common building blocks for the services of an embedded Linux gateway"
DESCRIPTION = "C++20 library: JSON, identifiers, time and timers, threads, programs and scripts, \
privileges, files and settings that survive, binding, plug-ins and ciphers."
SECTION = "libs"
LICENSE = "MIT"
LIC_FILES_CHKSUM = "file://LICENSE;md5=8c03a4dfeba316c172d96c33613972a4"

DEPENDS = "libcap"

# The product names the repository and the revision that it builds, for example in its distribution
# configuration: VORN_GW_COMMON_GIT = "git://git.example.com/vorn-gw-common.git;protocol=https;branch=main"
VORN_GW_COMMON_GIT ?= "git://git.example.com/vorn-gw-common.git;protocol=https;branch=main"
SRC_URI = "${VORN_GW_COMMON_GIT} \
           file://run-ptest"
SRCREV ?= "${AUTOREV}"
S = "${WORKDIR}/git"

inherit cmake pkgconfig ptest

# Without a run path: the tests are installed as they were built.
EXTRA_OECMAKE = "-DVORN_GW_COMMON_EXAMPLES=OFF -DVORN_GW_COMMON_INSTALL=ON -DCMAKE_SKIP_RPATH=ON \
    -DVORN_GW_COMMON_TESTS=${@bb.utils.contains('PTEST_ENABLED', '1', 'ON', 'OFF', d)}"
DEPENDS += "${@bb.utils.contains('PTEST_ENABLED', '1', 'googletest', '', d)}"

do_install_ptest() {
    install -d ${D}${PTEST_PATH}/tests
    find ${B}/tests -maxdepth 2 -type f -name '*_tests' -perm -u+x \
        -exec install -m 0755 -t ${D}${PTEST_PATH}/tests {} +
    install -d ${D}${PTEST_PATH}/tests/modules
    install -m 0755 -t ${D}${PTEST_PATH}/tests/modules ${B}/tests/plugins/modules/*.so
}

# What gdb loads beside the library is for who develops.
FILES:${PN}-dev += "${datadir}/gdb/auto-load"
RDEPENDS:${PN}-ptest += "busybox libgcc"
