#!/usr/bin/env bash
# Starts the program, drops a folder of sounds on its window by a real drag, and
# closes the window while a sound plays, CYCLES times (default 200). Every run
# must end with status 0 and without a sanitizer report on its standard error
# (build the tree with VELOTUNE_SANITIZE=address or thread to check the shutdown
# under AddressSanitizer or ThreadSanitizer: make test builds both).
#   bash tools/close-cycles.sh BUILD_DIR [CYCLES]
# Runs inside its own private sound server and X server (tests/scripts).
set -euo pipefail
cd "$(dirname "$0")/.."
build=$(cd "${1:-build}" && pwd)
cycles=${2:-200}
if [ -z "${VELOTUNE_TEST_ENV:-}" ]; then
    exec bash tests/scripts/with-test-env.sh bash tools/close-cycles.sh "$build" "$cycles"
fi
work=$(mktemp -d /tmp/velotune-close.XXXXXX)
trap 'rm -rf "$work"' EXIT
mkdir -p "$work/home/Desktop" "$work/sounds"
for i in 1 2 3; do
    sox -n -r 44100 -c 2 -b 16 "$work/sounds/tone$i.wav" synth 2 sine $((300 * i)) vol 0.3
done
export HOME=$work/home
export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1:abort_on_error=1}
# The toolkit's own leaks are suppressed (tests/lsan.supp) and not listed at exit:
# a program under test keeps its terminal quiet.
export LSAN_OPTIONS=${LSAN_OPTIONS:-suppressions=$PWD/tests/lsan.supp:print_suppressions=0}
export TSAN_OPTIONS=${TSAN_OPTIONS:-halt_on_error=1:suppressions=$PWD/tests/tsan.supp}
export VELOTUNE_DRAG_SOURCE=${VELOTUNE_DRAG_SOURCE:-$build/tests/drag_source}

playing() {  # whether the program has a stream at the sound server
    [ "$(pactl list sink-inputs short 2>/dev/null | wc -l)" -gt 0 ]
}

failed=0
slowest=0  # the longest time from Escape to the end of the process, ms
for c in $(seq 1 "$cycles"); do
    "$build/velotune" 2> "$work/stderr" &
    pid=$!
    id=""
    for _ in $(seq 1 200); do
        id=$(xdotool search --onlyvisible --name '^Velotune 2.0$' 2>/dev/null | head -n1) && [ -n "$id" ] && break
        sleep 0.05
    done
    if [ -z "$id" ]; then
        echo "cycle $c: no window"; failed=1; kill "$pid" 2>/dev/null; wait "$pid" || true; continue
    fi
    eval "$(xdotool getwindowgeometry --shell "$id")"
    bash tests/scripts/drag-files.sh $((X + 300)) $((Y + HEIGHT - 115)) "$work/sounds" >/dev/null 2>&1 ||
        echo "cycle $c: the drop was not taken"
    for _ in $(seq 1 100); do playing && break; sleep 0.05; done
    playing || echo "cycle $c: nothing played"
    # Close at a different moment of the sound each time.
    sleep "0.$(( (c * 37) % 10 ))"
    xdotool windowfocus --sync "$id" key Escape 2>/dev/null || true
    closed=$(date +%s%N)
    status=0
    for _ in $(seq 1 300); do kill -0 "$pid" 2>/dev/null || break; sleep 0.05; done
    took=$((($(date +%s%N) - closed) / 1000000))
    [ "$took" -gt "$slowest" ] && slowest=$took
    if kill -0 "$pid" 2>/dev/null; then
        echo "cycle $c: the program did not end"; kill -9 "$pid"; failed=1
    fi
    wait "$pid" || status=$?
    if [ "$status" -ne 0 ] || grep -qE "Sanitizer|runtime error" "$work/stderr"; then
        echo "cycle $c: status $status"; grep -E "Sanitizer|runtime error|SUMMARY" "$work/stderr" | head -5
        failed=1
    fi
    [ $((c % 20)) -eq 0 ] && echo "$c cycles"
done
if [ "$failed" -ne 0 ]; then
    echo "close-cycles: FAILED"
    exit 1
fi
echo "close-cycles: $cycles cycles, every one ended with status 0 and no sanitizer report;" \
    "the slowest ended ${slowest} ms after its Escape"
