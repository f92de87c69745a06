#!/bin/bash
# Measurement harness: a copy of our shared perf tooling, kept here so that a clean
# clone runs the benchmarks (see bench/perf/README.md).
# Generate the test inputs (sox + lame) into DIR (default $PERF_WORK/inputs, /tmp/perf-work/inputs).
#
#   ref441.wav   10.000 s, 44.1 kHz, 16-bit, stereo PCM WAV:
#                  t=0     1 ms click (square half-wave, +0.8 FS left, -0.8 FS right)
#                  then    exponential chirp at 0.5 FS: left 50 Hz -> 15 kHz, right 15 kHz -> 50 Hz
#                  last ms 1 ms click again (end marker, shows a truncated tail)
#   w48k24.wav   the same content synthesised at 48 kHz, 24-bit
#   ref441.aiff  ref441.wav as AIFF (44.1 kHz 16-bit, big-endian; sample-identical)
#   mp3_128.mp3  ref441.wav through lame -b 128 (CBR, LAME gapless header)
set -euo pipefail
DIR=${1:-${PERF_WORK:-/tmp/perf-work}/inputs}
mkdir -p "$DIR"
cd "$DIR"

make_one() {  # rate bits out
    local r=$1 b=$2 out=$3 t
    t=$(mktemp -d)
    # (input options before -n: synthesise at the target rate, no resampling)
    # click: 1 ms = half period of a 500 Hz square wave, starting high
    sox -r "$r" -c 2 -n -b "$b" "$t/click.wav" synth 0.001 square 500 square 500 remix 1v0.8 2v-0.8
    # chirp fills the rest so the file is exactly 10 s long
    local n_click n_total n_chirp
    n_click=$(soxi -s "$t/click.wav")
    n_total=$((r * 10))
    n_chirp=$((n_total - 2 * n_click))
    sox -r "$r" -c 2 -n -b "$b" "$t/chirp.wav" synth "${n_chirp}s" sine 50/15000 sine 15000/50 vol 0.5
    sox "$t/click.wav" "$t/chirp.wav" "$t/click.wav" "$out"
    rm -rf "$t"
}

make_one 44100 16 ref441.wav
make_one 48000 24 w48k24.wav
sox ref441.wav ref441.aiff
lame --quiet -b 128 --cbr ref441.wav mp3_128.mp3

for f in ref441.wav w48k24.wav ref441.aiff mp3_128.mp3; do
    printf '%-12s ' "$f"; soxi "$f" | grep -E 'Sample Rate|Precision|Duration|Sample Encoding' | tr -s ' ' | tr '\n' ' '; echo
done
