#!/usr/bin/env bash
# Builds the Debian package in ./build-deb with Debian's own compiler and
# linker flags (hardening included), without tests or benchmarks, and prints
# its path. Install it with: sudo apt install ./build-deb/ostrand_*.deb
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/bootstrap.sh
# CMake reads CXXFLAGS and LDFLAGS from the environment on its first run;
# the preprocessor flags (_FORTIFY_SOURCE) go with the compiler's.
# hardening=+all adds immediate binding (-z now) to the defaults.
export DEB_BUILD_MAINT_OPTIONS=hardening=+all
CXXFLAGS="$(dpkg-buildflags --get CXXFLAGS) $(dpkg-buildflags --get CPPFLAGS)"
LDFLAGS="$(dpkg-buildflags --get LDFLAGS)"
export CXXFLAGS LDFLAGS
if [ ! -f build-deb/build.ninja ]; then
    # Build type None, as Debian builds packages: only the flags above apply.
    cmake -S . -B build-deb -G Ninja -DCMAKE_BUILD_TYPE=None -DOSTRAND_BUILD_TESTS=OFF \
        -DOSTRAND_BUILD_BENCH=OFF >&2
fi
cmake --build build-deb --parallel "$(nproc)" >&2
(cd build-deb && cpack -G DEB >&2)
ls "$PWD"/build-deb/ostrand_*.deb
