#!/usr/bin/env bash
# Redraws the committed PNG icons from the SVG after it changes; the build
# and the package only copy them (needs rsvg-convert, Debian's librsvg2-bin).
set -euo pipefail
cd "$(dirname "$0")"
for size in 16 22 24 32 48 64 128 256; do
    mkdir -p "${size}x${size}"
    rsvg-convert -w "$size" -h "$size" org.ketrova.Ostrand.svg -o "${size}x${size}/org.ketrova.Ostrand.png"
done
