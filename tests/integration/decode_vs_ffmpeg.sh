#!/usr/bin/env bash
# Files written by ffmpeg and sox decode through the plug-in (driven by
# wavehost, the way a host drives it) to exactly the samples ffmpeg reads
# from the same files.
# usage: decode_vs_ffmpeg.sh WAVEHOST [RUNNER...]   (RUNNER: e.g. wine)
set -euo pipefail
host=$1
shift
runner=("$@")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failures=0
passed=0

check() {  # name raw-format file
  local name=$1 fmt=$2 file=$3
  if ! "${runner[@]}" "$host" decode "$file" -o "$work/out.wav" >"$work/log" 2>&1; then
    echo "FAIL $name: wavehost decode failed"; cat "$work/log"; failures=$((failures + 1)); return
  fi
  ffmpeg -v error -y -i "$file" -f "$fmt" "$work/ref.raw"
  ffmpeg -v error -y -i "$work/out.wav" -f "$fmt" "$work/got.raw"
  if cmp -s "$work/ref.raw" "$work/got.raw" && [ -s "$work/ref.raw" ]; then
    passed=$((passed + 1))
  else
    echo "FAIL $name: decoded samples differ ($(stat -c %s "$work/ref.raw") vs $(stat -c %s "$work/got.raw") bytes)"
    failures=$((failures + 1))
  fi
}

src="$work/src.wav"
ffmpeg -v error -y -f lavfi -i "sine=frequency=440:sample_rate=48000:duration=1.7" -ac 1 "$src"

# ffmpeg-written files: plain and extensible headers, every PCM and float depth.
for row in "u8:pcm_u8:1" "s16le:pcm_s16le:2" "s24le:pcm_s24le:2" "s32le:pcm_s32le:6" "f32le:pcm_f32le:2" \
            "f64le:pcm_f64le:1" "s16le:pcm_s16le:8"; do
  IFS=: read -r fmt codec ch <<<"$row"
  f="$work/ffmpeg-$codec-$ch.wav"
  ffmpeg -v error -y -i "$src" -ac "$ch" -c:a "$codec" "$f"
  check "ffmpeg $codec ${ch}ch" "$fmt" "$f"
done
# sox-written files.
for row in "s16le:16:signed-integer:2" "s24le:24:signed-integer:1" "s32le:32:signed-integer:4" \
            "f32le:32:floating-point:2" "u8:8:unsigned-integer:1"; do
  IFS=: read -r fmt bits enc ch <<<"$row"
  f="$work/sox-$bits-$enc-$ch.wav"
  sox "$src" -b "$bits" -e "$enc" -c "$ch" "$f"
  check "sox $bits-bit $enc ${ch}ch" "$fmt" "$f"
done

echo "$passed passed, $failures failed"
[ "$failures" -eq 0 ]
