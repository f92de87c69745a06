#!/usr/bin/env bash
# `make soak`: a long run of the program as a user drives it, then checks that it
# is still well.
#
#   tools/soak.sh [BUILD_DIR]
#
# 1. Makes a tree of 2,000 short sounds (0.3 s; WAV 16-bit 44.1 kHz, WAV 24-bit
#    48 kHz, AIFF 16-bit, MP3 128 kbit/s) and 20,000 other files (text, pictures,
#    data, a few hidden sounds) in 20 folders with nested subfolders.
# 2. Starts the private sound server and Xvfb (tests/scripts/test-env.sh), a
#    recorder on the sink, and one instance of the program.
# 3. For SOAK_MINUTES (default 10): drops a folder, a few single sounds or a mix on
#    the window with tests/scripts/drag-files.sh every few seconds, and between
#    drops clicks "next" or "stop" (view coordinates (240, 97) and (120, 97), the
#    view lying below the menu bar: view top = window height - 135). The
#    program's RSS is read from /proc every second.
# 4. Checks: a click on the volume toggle changes the window's picture; Escape
#    ends the program with status 0; after the warm-up (SOAK_WARMUP_S, default a
#    fifth of the run, at least 30 s) the RSS never exceeds the warm-up's peak by
#    more than SOAK_RSS_BOUND_KB (default 16384); the recording holds sound; the
#    log holds no error line (a "***" line other than the banner, the audio
#    bus's call trace and the driver's underrun count, or a line speaking of an
#    error, failure or exception) and the driver's count of 0 underruns.
# Prints the figures; exit status 0 only when every check passed. Everything it
# makes stays in BUILD_DIR/soak (the tree is kept for the next run).
set -euo pipefail
cd "$(dirname "$0")/.."
build=$(cd "${1:-build}" && pwd)
minutes=${SOAK_MINUTES:-10}
bound_kb=${SOAK_RSS_BOUND_KB:-16384}
exe=$build/velotune
export VELOTUNE_DRAG_SOURCE=${VELOTUNE_DRAG_SOURCE:-$build/tests/drag_source}
for f in "$exe" "$VELOTUNE_DRAG_SOURCE"; do
    [ -x "$f" ] || { echo "soak: $f is not built (cmake --build $build)" >&2; exit 1; }
done
for t in sox lame parec xdotool import compare python3; do
    command -v "$t" >/dev/null || { echo "soak: $t is missing (make deps)" >&2; exit 1; }
done

work=$build/soak
tree=$work/tree
mkdir -p "$work"

# ---- 1. the tree ------------------------------------------------------------
make_tree() {
    rm -rf "$tree" "$work/templates"
    mkdir -p "$tree" "$work/templates"
    local t=$work/templates i f
    # Twelve distinct sounds (a tone each, 0.3 s, short fades so that the ends
    # do not click); every sound in the tree is a copy of one of them.
    for i in 0 1 2; do
        f=$((330 + 110 * i))
        sox -n -r 44100 -b 16 -c 2 "$t/w16-$i.wav" synth 0.3 sine "$f" fade 0.01 0.3 0.01 vol 0.5
        sox -n -r 48000 -b 24 -c 2 "$t/w24-$i.wav" synth 0.3 sine $((f + 55)) fade 0.01 0.3 0.01 vol 0.5
        sox -n -r 44100 -b 16 -c 1 "$t/a16-$i.aiff" synth 0.3 sine $((f + 27)) fade 0.01 0.3 0.01 vol 0.5
        sox -n -r 44100 -b 16 -c 2 "$t/m-$i.wav" synth 0.3 sine $((f + 82)) fade 0.01 0.3 0.01 vol 0.5
        lame --quiet -b 128 --cbr "$t/m-$i.wav" "$t/m128-$i.mp3"
        rm "$t/m-$i.wav"
    done
    python3 - "$tree" "$t" <<'PY'
import os, shutil, sys
tree, tpl = sys.argv[1], sys.argv[2]
sounds = sorted(os.listdir(tpl))          # 12 templates, 4 kinds x 3 tones
exts = ['txt', 'png', 'json', 'dat', 'mid', 'flac', 'wav.bak', 'doc']
folders = 20
for k in range(folders):
    top = os.path.join(tree, 'pack-%02d' % k)
    sub = os.path.join(top, 'layers', 'extra')
    docs = os.path.join(top, 'docs')
    for d in (sub, docs):
        os.makedirs(d)
    # 100 sounds per folder: 60 at the top, 40 in the nested subfolder
    for i in range(100):
        src = sounds[(k * 100 + i) % len(sounds)]
        ext = src.rsplit('.', 1)[1]
        # letter case of extensions varies, as on real sample discs
        if i % 7 == 3:
            ext = ext.upper()
        where = top if i < 60 else sub
        shutil.copyfile(os.path.join(tpl, src), os.path.join(where, 'hit %02d-%03d.%s' % (k, i, ext)))
    # 1,000 other files per folder, most in docs/, some beside the sounds
    for i in range(1000):
        where = docs if i % 5 else top
        name = 'note-%02d-%04d.%s' % (k, i, exts[i % len(exts)])
        if i % 250 == 0:
            name = '.hidden-%02d-%04d.wav' % (k, i)   # hidden: never offered
        with open(os.path.join(where, name), 'w') as f:
            f.write('not a sound %d\n' % i)
PY
    echo 2000 > "$tree.done"
}
if [ "$(cat "$tree.done" 2>/dev/null)" != 2000 ]; then
    echo "soak: making the tree in $tree" >&2
    make_tree
