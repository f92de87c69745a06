#!/usr/bin/env bash
# Start-up: launch to the first drawn frame of the program's window (the time it
# writes into VELOTUNE_FIRST_FRAME_FILE) beside a bare GTK 3 window of the same
# shape (gtkwindow_bench), both on the test environment's Xvfb, interleaved.
# Prints one table row on stdout, progress on stderr.
#   bash bench/window.sh BUILD_DIR      (inside tests/scripts/with-test-env.sh)
# BENCH_WINDOW_REPS (default 10): measured starts of each, after one warm-up each.
set -euo pipefail
build=$(cd "${1:-build}" && pwd)
here=$(cd "$(dirname "$0")" && pwd)
reps=${BENCH_WINDOW_REPS:-10}
work=$build/benchtmp/window
rm -rf "$work"
mkdir -p "$work/home/Desktop"
# The program's log goes to this HOME's desktop, not the test environment's.
export HOME=$work/home

# As on a desktop: the accessibility bridge on (the test environment turns it off).
unset NO_AT_BRIDGE
progs=()
[ -x "$build/velotune" ] && progs+=("velotune=env:VELOTUNE_FIRST_FRAME_FILE $build/velotune")
# The bare window with GDK's default (it probes OpenGL) and with OpenGL off, as
# the program asks for itself.
progs+=("gtk=$build/bench/gtkwindow_bench {stamp}")
progs+=("gtknogl=env GDK_GL=disable $build/bench/gtkwindow_bench {stamp}")
python3 "$here/first_frame.py" --reps "$reps" --out "$work" "${progs[@]}" > "$work/results.jsonl"

values() {  # comma list of the ms figures of program $1
    python3 -c 'import json,sys
for l in open(sys.argv[1]):
    r = json.loads(l)
    if r["name"] == sys.argv[2]: print(",".join(str(v) for v in r["ms"]))' "$work/results.jsonl" "$1"
}
python3 "$here/table.py" "launch to the window's first drawn frame, ms (Xvfb)" 1 \
    "velotune=$(values velotune)" \
    "bare GTK 3 window with a menu bar (\`gtkwindow_bench\`), with OpenGL off, as the program asks=$(values gtknogl)" \
    "the same with GDK's default=$(values gtk)"
