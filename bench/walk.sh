#!/usr/bin/env bash
# Folder walk rate: MainDlg::PlayFolder over a generated tree of 100,000 entries
# (420 folders, the rest empty non-sound files) beside `find` over the same tree,
# interleaved, after one warm-up of each. Prints one table row on stdout.
#   bash bench/walk.sh BUILD_DIR
# BENCH_WALK_REPS (default 5): measured walks of each.
set -euo pipefail
build=$(cd "${1:-build}" && pwd)
here=$(cd "$(dirname "$0")" && pwd)
reps=${BENCH_WALK_REPS:-5}
entries=100000
tree=$build/benchtmp/walk-tree
if [ "$(cat "$tree.count" 2>/dev/null)" != "$entries" ]; then
    rm -rf "$tree" "$tree.count"
    echo "walk.sh: making a tree of $entries entries in $tree" >&2
    python3 - "$tree" "$entries" <<'PY'
import os, sys
root, total = sys.argv[1], int(sys.argv[2])
tops, subs = 20, 20
leaves = []
for t in range(tops):
    for s in range(subs):
        d = os.path.join(root, 'bank-%02d' % t, 'take-%02d' % s)
        os.makedirs(d)
        leaves.append(d)
folders = tops + tops * subs
exts = ['txt', 'png', 'dat', 'mid', 'flac', 'json']
for i in range(total - folders):
    open(os.path.join(leaves[i % len(leaves)], 'clip-%06d.%s' % (i, exts[i % len(exts)])), 'w').close()
PY
    echo "$entries" > "$tree.count"
fi
# Entries below the root, as find lists them (the root itself not counted).
count=$(find "$tree" -mindepth 1 | wc -l)

find_s() {
    local t0 t1
    t0=$(date +%s%N)
    find "$tree" > /dev/null
    t1=$(date +%s%N)
    awk -v n=$((t1 - t0)) 'BEGIN {printf "%.6f", n / 1e9}'
}

ours=() ref=()
if [ -x "$build/bench/walk_bench" ]; then
    "$build/bench/walk_bench" "$tree" 1 > /dev/null  # warm-up
fi
find_s > /dev/null  # warm-up
for _ in $(seq "$reps"); do
    if [ -x "$build/bench/walk_bench" ]; then
        ours+=("$("$build/bench/walk_bench" "$tree" 1 | awk '{print $2}')")
    fi
    ref+=("$(find_s)")
done
rate() {  # entries per second for each time given, as a comma list (thousands)
    printf '%s\n' "$@" | awk -v n="$count" 'NF {printf "%s%.1f", (NR > 1 ? "," : ""), n / $1 / 1000}'
}
echo "walk.sh: $count entries; PlayFolder s: ${ours[*]:-not built}; find s: ${ref[*]}" >&2
python3 "$here/table.py" "folder walk, thousand entries per s ($count entries, 420 folders, no sounds; page cache warm)" 1 \
    "velotune=$(rate "${ours[@]}")" "\`find DIR\` (process start included)=$(rate "${ref[@]}")"
