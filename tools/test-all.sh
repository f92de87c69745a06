#!/usr/bin/env bash
# `make test`: every suite in the plain build, under AddressSanitizer +
# UndefinedBehaviorSanitizer, and the thread-sensitive suites under
# ThreadSanitizer (tools/test.sh), in two lanes so that two cores stay busy:
#
#   compute lane: build plain, unit+GUI plain, build ASan, unit+GUI ASan,
#                 build TSan, TSan suites
#   sound lane:   system tests plain (once the plain unit and GUI suites passed),
#                 then system tests ASan (once the ASan unit and GUI suites passed)
#
# The system tests play in real time through a private sound server and use
# little CPU, so the compute lane goes on beside them at the lowest priority
# (nice 19): a waking test thread always gets a core at once. Each run has its
# own sound server and X server (tests/scripts/with-test-env.sh). The sound
# lane's output is shown when each of its runs ends. Fails if any step fails.
set -uo pipefail
cd "$(dirname "$0")/.."
logs=$(mktemp -d /tmp/velotune-test-all.XXXXXX)
trap 'rm -rf "$logs"' EXIT
start=$(date +%s)
stamp() { echo "-- $(($(date +%s) - start)) s: $* (load $(cut -d' ' -f1-3 /proc/loadavg))"; }

# Runs the system tests of one build folder in the background once $1 exists.
sound_lane_pid=""
system_tests() {  # mode dir
    local mode=$1 dir=$2
    (
        rc=0
        bash tools/test.sh "$mode" "$dir" system > "$logs/system-$mode.log" 2>&1 || rc=$?
        echo "$rc" > "$logs/system-$mode.rc"
    ) &
    sound_lane_pid=$!
}
# Waits for the sound lane's run and shows its output; false when it failed.
wait_system() {  # mode
    local mode=$1
    [ -n "$sound_lane_pid" ] || return 0
    wait "$sound_lane_pid" 2>/dev/null || true
    sound_lane_pid=""
    cat "$logs/system-$mode.log"
    stamp "system tests $mode ended"
    [ "$(cat "$logs/system-$mode.rc" 2>/dev/null || echo 1)" = 0 ]
}

failed=0
step() {  # description command...
    local what=$1
    shift
    stamp "$what"
    "$@" || { failed=1; stamp "FAILED: $what"; }
    return 0
}

step "build plain" bash tools/test.sh plain build build
[ $failed = 0 ] && step "unit and GUI suites plain" bash tools/test.sh plain build unit
[ $failed = 0 ] && system_tests plain build
[ $failed = 0 ] && step "build ASan" nice -n 19 bash tools/test.sh address build-asan build
[ $failed = 0 ] && step "unit and GUI suites ASan" nice -n 19 bash tools/test.sh address build-asan unit
wait_system plain || failed=1
[ $failed = 0 ] && system_tests address build-asan
[ $failed = 0 ] && step "build TSan" nice -n 19 bash tools/test.sh thread build-tsan build
[ $failed = 0 ] && step "TSan suites" nice -n 19 bash tools/test.sh thread build-tsan unit
wait_system address || failed=1

if [ $failed != 0 ]; then
    stamp "make test FAILED"
    exit 1
fi
stamp "every suite passed"
