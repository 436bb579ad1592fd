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
# The wizards need a display. Without one, say how to get a virtual one.
if [ -z "${DISPLAY:-}${WAYLAND_DISPLAY:-}" ]; then
    echo "== no display: run the wizards with 'xvfb-run -a scripts/run.sh', or use build/bin/ostrand-cli" >&2
    exit 0
fi
echo "== ostrand $*"
exec build/bin/ostrand "$@"
