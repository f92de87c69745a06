#!/usr/bin/env bash
# A drop to the first sound: the program is launched with a 10 s WAV on its
# command line, which it takes as a drop once its window is ready; it writes the
# drop's CLOCK_MONOTONIC time into VELOTUNE_DROP_TIME_FILE, and the measurement
# harness (bench/perf) times the first audible frame at the sink from there. The
# reference is aplay's launch to first sound, the shortest path through ALSA.
# Prints one table row on stdout, progress on stderr.
#   bash bench/drop.sh BUILD_DIR      (inside tests/scripts/with-test-env.sh)
# BENCH_REPS (default 5): measured runs of each, after one warm-up each.
set -euo pipefail
build=$(cd "${1:-build}" && pwd)
here=$(cd "$(dirname "$0")" && pwd)
reps=${BENCH_REPS:-5}
work=$build/benchtmp/drop
export PERF_STATE=$work/state PERF_WORK=$work/work
rm -rf "$work"
mkdir -p "$PERF_STATE" "$PERF_WORK"
bash "$here/perf/from_test_env.sh" "$PERF_STATE"
inputs=$PERF_WORK/inputs
bash "$here/perf/gen_inputs.sh" "$inputs" >&2
python3 "$here/perf/calibrate.py" > "$work/calibrate.log" 2>&1
input=$inputs/ref441.wav

ttfa() {  # the ttfa_ms of one JSON result on stdin, or nothing
    python3 -c 'import json,sys
r = json.loads(sys.stdin.read().strip().splitlines()[-1])
v = r.get("ttfa_ms")
print("" if v is None else v)'
}
ours=() theirs=()
for i in $(seq 0 "$reps"); do
    stamp=$work/drop-$i.txt
    rm -f "$stamp"
    v=$(python3 "$here/perf/measure.py" --input "$input" --stop-after-silence 1 \
            --trigger-file "$stamp" --env "VELOTUNE_DROP_TIME_FILE=$stamp" \
            -- "$build/velotune" {input} 2>>"$work/measure.log" | ttfa || true)
    a=$(python3 "$here/perf/measure.py" --input "$input" -- aplay -q {input} \
            2>>"$work/measure.log" | ttfa || true)
    echo "drop run $i: velotune ${v:-none} ms, aplay ${a:-none} ms" >&2
    [ "$i" -eq 0 ] && continue  # warm-up
    [ -n "$v" ] && ours+=("$v")
    [ -n "$a" ] && theirs+=("$a")
done
join() { local IFS=,; echo "$*"; }
python3 "$here/table.py" "a drop (command-line paths, taken once the window is ready) to the first sound at the sink, ms" 1 \
    "velotune=$(join "${ours[@]}")" "\`aplay\` launch to first sound=$(join "${theirs[@]}")"
