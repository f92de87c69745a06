#!/usr/bin/env bash
# CPU time per second of playback: the engine (reader + player + bus + ALSA
# driver) playing a 10 s 44.1 kHz 16-bit stereo WAV, beside aplay playing the
# same file through the same ALSA "default" in the same run (median of 3 each).
#   bash bench/playback.sh BUILD_DIR      (inside tests/scripts/with-test-env.sh)
set -euo pipefail
build=${1:-build}
runs=3
dir=$(mktemp -d /tmp/velotune-playback.XXXXXX)
trap 'rm -rf "$dir"' EXIT
wav=$dir/ten.wav
"$build/bench/playback_bench" make "$wav" 10

median() { sort -g | awk '{v[NR]=$1} END {print v[int((NR+1)/2)]}'; }

engine=() ref=()
for _ in $(seq $runs); do
    read -r secs _ cpu < <("$build/bench/playback_bench" play "$wav" 2>/dev/null)
    engine+=("$(awk -v c="$cpu" -v s="$secs" 'BEGIN {printf "%.5f", c / s}')")
    /usr/bin/time -f "%U %S" -o "$dir/time" aplay -q "$wav" 2>/dev/null
    ref+=("$(awk '{printf "%.5f", ($1 + $2) / 10}' "$dir/time")")
done
e=$(printf '%s\n' "${engine[@]}" | median)
r=$(printf '%s\n' "${ref[@]}" | median)
printf '%-44s %s\n' "what (10 s WAV, 44.1 kHz 16-bit stereo)" "CPU s per s of playback (median of $runs)"
printf '%-44s %s   (runs: %s)\n' "velotune engine (player+bus+ALSA driver)" "$e" "${engine[*]}"
printf '%-44s %s   (runs: %s)\n' "reference: aplay, same file, same ALSA" "$r" "${ref[*]}"
