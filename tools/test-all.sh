#!/usr/bin/env bash
# `make test`: every suite in the plain build, under AddressSanitizer +
# UndefinedBehaviorSanitizer, and the thread-sensitive suites under
# ThreadSanitizer (tools/test.sh), one build folder after the other, printing the
# time and load at each step. The system tests play in real time and are timed
# against what is heard, so nothing else of this script runs beside them. A
# failed step skips the rest of its build folder; the other folders still run,
# and the script then fails.
set -uo pipefail
cd "$(dirname "$0")/.."
start=$(date +%s)
stamp() { echo "-- $(($(date +%s) - start)) s: $* (load $(cut -d' ' -f1-3 /proc/loadavg))"; }

failed=0
step() {  # description command...
    local what=$1
    shift
    stamp "$what"
    "$@" || { failed=1; stamp "FAILED: $what"; return 1; }
}

for run in plain:build address:build-asan thread:build-tsan; do
    mode=${run%%:*} dir=${run##*:}
    step "build $mode" bash tools/test.sh "$mode" "$dir" build &&
        step "unit and GUI suites $mode" bash tools/test.sh "$mode" "$dir" unit &&
        if [ "$mode" != thread ]; then
            step "system tests $mode" bash tools/test.sh "$mode" "$dir" system
        fi
done

if [ $failed != 0 ]; then
    stamp "make test FAILED"
    exit 1
fi
stamp "every suite passed"
