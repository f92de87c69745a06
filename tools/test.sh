#!/usr/bin/env bash
# Configures, builds and runs the test suites in one build folder.
#   tools/test.sh plain|address|thread BUILD_DIR
# plain and address run every suite; thread runs the suites labelled "unit_tsan"
# and the GUI suites of the main window's threads.
set -euo pipefail
mode=$1 dir=$2
cd "$(dirname "$0")/.."
san=""
[ "$mode" != plain ] && san=$mode
cmake -S . -B "$dir" -G Ninja -DVELOTUNE_WERROR=ON -DVELOTUNE_SANITIZE="$san" >/dev/null
cmake --build "$dir" -j "$(nproc)"
export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1:abort_on_error=1}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}
export TSAN_OPTIONS=${TSAN_OPTIONS:-halt_on_error=1:second_deadlock_stack=1}
export LSAN_OPTIONS=${LSAN_OPTIONS:-suppressions=$PWD/tests/lsan.supp}
echo "== $mode tests ($dir) =="
# Every run gets its own private sound server and X server (tests/scripts).
# Unit and GUI suites run two at a time; the system tests, which play in real time
# through the sound server, run alone afterwards so no build or test starves them.
run() { bash tests/scripts/with-test-env.sh ctest --test-dir "$dir" --output-on-failure "$@"; }
if [ "$mode" = thread ]; then
    run -j 2 -L tsan
    # The main window's threads (its worker handing calls to the GUI thread, the
    # progress from the IO side) on a real window; the toolkit's own libraries
    # are not instrumented, so their reports are suppressed (tests/tsan.supp).
    TSAN_OPTIONS="$TSAN_OPTIONS:suppressions=$PWD/tests/tsan.supp" \
        run -j 1 -L gui -R "MainDlg|XWindowServices|AboutBox"
else
    run -j 2 -LE system
    run -j 1 -L system
fi