fi
n_sounds=$(find "$tree" -type f \( -iname '*.wav' -o -iname '*.aiff' -o -iname '*.mp3' \) ! -name '.*' | wc -l)
n_other=$(find "$tree" -type f | wc -l)
n_other=$((n_other - n_sounds))

# ---- 2. environment, recorder, program ----------------------------------------
env_dir=$work/env
rm -rf "$env_dir" "$work/run"
mkdir -p "$work/run"
run=$work/run
rec_pid="" app_pid="" rss_pid=""
cleanup() {
    local p
    for p in $rss_pid $app_pid $rec_pid; do
        kill -TERM "$p" 2>/dev/null || true
    done
    for p in $rss_pid $app_pid $rec_pid; do
        wait "$p" 2>/dev/null || true
    done
    bash tests/scripts/test-env.sh stop "$env_dir" || true
}
trap cleanup EXIT
trap 'exit 130' INT TERM
bash tests/scripts/test-env.sh start "$env_dir"
# shellcheck disable=SC1091
. "$env_dir/env.sh"
log=$HOME/Desktop/velotune.txt

parec -d out.monitor --raw --format=s16le --rate=44100 --channels=2 --latency-msec=50 \
    > "$run/sink.raw" 2> "$run/parec.err" &
rec_pid=$!

"$exe" > "$run/program.out" 2>&1 &
app_pid=$!
t_start=$(date +%s)

# RSS every second: "<seconds since start> <VmRSS kB>".
(
    while rss=$(awk '/^VmRSS:/ {print $2}' "/proc/$app_pid/status" 2>/dev/null) && [ -n "$rss" ]; do
        echo "$(($(date +%s) - t_start)) $rss"
        sleep 1
    done
) > "$run/rss.txt" &
rss_pid=$!

wid=""
for _ in $(seq 1 100); do
    wid=$(xdotool search --onlyvisible --name '^Velotune 2.0$' 2>/dev/null | head -n1) || true
    [ -n "$wid" ] && break
    kill -0 "$app_pid" 2>/dev/null || break
    sleep 0.2
done
[ -n "$wid" ] || { echo "soak: the window did not appear" >&2; cat "$run/program.out" >&2; exit 1; }

geometry() {  # sets gx gy gw gh
    local out
    out=$(xdotool getwindowgeometry --shell "$wid")
    gx=$(sed -n 's/^X=//p' <<< "$out") gy=$(sed -n 's/^Y=//p' <<< "$out")
    gw=$(sed -n 's/^WIDTH=//p' <<< "$out") gh=$(sed -n 's/^HEIGHT=//p' <<< "$out")
}
# Clicks button 1 at view point ($1, $2); the pointer first steps one pixel
# aside, since a --sync move to where it already is would never return.
click_view() {
    geometry
    local x=$((gx + $1)) y=$((gy + gh - 135 + $2))
    xdotool mousemove --sync $((x + 1)) "$y" mousemove --sync "$x" "$y" click 1
}

