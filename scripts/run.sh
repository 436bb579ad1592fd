#!/usr/bin/env bash
# Installs what is missing, builds, and runs Ostrand on its embedded default:
# a portable home under ./build/home (KETROVA_HOME), its own registry store.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/bootstrap.sh
scripts/build.sh
home="$PWD/build/home"
mkdir -p "$home"
cp build/bin/Ketrova.ddf "$home/" 2>/dev/null || true
export KETROVA_HOME="$home/"
export KETROVA_REGISTRY="${KETROVA_REGISTRY:-$home/registry.reg}"
export KETROVA_USER_SETTINGS="${KETROVA_USER_SETTINGS:-$home/settings.ini}"
echo "== ostrand-cli mode"
build/bin/ostrand-cli mode
echo "== ostrand-cli locate"
build/bin/ostrand-cli locate || true
