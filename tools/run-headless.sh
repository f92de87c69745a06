#!/usr/bin/env bash
# Runs Velotune on a machine without a display: under Xvfb, with a private sound
# server (tests/scripts/test-env.sh), plays the demo sounds the build made (they
# are handed over as a drop), and saves a screenshot of the window while it plays
# and a recording of everything it played.
#   tools/run-headless.sh EXE [PATH...]   (paths default to the demo sounds)
set -euo pipefail
exe=$(realpath "$1"); shift || true
cd "$(dirname "$0")/.."
build=$(dirname "$exe")
out=$build/run
mkdir -p "$out"
if [ $# -eq 0 ]; then
    set -- "$build/demo/"
fi

# How long the sounds play: their lengths plus the player's pauses between them.
total=0
while IFS= read -r -d '' f; do
    d=$(soxi -D "$f" 2>/dev/null || echo 0)
    total=$(awk -v a="$total" -v b="$d" 'BEGIN { print a + b + 0.4 }')
done < <(find "$@" -type f \( -iname '*.wav' -o -iname '*.aif' -o -iname '*.aiff' -o -iname '*.mp3' \) \
           -not -path '*/.*' -print0)

env_dir=$(mktemp -d /tmp/velotune-run.XXXXXX)
cleanup() {
    [ -n "${rec_pid:-}" ] && kill "$rec_pid" 2>/dev/null || true
    [ -n "${app_pid:-}" ] && kill "$app_pid" 2>/dev/null || true
    bash tests/scripts/test-env.sh stop "$env_dir" >/dev/null 2>&1 || true
    rm -rf "$env_dir"
}
trap cleanup EXIT
bash tests/scripts/test-env.sh start "$env_dir"
# shellcheck disable=SC1091
. "$env_dir/env.sh"

parec -d out.monitor --file-format=wav --format=s16le --rate=44100 --channels=2 \
    "$out/recording.wav" &
rec_pid=$!
"$exe" "$@" &
app_pid=$!

for _ in $(seq 1 100); do
    id=$(xdotool search --onlyvisible --name '^Velotune 2.0$' 2>/dev/null | head -n1 || true)
    [ -n "$id" ] && break
    sleep 0.2
done
[ -n "${id:-}" ] || { echo "Velotune's window did not appear" >&2; exit 1; }
sleep 1.5
import -window "$id" "$out/screenshot.png"
echo "Velotune is playing $(printf '%s ' "$@")(about ${total%.*} s)..."
sleep "$(awk -v t="$total" 'BEGIN { print (t > 1.5 ? t - 1.5 : 0) + 1 }')"
xdotool windowfocus --sync "$id" key Escape >/dev/null 2>&1 || kill "$app_pid"
status=0
wait "$app_pid" || status=$?
app_pid=
kill "$rec_pid" 2>/dev/null || true
wait "$rec_pid" 2>/dev/null || true
rec_pid=
echo "Velotune ended with status $status."
echo "Screenshot: $out/screenshot.png"
echo "Recording:  $out/recording.wav"
echo "Log:        $out/velotune.txt"
cp "$HOME/Desktop/velotune.txt" "$out/velotune.txt" 2>/dev/null || true
exit "$status"
