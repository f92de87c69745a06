#!/usr/bin/env bash
# Plays a long tone through the engine alone (bench/playback_bench: reader,
# player, bus, ALSA driver) and records the sink, then prints the driver's
# underrun count and every run of 2 ms or more of silence inside the recorded
# tone. Run it beside a parallel build to see what a busy machine costs:
#   bash tools/long-playback.sh BUILD_DIR [SECONDS]     (default 600)
# Runs inside its own private sound server (tests/scripts).
set -euo pipefail
cd "$(dirname "$0")/.."
build=$(cd "${1:-build}" && pwd)
secs=${2:-600}
if [ -z "${VELOTUNE_TEST_ENV:-}" ]; then
    exec bash tests/scripts/with-test-env.sh bash tools/long-playback.sh "$build" "$secs"
fi
work=$(mktemp -d /tmp/velotune-long.XXXXXX)
trap 'kill "${rec:-}" 2>/dev/null || true; rm -rf "$work"' EXIT
"$build/bench/playback_bench" make "$work/tone.wav" "$secs"
rt=
chrt -f 20 true 2>/dev/null && rt='chrt -f 20'
$rt parec -d out.monitor --raw --format=s16le --rate=44100 --channels=2 --latency-msec=20 \
    > "$work/rec.raw" &
rec=$!
sleep 3
echo "load before: $(cut -d' ' -f1-3 /proc/loadavg)"
"$build/bench/playback_bench" play "$work/tone.wav" |
    awk '{print "played " $1 " s in " $2 " s, CPU " $3 " s, underruns counted by the driver: " $4}'
echo "load after: $(cut -d' ' -f1-3 /proc/loadavg)"
sleep 1
kill "$rec"
wait "$rec" 2>/dev/null || true
python3 - "$work/rec.raw" <<'PY'
import sys
data = open(sys.argv[1], 'rb').read()
silent = b'\0\0\0\0'
i = 0
while i < len(data) and data[i:i + 4] == silent:
    i += 4
j = len(data)
while j > i and data[j - 4:j] == silent:
    j -= 4
gaps = []
k = data.find(silent * 88, i, j)  # 2 ms of exact stereo silence
while k != -1:
    e = k
    while e < j and data[e:e + 4] == silent:
        e += 4
    gaps.append('%.3f s (%d frames)' % ((k - i) / 4 / 44100, (e - k) // 4))
    k = data.find(silent * 88, e, j)
print('recorded %.1f s of tone; silences of 2 ms or more inside it: %d%s'
      % ((j - i) / 4 / 44100, len(gaps), (': ' + ', '.join(gaps)) if gaps else ''))
PY
