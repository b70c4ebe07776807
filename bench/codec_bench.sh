#!/usr/bin/env bash
# Decode throughput of the built-in IMA ADPCM and MS ADPCM decoders, driven
# through the plug-in by wavehost (read, carry-over, convert, hand over, as a
# host gets it), against ffmpeg decoding the same 100 MiB files in the same
# run. Best of three wall-clock runs each; output is discarded by both.
# usage: bench/codec_bench.sh [BUILD_DIR]   (a Release build, e.g. preset bench)
set -euo pipefail
build=${1:-build/bench}
host=$build/bin/wavehost
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# About 100 MiB of stereo 4-bit ADPCM at 44100 Hz is 40 minutes of audio.
ffmpeg -v error -y -f lavfi \
  -i "aevalsrc=0.6*sin(2*PI*(100+300*mod(t\,10))*t)+0.2*(random(0)-0.5)|0.5*sin(2*PI*330*t):s=44100:d=2380" \
  -c:a pcm_s16le "$work/src.wav"
sox "$work/src.wav" -e ima-adpcm "$work/ima.wav"
sox "$work/src.wav" -e ms-adpcm "$work/ms.wav"
rm "$work/src.wav"

best() {  # command... -> best wall time in seconds of three runs
  local best=
  for _ in 1 2 3; do
    local start end t
    start=$(date +%s.%N)
    "$@" >/dev/null 2>&1
    end=$(date +%s.%N)
    t=$(echo "$end - $start" | bc -l)
    if [ -z "$best" ] || [ "$(echo "$t < $best" | bc -l)" = 1 ]; then best=$t; fi
  done
  echo "$best"
}

printf "%-10s %10s %14s %14s %10s\n" format "size MiB" "plug-in MiB/s" "ffmpeg MiB/s" "ratio"
for f in ima ms; do
  file="$work/$f.wav"
  mib=$(echo "$(stat -c %s "$file") / 1048576" | bc -l)
  ours=$(best "$host" decode "$file" --null)
  theirs=$(best ffmpeg -nostdin -v error -threads 1 -i "$file" -f null -)
  printf "%-10s %10.1f %14.1f %14.1f %10.2f\n" "$f" "$mib" "$(echo "$mib / $ours" | bc -l)" \
    "$(echo "$mib / $theirs" | bc -l)" "$(echo "$theirs / $ours" | bc -l)"
done
