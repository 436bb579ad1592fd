#!/usr/bin/env bash
# Installs what is missing, builds, and runs every test through CTest.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/bootstrap.sh
scripts/build.sh -DOSTRAND_WERROR=ON
cd build
QT_QPA_PLATFORM=offscreen ctest --output-on-failure --timeout 600 -j "$(nproc)"
