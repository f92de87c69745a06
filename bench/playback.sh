#!/usr/bin/env bash
# CPU time per second of playback: the engine (reader + player + bus + ALSA
# driver) playing a 10 s 44.1 kHz 16-bit stereo WAV, beside aplay playing the
# same file through the same ALSA "default" in the same run (3 runs each).
# Prints one table row on stdout, the detail on stderr.
#   bash bench/playback.sh BUILD_DIR      (inside tests/scripts/with-test-env.sh)
set -euo pipefail
build=${1:-build}
here=$(cd "$(dirname "$0")" && pwd)
runs=3
dir=$(mktemp -d /tmp/velotune-playback.XXXXXX)
trap 'rm -rf "$dir"' EXIT
wav=$dir/ten.wav
"$build/bench/playback_bench" make "$wav" 10 >&2

engine=() ref=()
for _ in $(seq $runs); do
    read -r secs _ cpu < <("$build/bench/playback_bench" play "$wav" 2>/dev/null)
    engine+=("$(awk -v c="$cpu" -v s="$secs" 'BEGIN {printf "%.5f", c / s}')")
    /usr/bin/time -f "%U %S" -o "$dir/time" aplay -q "$wav" 2>/dev/null
    ref+=("$(awk '{printf "%.5f", ($1 + $2) / 10}' "$dir/time")")
done
echo "playback.sh: engine CPU s per s: ${engine[*]}; aplay: ${ref[*]}" >&2
join() { local IFS=,; echo "$*"; }
python3 "$here/table.py" "CPU s per s of playback, engine alone (reader, player, bus, ALSA driver; no window)" 4 \
    "velotune=$(join "${engine[@]}")" "\`aplay\`, same file, same ALSA device=$(join "${ref[@]}")"
