#!/usr/bin/env bash
# Device enumeration time at start-up (every one of 15 runs) beside `aplay -L`
# listing ALSA's devices through the same configuration (process start-up
# included), and the IO thread's CPU time per second of playback of a silent
# source (detail only). Prints one table row on stdout, the detail on stderr.
#   bash bench/enum.sh BUILD_DIR      (inside tests/scripts/with-test-env.sh)
set -euo pipefail
build=${1:-build}
here=$(cd "$(dirname "$0")" && pwd)
runs=15
out=$("$build/bench/enum_bench" "$runs" 5 2>/dev/null)
echo "$out" >&2
ours=$(echo "$out" | sed -n 's/^enumeration ms of every run: //p')
more=$(echo "$out" | sed -n 's/^listing of the other devices ms of every run: //p')
ref=""
for _ in $(seq "$runs"); do
    t0=$(date +%s%N)
    aplay -L > /dev/null 2>&1
    t1=$(date +%s%N)
    ref+="${ref:+,}$(awk -v n=$((t1 - t0)) 'BEGIN {printf "%.3f", n / 1e6}')"
done
python3 "$here/table.py" "ALSA device enumeration before the device opens (\"default\" alone), ms" 1 \
    "velotune=$ours" "\`aplay -L\` (process start included)=$ref"
python3 "$here/table.py" "listing the other ALSA devices (3 s after the start, behind everything else), ms" 1 \
    "velotune=$more" "\`aplay -L\` (process start included)=$ref"