# ---- 3. the run -------------------------------------------------------------------
mapfile -t packs < <(find "$tree" -mindepth 1 -maxdepth 1 -type d | sort)
mapfile -t singles < <(find "$tree" -type f \( -iname '*.wav' -o -iname '*.aiff' -o -iname '*.mp3' \) \
    ! -name '.*' | sort)
end=$((t_start + minutes * 60))
drops=0 drops_failed=0 clicks_next=0 clicks_stop=0 cycle=0
RANDOM=7
echo "soak: $minutes min; $n_sounds sounds and $n_other other files; window $wid" >&2
while [ "$(date +%s)" -lt "$end" ]; do
    kill -0 "$app_pid" 2>/dev/null || { echo "soak: the program ended during the run" >&2; break; }
    geometry
    # Drop point: the middle of the window, clear of the drag source's corner.
    dx=$((gx + gw / 2)) dy=$((gy + gh / 2))
    case $((cycle % 4)) in
    0 | 2) paths=("${packs[$((RANDOM % ${#packs[@]}))]}/") ;;                       # a folder
    1) paths=("${singles[$((RANDOM % ${#singles[@]}))]}" "${singles[$((RANDOM % ${#singles[@]}))]}"
        "${singles[$((RANDOM % ${#singles[@]}))]}") ;;                              # three sounds
    3) paths=("${packs[$((RANDOM % ${#packs[@]}))]}/layers" "${singles[$((RANDOM % ${#singles[@]}))]}") ;;
    esac
    drops=$((drops + 1))
    if ! bash tests/scripts/drag-files.sh "$dx" "$dy" "${paths[@]}" 2>> "$run/drag.err"; then
        drops_failed=$((drops_failed + 1))
    fi
    sleep $((1 + RANDOM % 3))
    if [ $((cycle % 3)) -eq 2 ]; then
        click_view 120 97 && clicks_stop=$((clicks_stop + 1))
    else
        click_view 240 97 && clicks_next=$((clicks_next + 1))
        sleep 1
        click_view 240 97 && clicks_next=$((clicks_next + 1))
    fi
    sleep $((1 + RANDOM % 2))
    cycle=$((cycle + 1))
done
run_s=$(($(date +%s) - t_start))

# ---- 4. checks ----------------------------------------------------------------------
fails=()
alive=no
kill -0 "$app_pid" 2>/dev/null && alive=yes
[ "$alive" = yes ] || fails+=("the program ended during the run")

# Responds: a click on the volume toggle (view (273, 96)) changes its picture.
changed=no
if [ "$alive" = yes ]; then
    sleep 1
    import -window "$wid" -depth 8 "$run/before.png"
    click_view 273 96 || true
    sleep 1
    import -window "$wid" -depth 8 "$run/after.png"
    diff_px=$(compare -metric AE "$run/before.png" "$run/after.png" null: 2>&1 || true)
    [ "${diff_px%% *}" != 0 ] && [ -n "$diff_px" ] && changed=yes
    [ "$changed" = yes ] || fails+=("a click on the volume toggle did not change the window")
fi

# Ends with status 0 on Escape.
exit_status=none
if [ "$alive" = yes ]; then
    xdotool windowfocus --sync "$wid" key Escape || true
    for _ in $(seq 1 100); do
        kill -0 "$app_pid" 2>/dev/null || break
        sleep 0.1
    done
    if kill -0 "$app_pid" 2>/dev/null; then
        exit_status="still running 10 s after Escape"
    else
        wait "$app_pid" && exit_status=0 || exit_status=$?
    fi
    app_pid=""
fi
[ "$exit_status" = 0 ] || fails+=("Escape did not end the program with status 0 ($exit_status)")
kill -TERM "$rss_pid" 2>/dev/null || true
wait "$rss_pid" 2>/dev/null || true
rss_pid=""
sleep 0.5
kill -TERM "$rec_pid" 2>/dev/null || true
wait "$rec_pid" 2>/dev/null || true
rec_pid=""

