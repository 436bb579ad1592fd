#!/usr/bin/env bash
# Installs the Debian 12 packages Ostrand needs to build, test and run, but only
# those that are missing, so a second run costs a second and touches nothing.
set -euo pipefail

packages=(
    build-essential cmake ninja-build ccache pkg-config
    libsqlite3-dev sqlite3      # the database engine; the shell for checks and benchmarks
    libcli11-dev                # ostrand-cli's command line
    libx11-dev                  # window list of the diagnostics report
    mdbtools-dev mdbtools       # reading Windows databases; the tools for tests and benchmarks
    googletest libgtest-dev     # core tests
    qt6-base-dev                # the wizards (Widgets) and their tests (Test)
    qt6-l10n-tools              # lupdate: the windows' translation template
    xvfb xauth                  # running the GUI without a display
    dpkg-dev file               # cpack's .deb: dependencies read from the binaries
    help2man                    # the manual pages, made from --help
    desktop-file-utils appstream  # validating the menu entry and the metainfo file
)

missing=()
for p in "${packages[@]}"; do
    if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
        missing+=("$p")
    fi
done

if [ ${#missing[@]} -eq 0 ]; then
    exit 0
fi

echo "Installing: ${missing[*]}" >&2
sudo_cmd=()
if [ "$(id -u)" -ne 0 ]; then
    sudo_cmd=(sudo)
fi
export DEBIAN_FRONTEND=noninteractive
"${sudo_cmd[@]}" apt-get update -qq
"${sudo_cmd[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" >&2
