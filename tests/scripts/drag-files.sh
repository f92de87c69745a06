#!/usr/bin/env bash
# Drags files and folders from another application onto a point of the screen,
# as a user does with a file manager: a real drag between two X clients.
#
#   drag-files.sh X Y PATH...
#
# X, Y    the screen position (root window pixels) where the items are dropped,
#         e.g. the middle of Velotune's main window; get a window's place with
#         `xdotool getwindowgeometry WINDOW`, and keep clear of the drag source's
#         window at the top-left corner (0,0 to 119,59).
# PATH    files or folders, dropped in this order; relative paths are taken from
#         the current folder. They are sent as file URIs ("text/uri-list"), so any
#         name works: spaces, UTF-8 letters, '%', '#'.
#
# Needs DISPLAY (an X server without a window manager, such as the Xvfb of
# with-test-env.sh, is fine) and xdotool. It runs the test drag source
# (tests/support/drag_source.cpp): set VELOTUNE_DRAG_SOURCE to its executable, or
# it is looked for in build/tests/ of this checkout.
#
# What happens: the drag source's window appears at 0,0; once it says "ready",
# the pointer presses in it, moves in small steps (the XDND protocol needs real
# motion: one position message at a time, each answered by the target) to every
# point of DRAG_VIA (optional, "X,Y X,Y ..."), then to (X, Y), lingers there with
# a few one-pixel moves so that the target can answer, and releases. The script
# then waits for the drag source to exit.
#
# Exit status: 0 when the drop was taken by the window under (X, Y) and the drag
# source has exited; 3 when the drag ended without a drop (nothing under (X, Y)
# accepts files, or it refused them); 2 when no drag ended within the source's
# 20 s; 1 on a usage or start-up error. The pointer button is always released,
# and the drag source never outlives the script.
#
# Examples:
#   drag-files.sh 400 300 ~/Samples/Kicks ~/Samples/"Klänge 1.wav"
#   DRAG_VIA="400,300" drag-files.sh 60 700 a.wav   # enter a window, leave, release elsewhere
#   # the middle of a program's window, found by its title:
#   eval "$(xdotool search --sync --name '^Velotune$' getwindowgeometry --shell)"
#   drag-files.sh $((X + WIDTH / 2)) $((Y + HEIGHT / 2)) ~/Samples/Kicks
# The drop list of the receiving window gets the paths in the order given, a
# folder's with a trailing "/".
# Set DRAG_VERBOSE=1 to see the drag source's lines on stderr.
set -uo pipefail

usage() {
    sed -n '2,/^set -uo/p' "$0" | sed '$d; s/^# \{0,1\}//' >&2
    exit 1
}
[ $# -ge 3 ] || usage
tx=$1 ty=$2
shift 2
case "$tx$ty" in *[!0-9-]* | '') echo "drag-files.sh: X and Y must be integers" >&2; exit 1 ;; esac
[ -n "${DISPLAY:-}" ] || { echo "drag-files.sh: DISPLAY is not set" >&2; exit 1; }
command -v xdotool >/dev/null || { echo "drag-files.sh: xdotool is missing" >&2; exit 1; }

here=$(cd "$(dirname "$0")" && pwd)
source_exe=${VELOTUNE_DRAG_SOURCE:-$here/../../build/tests/drag_source}
[ -x "$source_exe" ] || {
    echo "drag-files.sh: no drag source at $source_exe (build the drag_source target" \
        "or set VELOTUNE_DRAG_SOURCE)" >&2
    exit 1
}

work=$(mktemp -d "${TMPDIR:-/tmp}/drag-files.XXXXXX") || exit 1
out=$work/source.out
pid=
button_down=0
# shellcheck disable=SC2317  # called through the trap
cleanup() {
    [ "$button_down" = 1 ] && xdotool mouseup 1 >/dev/null 2>&1
    if [ -n "$pid" ] && kill -0 "$pid" 2>/dev/null; then
        kill -TERM "$pid" 2>/dev/null
        wait "$pid" 2>/dev/null
    fi
    [ "${DRAG_VERBOSE:-0}" = 1 ] && [ -f "$out" ] && sed 's/^/drag_source: /' "$out" >&2
    rm -rf "$work"
}
trap cleanup EXIT
trap 'exit 1' INT TERM

"$source_exe" "$@" >"$out" 2>"$work/source.err" </dev/null &
pid=$!

# Wait (at most 10 s) for the source window to be on screen.
for _ in $(seq 1 200); do
    grep -qx ready "$out" 2>/dev/null && break
    kill -0 "$pid" 2>/dev/null || break
    sleep 0.05
done
if ! grep -qx ready "$out" 2>/dev/null; then
    echo "drag-files.sh: the drag source did not come up" >&2
    cat "$work/source.err" >&2
    exit 1
fi

# Moves the pointer from ($1,$2) to ($3,$4) in steps of at most 20 pixels.
glide() {
    local x0=$1 y0=$2 x1=$3 y1=$4 dx dy n i
    dx=$((x1 - x0)) dy=$((y1 - y0))
    n=$(((${dx#-} > ${dy#-} ? ${dx#-} : ${dy#-}) / 20 + 1))
    for i in $(seq 1 "$n"); do
        xdotool mousemove $((x0 + dx * i / n)) $((y0 + dy * i / n))
        sleep 0.03
    done
}

# Press in the middle of the source and move past the toolkit's drag threshold
# while still inside it: that starts the drag.
xdotool mousemove 60 30
sleep 0.1
xdotool mousedown 1
button_down=1
sleep 0.1
for step in 64,32 68,34 72,36 76,38 80,40; do
    xdotool mousemove "${step%,*}" "${step#*,}"
    sleep 0.05
done
x=80 y=40
for point in ${DRAG_VIA:-}; do
    glide "$x" "$y" "${point%,*}" "${point#*,}"
    x=${point%,*} y=${point#*,}
    # Linger so that the window there sees the drag enter and move.
    for d in 1 0 1 0; do
        xdotool mousemove $((x + d)) "$y"
        sleep 0.1
    done
done
glide "$x" "$y" "$tx" "$ty"
# A few one-pixel moves at the target: each is a position message that the
# target answers; the drop is only offered to a target that has answered.
for d in 1 0 1 0; do
    xdotool mousemove $((tx + d)) "$ty"
    sleep 0.1
done
sleep 0.2
xdotool mouseup 1
button_down=0

# The source exits once the drag has ended (it gives up by itself after 20 s).
wait "$pid"
status=$?
pid=
if [ "$status" -ne 0 ]; then
    grep -q '^failed' "$out" && echo "drag-files.sh: the drag ended without a drop" \
        "($(grep '^failed' "$out"))" >&2
    cat "$work/source.err" >&2
fi
exit "$status"
