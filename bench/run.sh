#!/usr/bin/env bash
# `make bench`: runs the benchmark scripts inside one private sound server and X
# server (tests/scripts/with-test-env.sh) and prints ONE table of their figures,
# each beside references measured in the same run on the same files. Progress and
# detail go to stderr; the table also goes to BUILD/benchtmp/table.md.
#   bash bench/run.sh [BUILD_DIR]
# Repetitions: BENCH_REPS (players, default 5), BENCH_WINDOW_REPS (10),
# BENCH_WALK_REPS (5), BENCH_DECODE_REPS (5). BENCH_ONLY="window walk" runs a subset.
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build}
if [ -z "${VELOTUNE_TEST_ENV:-}" ]; then
    exec bash tests/scripts/with-test-env.sh bash bench/run.sh "$build"
fi
scripts=${BENCH_ONLY:-players drop response window walk decode enum playback}
mkdir -p "$build/benchtmp"
rows=$build/benchtmp/rows.md
: > "$rows"
started=$(date -u '+%Y-%m-%d %H:%M UTC')
load0=$(cut -d' ' -f1-3 /proc/loadavg)
for s in $scripts; do
    echo "== bench/$s.sh ==" >&2
    if ! bash "bench/$s.sh" "$build" >> "$rows"; then
        echo "| bench/$s.sh failed (see its output above) | | |" >> "$rows"
    fi
done
load1=$(cut -d' ' -f1-3 /proc/loadavg)
table=$build/benchtmp/table.md
{
    echo "| measure | Velotune | references, same run, same files |"
    echo "|---|---|---|"
    cat "$rows"
    echo
    echo "Median (min–max, n = runs) of each figure. Run $started on $(nproc) cores;"
    echo "load average at the start $load0, at the end $load1. Method and error bars: bench/README.md."
} > "$table"
echo
cat "$table"
