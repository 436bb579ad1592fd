#!/usr/bin/env bash
# Packs the build as a .deb, unpacks it into a scratch root as dpkg lays it
# out, checks that every file is in its place and passes the desktop's
# validators, then uses the installed programs as a user would: no portable
# home, a home folder of their own, nothing written into the installed tree.
# Usage: deb_test.sh BUILD_DIR VERSION CPACK
set -euo pipefail
build=$1 version=$2 cpack=$3

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
fail() { echo "FAIL: $*" >&2; exit 1; }

(cd "$build" && "$cpack" -G DEB -B "$scratch/pkg" > "$scratch/cpack.log") ||
    { cat "$scratch/cpack.log" >&2; fail "cpack could not make the package"; }
deb=$(echo "$scratch"/pkg/ostrand_"$version"_*.deb)
[ -f "$deb" ] || fail "no ostrand_${version} package in $scratch/pkg"

# The dependencies are read from the binaries, not written by hand.
depends=$(dpkg-deb -f "$deb" Depends)
for lib in libsqlite3-0 libqt6widgets6 libc6; do
    grep -q "$lib" <<<"$depends" || fail "Depends lacks $lib: $depends"
done

root=$scratch/root
dpkg-deb -x "$deb" "$root"
id=org.ketrova.Ostrand
for f in usr/bin/ostrand usr/bin/ostrand-cli \
    usr/share/ostrand/Ketrova.ddf usr/share/ostrand/help/options.html \
    usr/share/applications/$id.desktop usr/share/metainfo/$id.metainfo.xml \
    usr/share/icons/hicolor/scalable/apps/$id.svg usr/share/icons/hicolor/48x48/apps/$id.png \
    usr/share/man/man1/ostrand.1.gz usr/share/man/man1/ostrand-cli.1.gz \
    usr/share/doc/ostrand/copyright usr/share/doc/ostrand/changelog.gz; do
    [ -s "$root/$f" ] || fail "the package lacks /$f"
done
zcat "$root/usr/share/man/man1/ostrand-cli.1.gz" | grep -q '^\.SS "archive restore:"' ||
    fail "the manual page of ostrand-cli does not document every subcommand"
desktop-file-validate "$root/usr/share/applications/$id.desktop"
appstreamcli validate --no-net --explain "$root/usr/share/metainfo/$id.metainfo.xml" > "$scratch/as.log" ||
    { cat "$scratch/as.log" >&2; fail "appstreamcli rejects the metainfo file"; }
if command -v lintian > /dev/null; then
    lintian --fail-on error,warning "$deb" 2>/dev/null || fail "lintian finds errors or warnings"
fi

home=$scratch/home
mkdir -p "$home/rentals"
export HOME=$home KETROVA_REGISTRY=$home/registry.reg KETROVA_USER_SETTINGS=$home/settings.ini
unset KETROVA_HOME XDG_STATE_HOME XDG_DATA_HOME XDG_CONFIG_HOME
cli=$root/usr/bin/ostrand-cli
[ "$("$cli" --version)" = "ostrand-cli $version" ] || fail "ostrand-cli --version"
[ "$(env -u DISPLAY -u WAYLAND_DISPLAY "$root/usr/bin/ostrand" --version)" = "ostrand $version" ] ||
    fail "ostrand --version without a display"

tree_before=$(find "$root" -printf '%p %s %T@\n' | sort)
out=$("$cli" create "$home/rentals") || fail "ostrand-cli create: $out"
[ "$out" = "Database created successfully." ] || fail "ostrand-cli create printed: $out"
[ -s "$home/rentals/Ketrova.mdb" ] && [ -s "$home/rentals/Version" ] || fail "no database made"
state=$home/.local/state/ostrand
grep -q "CreateNewDB" "$state/Ostrand.log" || fail "the run log is not in the state folder"
[ "$("$cli" diag --yes)" = "$state/Ostrand.log" ] || fail "the report is not in the state folder"
grep -q "Integrity check           : ok" "$state/Ostrand.log" || fail "the new database is not sound"
[ -d "$home/.local/share/Ketrova/Backup" ] || fail "no working folders in the user's data folder"
[ "$(find "$root" -printf '%p %s %T@\n' | sort)" = "$tree_before" ] ||
    fail "the programs wrote into the installed tree"
echo "deb_test: ostrand_${version} installs, validates and runs from its scratch root"
