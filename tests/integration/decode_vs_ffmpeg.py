#!/usr/bin/python3
"""Files written by ffmpeg and sox decode through the plug-in (driven by
wavehost, the way a host drives it) to the samples ffmpeg reads from the
same files.
  PCM and float of every depth, plain and extensible headers (the "pcm" set),
  A-law, mu-law, MS ADPCM, GSM 6.10: identical.
  IMA ADPCM: within 128. ffmpeg computes each step's difference as
    (2n+1) x step / 8, the installed codecs (and ours) add the shifted steps;
    the rounding gap accumulates within a block and resets at the next
    block header. Loud wide-band test signals reach about 110.
  MPEG Layer 3 and Layer 2 (through the sibling plug-in): within 4 of
    ffmpeg's float decoder, same start. The data chunk's trailing part
    block (ffmpeg declares 1152-byte blocks) is never read, so the frames
    that lie in it, and the one it cuts, are missing at the end.

usage: decode_vs_ffmpeg.py pcm|compressed WAVEHOST [RUNNER...]   (RUNNER: e.g. wine)"""
import array
import os
import struct
import sys
import tempfile

from checks import Checks, chunk, host, run

COMPRESSED = sys.argv.pop(1) == "compressed"
FFMPEG = ("ffmpeg", "-v", "error", "-y")
checks = Checks()


def samples(path, fmt):
    # -v fatal: ffmpeg complains about the part frame sox leaves at the end of GSM data.
    return run("ffmpeg", "-v", "fatal", "-i", path, "-f", fmt, "-")


def verdict(file, out, mode, channels):
    """mode: the raw format whose bytes must be identical, "g711", ("max", bound) or ("mpeg", bound)."""
    if mode == "g711":
        # 8-bit G.711 decodes to 8-bit PCM where the codec allows it, else to 16-bit.
        codec = run("ffprobe", "-v", "error", "-show_entries", "stream=codec_name", "-of", "csv=p=0", out).strip()
        mode = "u8" if codec == b"pcm_u8" else "s16le"
    fmt = "s16le" if isinstance(mode, tuple) else mode
    ref, got = samples(file, fmt), samples(out, fmt)
    if not isinstance(mode, tuple):
        return ref == got and ref != b"", f"{len(ref)} vs {len(got)} bytes"
    a, b = array.array("h", ref), array.array("h", got)
    worst = max((abs(x - y) for x, y in zip(a, b)), default=0)
    said = f"{len(a)} vs {len(b)} samples, largest difference {worst}"
    kind, bound = mode
    if kind == "max":
        return len(a) == len(b) and len(a) > 0 and worst <= bound, said
    # mpeg: the frames in the unread part block may be missing, nothing else
    _, _, rate, byte_rate, align = struct.unpack("<HHIIH", chunk(file, "fmt ")[:14])
    allowed = (len(chunk(file, "data")) % align // (144 * byte_rate * 8 // rate) + 2) * 1152
    return len(a) > 0 and 0 <= (len(a) - len(b)) // channels <= allowed and worst <= bound, said


with tempfile.TemporaryDirectory() as work:
    src, src8k, out = (os.path.join(work, n) for n in ("src.wav", "src8k.wav", "out.wav"))
    if not COMPRESSED:
        run(*FFMPEG, "-f", "lavfi", "-i", "sine=frequency=440:sample_rate=48000:duration=1.7", "-ac", 1, src)
        cases = [(f"ffmpeg {codec} {ch}ch", fmt, ch, [*FFMPEG, "-i", src, "-ac", ch, "-c:a", codec])
                 for fmt, codec, ch in (("u8", "pcm_u8", 1), ("s16le", "pcm_s16le", 2), ("s24le", "pcm_s24le", 2),
                                        ("s32le", "pcm_s32le", 6), ("f32le", "pcm_f32le", 2),
                                        ("f64le", "pcm_f64le", 1), ("s16le", "pcm_s16le", 8))]
        cases += [(f"sox {bits}-bit {enc} {ch}ch", fmt, ch, ["sox", src, "-b", bits, "-e", enc, "-c", ch])
                  for fmt, bits, enc, ch in (("s16le", 16, "signed-integer", 2), ("s24le", 24, "signed-integer", 1),
                                             ("s32le", 32, "signed-integer", 4), ("f32le", 32, "floating-point", 2),
                                             ("u8", 8, "unsigned-integer", 1))]
    else:
        # A sweep and a tone with noise: loud and wide-band, hard on ADPCM.
        run(*FFMPEG, "-f", "lavfi", "-i", "aevalsrc=0.6*sin(2*PI*(100+3000*t)*t)+0.25*sin(2*PI*5000*t)|"
            "0.5*sin(2*PI*330*t)+0.3*(random(0)-0.5):s=44100:d=2.5", src)
        run(*FFMPEG, "-i", src, "-ar", 8000, src8k)
        acm = (("ima-adpcm", "adpcm_ima_wav", ("max", 128)), ("ms-adpcm", "adpcm_ms", "s16le"),
               ("a-law", "pcm_alaw", "g711"), ("u-law", "pcm_mulaw", "g711"))
        cases = [(f"sox {enc} {ch}ch", mode, ch, ["sox", src, "-c", ch, "-e", enc]) for ch in (1, 2)
                 for enc, _, mode in acm]
        cases.append(("sox gsm-full-rate 1ch", "s16le", 1, ["sox", src8k, "-c", 1, "-e", "gsm-full-rate"]))
        cases += [(f"ffmpeg {codec} 2ch", mode, 2, [*FFMPEG, "-i", src, "-c:a", codec]) for _, codec, mode in acm]
        cases += [(f"ffmpeg {codec} {rate} {ch}ch", ("mpeg", 4), ch,
                   [*FFMPEG, "-i", src, "-ac", ch, "-c:a", codec, "-b:a", rate, "-f", "wav"])
                  for codec, rate, ch in (("libmp3lame", "128k", 2), ("libmp3lame", "32k", 1), ("mp2", "192k", 2))]
    for i, (name, mode, channels, make) in enumerate(cases):
        file = os.path.join(work, f"{i}.wav")
        run(*make, file)
        r = host("decode", file, "-o", out)
        if r.returncode != 0:
            checks.failures.append(f"{name}: wavehost decode failed\n{(r.stdout + r.stderr).decode(errors='replace')}")
            continue
        ok, said = verdict(file, out, mode, channels)
        print("ok  " if ok else "FAIL", f"{name}: {said}")
        checks.expect(f"{name}: {said}", ok, True)

checks.finish()
