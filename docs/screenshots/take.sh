#!/usr/bin/env bash
# Takes the README's pictures of the four windows from the real program,
# under a virtual X display, in a throw-away program folder: each window as
# it opens (NAME.png), at the least size it allows (NAME-least.png), and
# scaled to 200% as on a high-density screen (NAME-200.png).
# Needs xvfb, xdotool, x11-utils and imagemagick. Usage: docs/screenshots/take.sh [build/bin]
set -euo pipefail
cd "$(dirname "$0")/../.."
bin="$(realpath "${1:-build/bin}")"
out="$PWD/docs/screenshots"
if [ -z "${OSTRAND_SHOTS_DISPLAY:-}" ]; then
    export OSTRAND_SHOTS_DISPLAY=1
    exec xvfb-run -a -s "-screen 0 2560x1600x24" "$0" "$@"
fi

register() { # the database folder start-up will find
    printf 'REGEDIT4\r\n\r\n[HKEY_LOCAL_MACHINE\\SOFTWARE\\Ketrova\\Global\\Databases]\r\n"Default"="%s"\r\n' \
        "$1" > "$KETROVA_REGISTRY"
}

# Starts the program, waits for its window, runs the steps given, and saves
# the window (cut from the whole screen) as $1$suffix.png; with LEAST set,
# after making it as small as it lets itself be made.
shoot() {
    local name="$1" title="$2"
    shift 2
    "$bin/ostrand" &
    local pid=$!
    local win
    win="$(xdotool search --sync --onlyvisible --name "$title" | head -n1)"
    sleep 1
    for step in "$@"; do
        eval "$step"
        sleep 0.7
    done
    win="$(xdotool search --onlyvisible --name "${SHOT_TITLE:-$title}" | head -n1)"
    if [ -n "${LEAST:-}" ]; then
        # The least size the window asks for: no window manager here holds it to that.
        local least
        least="$(xprop -id "$win" WM_NORMAL_HINTS |
            sed -n 's/.*minimum size: \([0-9]*\) by \([0-9]*\).*/\1 \2/p')"
        # shellcheck disable=SC2086 # two numbers
        xdotool windowsize "$win" $least
        sleep 1
    fi
    eval "$(xdotool getwindowgeometry --shell "$win")"
    # ImageMagick's own import by full path: another "convert" or "import" may come first on PATH.
    /usr/bin/import -window root -crop "${WIDTH}x${HEIGHT}+${X}+${Y}" +repage -strip \
        "$out/$name$suffix.png"
    kill "$pid" 2>/dev/null || true
    wait "$pid" 2>/dev/null || true
    unset SHOT_TITLE
}

# A click at a point of the named window, given as at 100%. Clicks, not keys:
# without a window manager nothing holds the keyboard focus.
click() {
    local w
    w="$(xdotool search --onlyvisible --name "$1" | head -n1)"
    xdotool mousemove --window "$w" $(($2 * scale)) $(($3 * scale)) click 1
}

# The four windows, each in the state the README shows, from a fresh program
# folder, at scale $1 (1 or 2), into pictures whose names end in $2. The
# folder shows in the pictures, so it is named as an install would be.
shoot_all() {
    scale="$1" suffix="$2"
    work="$(mktemp -d /tmp/Ketrova.XXXX)"
    export KETROVA_HOME="$work/"
    export KETROVA_REGISTRY="$work/.registry.reg"
    export KETROVA_USER_SETTINGS="$work/.settings.ini"
    cp "$bin/Ketrova.ddf" "$KETROVA_HOME"
    cp -r "$bin/help" "$KETROVA_HOME"

    # No database registered: the create wizard, at its folder page.
    shoot create "Ketrova Database Wizard" 'click "Ketrova Database Wizard" 465 405'

    # A database of an older version: the upgrade wizard, run to its outcome
    # (Next, Start, then the outcome once the run has ended).
    local db="$KETROVA_HOME"db/
    "$bin/ostrand-cli" create "$db" >/dev/null
    register "$db"
    printf '4\r\n' > "$db/Version"
    local at_action='click "Ketrova Database Wizard" 465 405'
    shoot upgrade "Ketrova Database Wizard" "$at_action" "$at_action" 'sleep 3' "$at_action"

    # A current database: the options wizard.
    printf '9\r\n' > "$db/Version"
    shoot options "Ketrova Database Wizard"

    # The restore window, handed over by the options wizard, with a backup open.
    mkdir -p "$KETROVA_HOME/Backup" "$KETROVA_HOME/Docs"
    printf 'Lease of unit 12B\n' > "$KETROVA_HOME/Docs/Lease 12B.txt"
    local archive="$KETROVA_HOME/Backup/Ketrova.20260701.kbx"
    "$bin/ostrand-cli" archive add "$archive" "$db/Ketrova.mdb" --type 1 >/dev/null
    "$bin/ostrand-cli" archive add "$archive" "$db/Version" --type 1 >/dev/null
    "$bin/ostrand-cli" archive add "$archive" "$KETROVA_HOME/Docs/Lease 12B.txt" --type 3 >/dev/null
    # (The points are those of the options' third choice and its action button,
    # then the restore window's first archive, "Expand All" and a folder's tick.)
    SHOT_TITLE="Ketrova Database Restore" shoot restore "Ketrova Database Wizard" \
        'click "Ketrova Database Wizard" 256 176' 'click "Ketrova Database Wizard" 465 405' \
        'click "Ketrova Database Wizard" 465 405' 'sleep 1' \
        'click "Ketrova Database Restore" 120 103' 'click "Ketrova Database Restore" 70 450' \
        'click "Ketrova Database Restore" 433 139'
    rm -rf "$work"
}
trap 'rm -rf "${work:-}"' EXIT

shoot_all 1 ""
LEAST=1 shoot_all 1 -least
QT_SCALE_FACTOR=2 shoot_all 2 -200
ls -l "$out"/*.png
