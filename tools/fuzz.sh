#!/usr/bin/env bash
# The fuzzing campaign (`make fuzz`): builds the fuzz targets (build-fuzz, clang 14,
# libFuzzer + ASan + UBSan), writes their seed corpora and runs every target
# SECONDS seconds (default 60), two at a time. Each target's corpus is kept in
# build-fuzz/corpus/<target> and grows from run to run; the seeds and the kept
# inputs of fuzz/regressions/<target> are read as well. Fails when any target
# reports a finding, keeping the input that caused it (its path is printed).
# `make test` does not fuzz: it replays every seed and kept input (tests/fuzz).
# See fuzz/README.md.
#   tools/fuzz.sh [SECONDS]
set -euo pipefail
seconds=${1:-60}
cd "$(dirname "$0")/.."
root=$PWD
dir=$root/build-fuzz

cmake -S fuzz -B "$dir" -G Ninja -DCMAKE_CXX_COMPILER=clang++-14 >/dev/null
nice -n 10 cmake --build "$dir" -j 2

rm -rf "$dir/seeds"
"$dir/make_seeds" "$dir/seeds"

export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1:abort_on_error=1:allocator_may_return_null=0}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1:abort_on_error=1}
export LSAN_OPTIONS=${LSAN_OPTIONS:-suppressions=$root/fuzz/lsan.supp}

# target:max_len. Sound files a few kilobytes (the MP3 and Ogg seeds are ~2-4 KB),
# URI lists a few paths of up to 500 bytes, key scripts a few hundred actions.
targets=(snd_wav:4096 snd_aif:4096 snd_mac:8192 droplist:2048 editbox:1024)

# One run: new inputs go to the target's kept corpus (the seeds and the kept
# regression inputs are only read), artifacts to its findings folder, the log
# beside them.
run_one() {
    local name=${1%%:*} max_len=${1##*:}
    local work=$dir/runs/$name corpus=$dir/corpus/$name
    rm -rf "$work/findings" "$work/log"
    mkdir -p "$work/findings" "$corpus"
    local inputs=("$corpus" "$dir/seeds/$name")
    [ -d "$root/fuzz/regressions/$name" ] && inputs+=("$root/fuzz/regressions/$name")
    local rc=0
    (cd "$work" && "$dir/${name}_fuzz" -max_total_time="$seconds" -max_len="$max_len" \
        -timeout=25 -rss_limit_mb=2048 -print_final_stats=1 \
        -artifact_prefix="$work/findings/" "${inputs[@]}" >log 2>&1) || rc=$?
    if [ $rc -ne 0 ]; then
        echo "FINDING in $name (exit $rc), log: $work/log"
        grep -E "^(==[0-9]+==ERROR|SUMMARY|.*runtime error)" "$work/log" | head -5 || true
        ls -1 "$work/findings/"* 2>/dev/null | sed 's/^/  input: /'
        echo "  once fixed, keep it: copy it into fuzz/regressions/$name/ and commit it"
        return 1
    fi
    local runs
    runs=$(grep -E "^stat::number_of_executed_units" "$work/log" | awk '{print $2}')
    echo "ok $name: ${runs:-?} inputs in ${seconds}s, corpus $(ls "$corpus" | wc -l) files"
}

echo "== fuzzing ${#targets[@]} targets, ${seconds}s each, two at a time =="
failed=0
pids=()
names=()
for t in "${targets[@]}"; do
    run_one "$t" &
    pids+=($!)
    names+=("${t%%:*}")
    # Two at a time: wait for the older of the two running jobs.
    if [ ${#pids[@]} -eq 2 ]; then
        wait "${pids[0]}" || failed=1
        pids=("${pids[1]}")
    fi
done
for p in "${pids[@]}"; do wait "$p" || failed=1; done
if [ $failed -ne 0 ]; then
    echo "fuzzing found problems (inputs kept under $dir/runs/*/findings)"
    exit 1
fi
echo "fuzzing found nothing"
