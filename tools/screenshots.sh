#!/usr/bin/env bash
# Makes the README's screenshots of the main window: playing the demo sounds, and
# with the settings panel open. Runs under Xvfb with the private sound server.
#   tools/screenshots.sh [BUILD_DIR]     (writes docs/velotune-*.png)
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build}
if [ -z "${VELOTUNE_TEST_ENV:-}" ]; then
    exec bash tests/scripts/with-test-env.sh bash "$0" "$@"
fi
"$build/velotune" "$build/demo/" 2>/dev/null &
app=$!
trap 'kill $app 2>/dev/null || true' EXIT
for _ in $(seq 1 100); do
    id=$(xdotool search --onlyvisible --name '^Velotune 2.0$' 2>/dev/null | head -n1 || true)
    [ -n "$id" ] && break
    sleep 0.2
done
# A taller window shows more of the playlist.
xdotool windowsize --sync "$id" 400 230 || true
eval "$(xdotool getwindowgeometry --shell "$id")"
top=$((HEIGHT - 100))   # the panels are 100 high and sit at the bottom
click() { xdotool mousemove --sync $((X + $1 + 1)) $((Y + top + $2)) mousemove --sync $((X + $1)) $((Y + top + $2)) click 1; }
sleep 6.5   # a few sounds into the demo folder
import -window "$id" docs/velotune-playing.png
click 384 14   # settings
sleep 0.3
click 16 31    # playback limit on
sleep 0.5
import -window "$id" docs/velotune-settings.png
xdotool windowfocus --sync "$id" key Escape
wait $app || true
trap - EXIT
echo "docs/velotune-playing.png docs/velotune-settings.png"
