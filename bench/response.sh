#!/usr/bin/env bash
# Response of the program in its real window (bench/response.py): a real drag and
# drop onto the idle window to the first sound, the silence between consecutive
# sounds of a walk, a click on Next to the fade-out and to the next sound, and CPU
# with the window open (idle, and playing with the bar moving). Prints table rows
# on stdout, progress on stderr.
#   bash bench/response.sh BUILD_DIR      (inside tests/scripts/with-test-env.sh)
# BENCH_REPS (default 5): measured runs of each, after one warm-up.
set -euo pipefail
build=$(cd "${1:-build}" && pwd)
here=$(cd "$(dirname "$0")" && pwd)
reps=${BENCH_REPS:-5}
work=$build/benchtmp/response
export PERF_STATE=$work/state PERF_WORK=$work/work
rm -rf "$work"
mkdir -p "$PERF_STATE" "$PERF_WORK"
bash "$here/perf/from_test_env.sh" "$PERF_STATE"
python3 "$here/perf/calibrate.py" > "$work/calibrate.log" 2>&1
tail -n 1 "$work/calibrate.log" >&2

out=$work/results.jsonl
: > "$out"
for what in ${RESPONSE_ONLY:-drop gaps next cpu}; do
    echo "== response.py $what ==" >&2
    python3 "$here/response.py" "$what" "$build" "$reps" >> "$out" || echo "response.py $what failed" >&2
done

row() {  # row NAME TITLE PRECISION
    python3 - "$out" "$@" <<'PY'
import json, subprocess, sys
out, name, title, prec = sys.argv[1], sys.argv[2], sys.argv[3], sys.argv[4]
for line in open(out):
    r = json.loads(line)
    if r['row'] != name:
        continue
    args = ['velotune=' + ','.join('%.3f' % v for v in r['ours'])]
    args += ['%s=%s' % (k, ','.join('%.3f' % v for v in vs)) for k, vs in r['refs'].items()]
    subprocess.run([sys.executable, __import__('os').environ['TABLE'], title, prec] + args, check=True)
PY
}
export TABLE=$here/table.py
row drop "a real drag and drop of a file onto the idle open window to its first sound at the sink, ms" 1
row gaps "silence between consecutive sounds of a folder (tones that hold none), ms" 1
row next-fade "a click on Next to the start of the fade-out at the sink, ms" 1
row next-sound "the end of the fade-out to the next sound at the sink, ms" 1
row cpu-idle "CPU ms per s, the window open and idle (after its start)" 2
row cpu-playing "CPU ms per s while a sound plays, the window open and its bar moving" 2
