#!/usr/bin/env bash
# Device enumeration time at start-up (median of 15 runs) and the IO thread's CPU
# time per second of playback of a silent source.
#   bash bench/enum.sh BUILD_DIR      (inside tests/scripts/with-test-env.sh)
set -euo pipefail
build=${1:-build}
"$build/bench/enum_bench" 15 5 2>/dev/null