warmup=${SOAK_WARMUP_S:-$((run_s / 5 > 30 ? run_s / 5 : 30))}
read -r rss_first rss_warm rss_peak rss_last slope n_rss < <(awk -v w="$warmup" '
    NR == 1 {first = $2}
    $1 <= w && $2 > warm {warm = $2}
    $1 > w {if ($2 > peak) peak = $2; n++; sx += $1; sy += $2; sxx += $1 * $1; sxy += $1 * $2}
    {last = $2}
    END {
        d = n * sxx - sx * sx; slope = (n > 1 && d != 0) ? (n * sxy - sx * sy) / d * 60 : 0;
        printf "%d %d %d %d %.1f %d\n", first, warm, peak, last, slope, n }' "$run/rss.txt")
growth=$((rss_peak > rss_warm ? rss_peak - rss_warm : 0))
[ "$n_rss" -gt 0 ] || fails+=("no RSS samples after the warm-up")
[ "$growth" -le "$bound_kb" ] ||
    fails+=("RSS grew by $growth kB after the warm-up (bound $bound_kb kB)")

# Sound: seconds of the recording whose peak reaches -40 dBFS.
read -r rec_s loud_s < <(python3 - "$run/sink.raw" <<'PY'
import array, sys
rate, thr = 44100, int(32768 * 10 ** (-40 / 20))
total = loud = 0
with open(sys.argv[1], 'rb') as f:
    while True:
        b = f.read(rate * 4)
        if len(b) < 4:
            break
        a = array.array('h', b[:len(b) // 2 * 2])
        total += 1
        if max(a) >= thr or -min(a) >= thr:
            loud += 1
print(total, loud)
PY
)
[ "$loud_s" -gt 0 ] || fails+=("the recording holds no sound")

# Error lines: "***" lines other than the banner's rows of stars and the audio
# engine's own call trace ("*** AudioBus::Start() ***" and the like), which every
# run writes, and any line speaking of an error, failure or exception.
log_lines=$(wc -l < "$log" 2>/dev/null || echo 0)
is_error_line() {
    grep -E '\*\*\*|[Ee]rror|[Ff]ail|[Ee]xception|[Cc]annot' "$log" 2>/dev/null |
        grep -v -E '^\*+$|^\*\*\* AudioBus::[A-Za-z]+\([^)]*\) \*\*\*$|^\*\*\* AudioDevCore: [0-9]+ underruns \*\*\*$' || true
}
# Underruns: the driver logs its count when it closes, at the program's end.
underruns=$(sed -n 's/^\*\*\* AudioDevCore: \([0-9]*\) underruns \*\*\*$/\1/p' "$log" 2>/dev/null | tail -n1)
[ -n "$underruns" ] || fails+=("the log holds no underrun count")
[ "${underruns:-0}" -eq 0 ] || fails+=("$underruns underruns")
is_error_line > "$run/log-errors.txt"
err_lines=$(wc -l < "$run/log-errors.txt")
cp "$log" "$run/velotune.txt" 2>/dev/null || true
[ -f "$log" ] || fails+=("no log at $log")
[ "${err_lines:-0}" -eq 0 ] ||
    fails+=("$err_lines error lines in the log, the first: $(head -n1 "$run/log-errors.txt")")

echo
echo "soak figures"
printf '  %-44s %s\n' \
    "run" "$run_s s ($minutes min asked)" \
    "tree" "$n_sounds sounds, $n_other other files" \
    "drops (failed)" "$drops ($drops_failed)" \
    "clicks next / stop" "$clicks_next / $clicks_stop" \
    "RSS at start / warm-up peak / later peak / end" "$rss_first / $rss_warm / $rss_peak / $rss_last kB" \
    "RSS growth after warm-up ($warmup s)" "$growth kB (bound $bound_kb kB; trend $slope kB/min over $n_rss samples)" \
    "recording" "$rec_s s, $loud_s s with sound above -40 dBFS" \
    "volume toggle click changed the window" "$changed" \
    "exit status after Escape" "$exit_status" \
    "log lines / error lines" "$log_lines / ${err_lines:-0}" \
    "underruns (the driver's count at its close)" "${underruns:-none}"
echo "  files: $run (rss.txt, sink.raw, program.out, drag.err, velotune.txt, log-errors.txt)"
if [ ${#fails[@]} -gt 0 ]; then
    printf 'soak: FAILED: %s\n' "${fails[@]}"
    exit 1
fi
echo "soak: passed"
