# SPDX-License-Identifier: MIT

# Debian's cross compiler with its multiarch packages. Tests run through qemu-arm without -L:
# the multiarch loader and libraries are found at their ordinary places. Those that fork while other
# threads run need G_SLICE=always-malloc in the environment, as the test preset has it, and pass it on to an
# emulated program that they start: qemu-arm 7.2 keeps its translations in GLib's allocator, whose locks a
# forked child would find held for ever.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)
set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabihf)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm)
set(ENV{PKG_CONFIG_LIBDIR} "/usr/lib/arm-linux-gnueabihf/pkgconfig:/usr/share/pkgconfig")
