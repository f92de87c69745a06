#!/usr/bin/env bash
# Decode throughput of the system-decoded reader beside sox on the same files:
# a 44.1 kHz 16-bit stereo WAV and a 128 kbit/s MP3 of the same 60 seconds.
# Usage: bash bench/decode.sh BUILD_DIR
set -euo pipefail
build=${1:-build}
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

runs=5
tiny="$dir/decode-tiny.wav"
[ -s "$tiny" ] || sox -n -r 44100 -b 16 -c 2 "$tiny" trim 0 1s

# Best of $runs wall-clock nanoseconds of sox converting $1 to float into /dev/null.
sox_ns() {
    local file=$1 best="" t0 t1 s
    for _ in $(seq "$runs"); do
        t0=$(date +%s%N)
        sox -q "$file" -t f32 /dev/null
        t1=$(date +%s%N)
        s=$(( t1 - t0 ))
        if [ -z "$best" ] || [ "$s" -lt "$best" ]; then best=$s; fi
    done
    echo "$best"
}

# sox runs as a process: its start-up (a one-frame file) is measured and taken off.
startup=$(sox_ns "$tiny")
printf '%-20s %9s %14s %14s %14s %7s %7s\n' file frames "snd_mac fr/s" "sox fr/s" "sox-net fr/s" ratio "r-net"
for f in "$wav" "$mp3"; do
    read -r _ frames _ ours < <("$bin" -r "$runs" "$f" 2>/dev/null)
    ns=$(sox_ns "$f")
    awk -v n="$(basename "$f")" -v f="$frames" -v a="$ours" -v ns="$ns" -v st="$startup" 'BEGIN {
        sox = f / (ns / 1e9); net = (ns > st) ? f / ((ns - st) / 1e9) : 0;
        printf "%-20s %9d %14.0f %14.0f %14.0f %7.2f %7.2f\n", n, f, a, sox, net, a / sox, (net > 0 ? a / net : 0) }'
done
echo "(ratio = snd_mac / sox, r-net = snd_mac / sox without its start-up of ${startup} ns;"
echo " best of $runs runs each; frames are the reader's count, lame's padding aside)"
