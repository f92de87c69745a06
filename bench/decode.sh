#!/usr/bin/env bash
# Decode throughput of the system-decoded reader beside sox on the same files:
# a 44.1 kHz 16-bit stereo WAV and a 128 kbit/s MP3 of the same 60 seconds.
# Prints table rows on stdout and the detail on stderr.
# Usage: bash bench/decode.sh BUILD_DIR
# BENCH_DECODE_REPS (default 5): runs of each decoder on each file.
set -euo pipefail
build=${1:-build}
here=$(cd "$(dirname "$0")" && pwd)
bin="$build/bench/decode_bench"
[ -x "$bin" ] || { echo "decode.sh: $bin not built" >&2; exit 1; }
dir="$build/benchtmp"
mkdir -p "$dir"
wav="$dir/decode-44k16.wav"
mp3="$dir/decode-128k.mp3"
seconds=60
if [ ! -s "$wav" ]; then
    # Music-like material: two detuned tones under pink noise, so that the MP3
    # encoder has real work and the decoder real frames.
    sox -n -r 44100 -b 16 -c 2 "$wav" synth "$seconds" sine 220 sine 331 pinknoise mix \
        vol 0.5 2>/dev/null || sox -n -r 44100 -b 16 -c 2 "$wav" synth "$seconds" pinknoise vol 0.5
fi
[ -s "$mp3" ] || lame --quiet -b 128 --cbr "$wav" "$mp3"

runs=${BENCH_DECODE_REPS:-5}
tiny="$dir/decode-tiny.wav"
[ -s "$tiny" ] || sox -n -r 44100 -b 16 -c 2 "$tiny" trim 0 1s

# Seconds of every one of $runs runs of sox converting $1 to float into /dev/null,
# as a comma list.
sox_s() {
    local file=$1 t0 t1 out=""
    for _ in $(seq "$runs"); do
        t0=$(date +%s%N)
        sox -q "$file" -t f32 /dev/null
        t1=$(date +%s%N)
        out+="${out:+,}$(awk -v n=$((t1 - t0)) 'BEGIN {printf "%.6f", n / 1e9}')"
    done
    echo "$out"
}
# Frames per second, in millions, for each of a comma list of seconds, less
# an optional start-up (seconds) taken off each.
rates() {
    awk -v f="$1" -v list="$2" -v st="${3:-0}" 'BEGIN {
        n = split(list, s, ",");
        for (i = 1; i <= n; ++i) if (s[i] - st > 0) printf "%s%.2f", (i > 1 ? "," : ""), f / (s[i] - st) / 1e6 }'
}

# sox runs as a process: its start-up (a one-frame file) is measured and its
# median taken off each of its runs for the second reference.
startup=$(sox_s "$tiny" | tr ',' '\n' | sort -g | awk '{v[NR] = $1} END {print v[int((NR + 1) / 2)]}')
for f in "$wav" "$mp3"; do
    read -r _ frames _ _ ours < <("$bin" -r "$runs" "$f" 2>/dev/null)
    ref=$(sox_s "$f")
    echo "decode.sh: $(basename "$f"): $frames frames; snd_mac s: $ours; sox s: $ref; sox start-up ${startup} s" >&2
    case $f in
    *.wav) what="decode throughput, million frames per s, 60 s 44.1 kHz 16-bit stereo WAV" ;;
    *) what="decode throughput, million frames per s, the same as 128 kbit/s MP3 (lame)" ;;
    esac
    python3 "$here/table.py" "$what" 1 "velotune=$(rates "$frames" "$ours")" \
        "\`sox FILE -t f32 /dev/null\`=$(rates "$frames" "$ref")" \
        "sox less its start-up (median $(awk -v s="$startup" 'BEGIN {printf "%.0f", s * 1000}') ms)=$(rates "$frames" "$ref" "$startup")"
done
