#!/usr/bin/env bash
# Compressed payloads written by sox and ffmpeg decode through the plug-in
# (driven by wavehost, the way a host drives it) to the samples ffmpeg reads
# from the same files.
#   A-law, mu-law, MS ADPCM, GSM 6.10: identical.
#   IMA ADPCM: within 128. ffmpeg computes each step's difference as
#     (2n+1) x step / 8, the installed codecs (and ours) add the shifted steps;
#     the rounding gap accumulates within a block and resets at the next
#     block header. Loud wide-band test signals reach about 110.
#   MPEG Layer 3 and Layer 2 (through the sibling plug-in): within 4 of
#     ffmpeg's float decoder, same start. The data chunk's trailing part
#     block (ffmpeg declares 1152-byte blocks) is never read, so the frames
#     that lie in it, and the one it cuts, are missing at the end.
# usage: compressed_vs_ffmpeg.sh WAVEHOST [RUNNER...]   (RUNNER: e.g. wine)
set -euo pipefail
host=$1
shift
runner=("$@")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failures=0
passed=0

compare() {  # mode ref got channels wav -> prints the verdict, exit status 0 when within bounds
  python3 - "$@" <<'PY'
import array, struct, sys
mode, ref, got, channels, wav = sys.argv[1], sys.argv[2], sys.argv[3], int(sys.argv[4]), sys.argv[5]
typecode = 'B' if mode == 'u8' else 'h'
a = array.array(typecode, open(ref, 'rb').read())
b = array.array(typecode, open(got, 'rb').read())
n = min(len(a), len(b))
worst = max((abs(a[i] - b[i]) for i in range(n)), default=0)
print(f"{len(a)} vs {len(b)} samples, largest difference {worst}")
if len(a) == 0:
    sys.exit(1)
if mode in ('u8', 's16'):
    sys.exit(0 if a == b else 1)
kind, bound = mode.split(':')
bound = int(bound)
if kind == 'max':
    sys.exit(0 if len(a) == len(b) and worst <= bound else 1)
# mpeg: the frames in the unread part block may be missing, nothing else
raw = open(wav, 'rb').read()
pos, chunks = 12, {}
while pos + 8 <= len(raw):
    cid, size = raw[pos:pos + 4], struct.unpack('<I', raw[pos + 4:pos + 8])[0]
    chunks.setdefault(cid, (pos + 8, size))
    pos += 8 + size + (size & 1)
fpos, _ = chunks[b'fmt ']
_, _, rate, byte_rate, align = struct.unpack('<HHIIH', raw[fpos:fpos + 14])
frame_bytes = 144 * byte_rate * 8 // rate
part = chunks[b'data'][1] % align
allowed = (part // frame_bytes + 2) * 1152
missing = (len(a) - len(b)) // channels
sys.exit(0 if 0 <= missing <= allowed and worst <= bound else 1)
PY
}

check() {  # name mode file [channels]
  local name=$1 mode=$2 file=$3 channels=${4:-1} fmt=s16le
  if ! "${runner[@]}" "$host" decode "$file" -o "$work/out.wav" >"$work/log" 2>&1; then
    echo "FAIL $name: wavehost decode failed"; cat "$work/log"; failures=$((failures + 1)); return
  fi
  if [ "$mode" = g711 ]; then
    # 8-bit G.711 decodes to 8-bit PCM where the codec allows it, else to 16-bit.
    mode=s16
    if [ "$(ffprobe -v error -show_entries stream=codec_name -of csv=p=0 "$work/out.wav")" = pcm_u8 ]; then
      mode=u8 fmt=u8
    fi
  fi
  # -v fatal: ffmpeg complains about the part frame sox leaves at the end of GSM data.
  ffmpeg -v fatal -y -i "$file" -f "$fmt" "$work/ref.raw"
  ffmpeg -v error -y -i "$work/out.wav" -f "$fmt" "$work/got.raw"
  local verdict
  if verdict=$(compare "$mode" "$work/ref.raw" "$work/got.raw" "$channels" "$file"); then
    echo "ok   $name: $verdict"
    passed=$((passed + 1))
  else
    echo "FAIL $name: $verdict"
    failures=$((failures + 1))
  fi
}

src="$work/src.wav"
# A sweep and a tone with noise: loud and wide-band, hard on ADPCM.
ffmpeg -v error -y -f lavfi \
  -i "aevalsrc=0.6*sin(2*PI*(100+3000*t)*t)+0.25*sin(2*PI*5000*t)|0.5*sin(2*PI*330*t)+0.3*(random(0)-0.5):s=44100:d=2.5" \
  "$src"
ffmpeg -v error -y -i "$src" -ar 8000 "$work/src8k.wav"

for ch in 1 2; do
  for row in "ima-adpcm:max:128" "ms-adpcm:s16" "a-law:g711" "u-law:g711"; do
    IFS=: read -r enc mode bound <<<"$row"
    f="$work/sox-$enc-$ch.wav"
    sox "$src" -c "$ch" -e "$enc" "$f"
    check "sox $enc ${ch}ch" "$mode${bound:+:$bound}" "$f" "$ch"
  done
done
f="$work/sox-gsm.wav"
sox "$work/src8k.wav" -c 1 -e gsm-full-rate "$f"
check "sox gsm-full-rate 1ch" s16 "$f"

for row in "adpcm_ima_wav:max:128" "adpcm_ms:s16" "pcm_alaw:g711" "pcm_mulaw:g711"; do
  IFS=: read -r codec mode bound <<<"$row"
  f="$work/ffmpeg-$codec.wav"
  ffmpeg -v error -y -i "$src" -c:a "$codec" "$f"
  check "ffmpeg $codec 2ch" "$mode${bound:+:$bound}" "$f" 2
done
for row in "libmp3lame:128k:2" "libmp3lame:32k:1" "mp2:192k:2"; do
  IFS=: read -r codec rate ch <<<"$row"
  f="$work/ffmpeg-$codec-$rate.wav"
  ffmpeg -v error -y -i "$src" -ac "$ch" -c:a "$codec" -b:a "$rate" -f wav "$f"
  check "ffmpeg $codec $rate ${ch}ch" mpeg:4 "$f" "$ch"
done

echo "$passed passed, $failures failed"
[ "$failures" -eq 0 ]
