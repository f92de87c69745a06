#!/usr/bin/env bash
# First sound after launch, CPU per second of playback and peak RSS: the program
# (its window on the test environment's Xvfb, stopped once its sound has ended)
# beside aplay, paplay, mpv and sox's play, all playing the same 10 s 44.1 kHz
# 16-bit stereo WAV through the same private sound server, measured with the
# measurement harness in bench/perf. Prints table rows on stdout, progress on stderr.
#   bash bench/players.sh BUILD_DIR      (inside tests/scripts/with-test-env.sh)
# BENCH_REPS (default 5): measured runs per player, after one warm-up each.
set -euo pipefail
build=$(cd "${1:-build}" && pwd)
here=$(cd "$(dirname "$0")" && pwd)
reps=${BENCH_REPS:-5}
work=$build/benchtmp/perf
export PERF_STATE=$work/state PERF_WORK=$work/work
rm -rf "$PERF_STATE"
mkdir -p "$PERF_STATE" "$PERF_WORK"
bash "$here/perf/from_test_env.sh" "$PERF_STATE"

inputs=$PERF_WORK/inputs
[ -s "$inputs/ref441.wav" ] || bash "$here/perf/gen_inputs.sh" "$inputs" >&2

python3 "$here/perf/calibrate.py" > "$work/calibrate.log" 2>&1
tail -n 1 "$work/calibrate.log" >&2

peers=()
if [ -x "$build/velotune" ]; then
    # As on a desktop: the accessibility bridge on (the test environment turns it off).
    peers+=(--peer "velotune=env -u NO_AT_BRIDGE $build/velotune {input}")
else
    echo "players.sh: $build/velotune not built; measuring the references only" >&2
fi
peers+=(--peer 'aplay=aplay -q {input}' --peer 'paplay=paplay {input}')
command -v mpv >/dev/null && peers+=(--peer 'mpv=mpv --no-video --really-quiet {input}')
peers+=(--peer 'play=play -q {input}')

out=$work/results/$(date -u +%Y%m%d-%H%M%S)
mkdir -p "$work/results"
# The program never ends by itself: one second after its sound has ended the
# harness sends it SIGTERM. The other players end at the end of the file first.
python3 "$here/perf/bench.py" --reps "$reps" --no-defaults --out "$out" \
    --input "wav441=$inputs/ref441.wav" "${peers[@]}" --stop-after-silence 1 > "$out.summary.md" ||
    echo "players.sh: the harness's summary failed; the table is made from its results" >&2
python3 "$here/players_table.py" "$out/results.jsonl"
