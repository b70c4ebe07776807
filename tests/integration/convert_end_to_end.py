#!/usr/bin/python3
"""wavehost convert end to end, read back by independent readers: ffprobe for rate, length and sample format,
mutagen and ffprobe for the tags, a chunk walk of our own for the format head, the chunk order and the positions that
count samples, which must follow the new rate as the audio does. Bad input exits with 2 and leaves nothing behind;
natively, a conversion killed halfway leaves nothing under the output's name and the source as it was.
usage: convert_end_to_end.py WAVEHOST [RUNNER...]"""
import hashlib
import json
import os
import random
import re
import signal
import struct
import subprocess
import tempfile
import time

from mutagen.id3 import TIT2
from mutagen.wave import WAVE

from checks import Checks, program_command
from checks import chunks as riff_chunks

HOST = program_command()
checks = Checks()
expect = checks.expect
SUMMARY = re.compile(r"converted (\d+) Hz (\S+(?: float)?) to (\d+) Hz (\S+(?: float)?), quality (\S+), "
                     r"dither (\S+(?: \(no noise shaping at \d+ Hz\))?), (\d+) samples clipped, \d+\.\d{3} s\n")
PCM_GUID_TAIL = bytes.fromhex("000000001000800000aa00389b71")


def host(*args):
    """The run, with stderr as text in which lines end as natively (a Windows program ends them with CR LF)."""
    r = subprocess.run(HOST + list(args), capture_output=True, timeout=600)
    r.stderr = r.stderr.decode().replace("\r\n", "\n")
    return r


def chunk(cid, body):
    return cid + struct.pack("<I", len(body)) + body + b"\0" * (len(body) & 1)


def write_wave(path, fmt, audio, before=(), after=()):
    body = b"WAVE" + chunk(b"fmt ", fmt) + b"".join(before) + chunk(b"data", audio) + b"".join(after)
    with open(path, "wb") as f:
        f.write(b"RIFF" + struct.pack("<I", len(body)) + body)


def chunks(path):
    """The top-level chunks; the RIFF size must cover exactly the file."""
    with open(path, "rb") as f:
        head = f.read(8)
    expect(f"{os.path.basename(path)} RIFF size", struct.unpack("<I", head[4:8])[0] + 8, os.path.getsize(path))
    return riff_chunks(path)


def probe(path):
    entries = "stream=codec_name,sample_rate,channels,duration_ts:format_tags"
    j = json.loads(subprocess.run(["ffprobe", "-v", "error", "-show_entries", entries, "-of", "json", path],
                                  check=True, capture_output=True).stdout)
    s, tags = j["streams"][0], j.get("format", {}).get("tags", {})
    return (s["codec_name"], int(s["sample_rate"]), s["channels"], s.get("duration_ts")), \
        {k.lower(): v for k, v in tags.items()}


def md5(path):
    with open(path, "rb") as f:
        return hashlib.md5(f.read()).hexdigest()


def files(directory):
    return sorted(n for n in os.listdir(directory) if n != "config")


def scaled(pos, rate_in=48000, rate_out=44100):
    return (pos * rate_out + rate_in // 2) // rate_in


def sox(path, rate, channels, seconds, *encoding):
    subprocess.run(["sox", "-n", "-r", str(rate), "-c", str(channels), *encoding, path, "synth", str(seconds), "sine",
                    "440", "vol", "0.5"], check=True)


with tempfile.TemporaryDirectory() as work:
    os.environ["XDG_CONFIG_HOME"] = os.path.join(work, "config")  # default tagging settings
    path = lambda name: os.path.join(work, name)  # noqa: E731

    # A broadcast file with every kind of position: the click at frame 30011 is where cue point 1 stands.
    src, out = path("take.wav"), path("take-44k.wav")
    frames, click = 48007, 30011
    audio = bytearray(4 * frames)
    struct.pack_into("<hh", audio, 4 * click, 30000, 30000)
    bext = bytearray(602)
    bext[0:11], bext[256:262] = b"Take twelve", b"Desk 4"
    struct.pack_into("<Q", bext, 338, 10 * 3600 * 48000 + 12345)
    cue = struct.pack("<I", 2) + struct.pack("<II4sIII", 1, click, b"data", 0, 0, click) + \
        struct.pack("<II4sIII", 2, 0, b"data", 0, 0, 47999)
    smpl = struct.pack("<9I", 0, 0, 20833, 60, 0, 0, 0, 1, 0) + struct.pack("<6I", 7, 0, 4800, 43199, 0, 0)
    label = chunk(b"labl", struct.pack("<I", 1) + b"Chorus\0")
    region = lambda length: chunk(b"ltxt", struct.pack("<II4sHHHH", 1, length, b"rgn ", 0, 0, 0, 0))  # noqa: E731
    write_wave(src, struct.pack("<HHIIHH", 1, 2, 48000, 192000, 4, 16), bytes(audio),
               before=[chunk(b"bext", bytes(bext)), chunk(b"cue ", cue)],
               after=[chunk(b"smpl", smpl), chunk(b"abcd", b"odd"), chunk(b"LIST", b"adtl" + label + region(9600)),
                      chunk(b"LIST", b"INFO" + chunk(b"IART", b"Someone\0"))])
    tagged = WAVE(src)
    tagged.add_tags()
    tagged.tags.add(TIT2(encoding=3, text="Caf\u00e9 take"))
    tagged.save()
    source_md5 = md5(src)
    with open(out, "wb") as f:
        f.write(b"an older file of that name")
    r = host("convert", src, "-o", out, "--rate", "44100", "--bits", "24")
    match = SUMMARY.fullmatch(r.stderr)
    expect("take exit and summary", (r.returncode, match and match.groups()[:-1]),
           (0, ("48000", "16-bit", "44100", "24-bit", "high", "none")))
    length = scaled(frames)
    stream, tags = probe(out)
    id3 = WAVE(out).tags or {}
    got = chunks(out)
    data = dict(got)
    left = [int.from_bytes(data["data"][i:i + 3], "little", signed=True) for i in range(0, len(data["data"]), 6)]
    for what, have, want in [
        ("ffprobe stream", stream, ("pcm_s24le", 44100, 2, length)),
        ("ffprobe artist", tags.get("artist"), "Someone"),
        ("mutagen title", list(id3["TIT2"].text) if "TIT2" in id3 else None, ["Caf\u00e9 take"]),
        ("mutagen artist", list(id3["TPE1"].text) if "TPE1" in id3 else None, ["Someone"]),
        # The chunks carried over keep their side of the audio; the tag chunks go where the tag writer puts them.
        ("chunk order", [c for c, _ in got if c in ("fmt ", "cue ", "data", "smpl", "abcd")],
         ["fmt ", "cue ", "data", "smpl", "abcd"]),
        ("format", (data["fmt "][:16], data["fmt "][16:24], data["fmt "][24:]),
         (struct.pack("<HHIIHH", 0xFFFE, 2, 44100, 44100 * 6, 6, 24), struct.pack("<HHI", 22, 24, 3),
          b"\x01\x00" + PCM_GUID_TAIL)),
        ("data size", len(data["data"]), 6 * length),
        ("unknown chunk", data["abcd"], b"odd"),
        ("bext texts", (data["bext"][0:11], data["bext"][256:262]), (b"Take twelve", b"Desk 4")),
        ("bext time reference", struct.unpack_from("<Q", data["bext"], 338)[0], scaled(10 * 3600 * 48000 + 12345)),
        ("cue points", [struct.unpack_from("<II4sIII", data["cue "], 4 + 24 * i) for i in range(2)],
         [(1, scaled(click), b"data", 0, 0, scaled(click)), (2, 0, b"data", 0, 0, scaled(47999))]),
        # The loop end is played too: its boundary, the frame after it, is what moves.
        ("smpl", (struct.unpack_from("<9I", data["smpl"]), struct.unpack_from("<6I", data["smpl"], 36)),
         ((0, 0, (20833 * 48000 + 22050) // 44100, 60, 0, 0, 0, 1, 0),
          (7, 0, scaled(4800), scaled(43200) - 1, 0, 0))),
        ("labelled region", next((d for c, d in got if c == "LIST" and d[:4] == b"adtl"), b"")[4:],
         label + region(scaled(9600))),
        ("click under its cue point", max(range(len(left)), key=lambda i: abs(left[i])), scaled(click)),
        ("source unchanged", md5(src), source_md5),
        ("leaves no other file", files(work), ["take-44k.wav", "take.wav"]),
    ]:
        expect("take " + what, have, want)

    # Sample formats, rates and channel counts; the default depth and dither follow the source.
    plain = path("plain.wav")
    write_wave(plain, struct.pack("<HHIIHH", 1, 2, 48000, 192000, 4, 16), random.Random(19).randbytes(4 * frames))
    sox(path("mono-float.wav"), 44100, 1, 1, "-e", "floating-point", "-b", "32")
    sox(path("six.wav"), 96000, 6, 0.5, "-b", "24")
    for name, rate, codec in [("adpcm", 22050, "adpcm_ms"), ("alaw", 8000, "pcm_alaw")]:
        subprocess.run(["ffmpeg", "-v", "error", "-f", "lavfi", "-i", f"sine=d=0.5:r={rate}", "-c:a", codec,
                        path(name + ".wav")], check=True)
    sources = {"plain": (48000, frames), "mono-float": (44100, 44100), "six": (96000, 48000),
               "adpcm": (22050, probe(path("adpcm.wav"))[0][3]), "alaw": (8000, 4000)}
    table = [
        # source, arguments, ffprobe codec, channels, format tag and head size, output rate, depth, dither
        ("plain", ["--rate", "44100", "--bits", "double"], "pcm_f64le", 2, (3, 18), 44100, "64-bit float", "none"),
        ("plain", ["--bits", "8"], "pcm_u8", 2, (1, 16), 48000, "8-bit", "tpdf"),
        ("plain", ["--rate", "8000", "--bits", "32"], "pcm_s32le", 2, (0xFFFE, 40), 8000, "32-bit", "none"),
        ("plain", ["--rate", "44100", "--dither", "shaped"], "pcm_s16le", 2, (1, 16), 44100, "16-bit", "shaped"),
        ("mono-float", [], "pcm_f32le", 1, (3, 18), 44100, "32-bit float", "none"),
        ("mono-float", ["--rate", "48000", "--bits", "16", "--quality", "quick"], "pcm_s16le", 1, (1, 16), 48000,
         "16-bit", "tpdf"),
        ("six", ["--rate", "44100", "--quality", "very-high"], "pcm_s24le", 6, (0xFFFE, 40), 44100, "24-bit", "none"),
        ("six", ["--bits", "float", "--rate", "768000"], "pcm_f32le", 6, (0xFFFE, 40), 768000, "32-bit float", "none"),
        ("adpcm", ["--rate", "1000", "--dither", "none"], "pcm_s16le", 1, (1, 16), 1000, "16-bit", "none"),
        # Decoded to 8 bits natively; an ACM codec that offers only 16 bits delivers those (whatever Open said).
        ("alaw", ["--rate", "16000", "--bits", "16"], "pcm_s16le", 1, (1, 16), 16000, "16-bit", "none"),
    ]
    out = path("out.wav")
    for name, args, codec, channels, head, rate, depth, dither in table:
        rate_in, n = sources[name]
        r = host("convert", path(name + ".wav"), "-o", out, *args)
        what = f"{name} {' '.join(args)}"
        match = SUMMARY.fullmatch(r.stderr)
        expect(f"{what}: exit and summary", (r.returncode, match and match.group(3, 4, 6)),
               (0, (str(rate), depth, dither)))
        if r.returncode != 0:
            continue
        length = scaled(n, rate_in, rate)
        expect(f"{what}: ffprobe", probe(out)[0], (codec, rate, channels, length))
        data = dict(chunks(out))
        tag, _, _, _, block_align, bits = struct.unpack_from("<HHIIHH", data["fmt "])
        expect(f"{what}: format head", (tag, len(data["fmt "])), head)
        if tag == 0xFFFE:
            expect(f"{what}: sub-format", data["fmt "][24:],
                   struct.pack("<H", 3 if "float" in depth else 1) + PCM_GUID_TAIL)
        expect(f"{what}: data size", len(data["data"]), length * block_align)
        os.remove(out)

    # Bad input: exit code 2, one line that says why, nothing written, the source and an older output untouched.
    os.mkdir(path("sub"))
    existing, text = path("existing.wav"), path("notes.wav")
    with open(text, "w") as f:
        f.write("not a wave file\n")
    plain_md5 = md5(plain)
    files_before = sorted(files(work) + ["existing.wav"])
    rate_range = "the rate must be a number of Hz from 1000 to 768000"
    bad = [
        ([plain, "--bits", "12"], existing, "--bits 12: use 8, 16, 24, 32, float or double"),
        ([plain, "--quality", "best"], existing, "--quality best: use quick, low, medium, high or very-high"),
        ([plain, "--dither", "rpdf"], existing, "--dither rpdf: use none, tpdf or shaped"),
        ([plain, "--rate", "999"], existing, "--rate 999: " + rate_range),
        ([plain, "--rate", "768001"], existing, "--rate 768001: " + rate_range),
        ([plain, "--rate", "fast"], existing, "--rate fast: " + rate_range),
        ([plain, "--seed", "-1"], existing, "--seed -1: use a number from 0 up"),
        ([path("missing.wav")], existing, "cannot read " + path("missing.wav")),
        ([text], existing, "cannot read " + text),
        ([plain], plain, "cannot convert " + plain + " into itself"),
        ([plain], path("sub/../plain.wav"), "cannot convert " + plain + " into itself"),
        ([plain], path("sub"), "cannot write " + path("sub") + ": it is a directory"),
        ([plain], path("none/x.wav"), "cannot write " + path("none/x.wav") + ": "),
    ]
    for args, target, message in bad:
        with open(existing, "wb") as f:
            f.write(b"older")
        r = host("convert", "-o", target, *args, *(["--rate", "44100"] if len(args) == 1 else []))
        last = r.stderr.splitlines()[-1] if r.stderr else ""
        if message.endswith(": "):  # the system's own words follow
            last = last[:len("wavehost: " + message)]
        expect(f"bad {args[1:] or args} -o {target}", (r.returncode, last), (2, "wavehost: " + message))
        expect(f"bad {args[1:] or args} keeps the older file", open(existing, "rb").read(), b"older")
    expect("bad input leaves the source", md5(plain), plain_md5)
    expect("bad input leaves no file", files(work), files_before)

    if len(HOST) == 1:
        # The user's tagging settings steer the tag chunks of the new file: LIST only.
        expect("settings", host("settings", "WaveTagDefault", "1").returncode, 0)
        expect("list only exit", host("convert", src, "-o", out).returncode, 0)
        ids = [c for c, _ in chunks(out)]
        expect("list only chunks", ("LIST" in ids, "id3 " in ids), (True, False))
        expect("list only ffprobe title", probe(out)[1].get("artist"), "Someone")
        host("settings", "WaveTagDefault", "0")

        # Killed halfway: no file under the output's name, the source unchanged; what is left is not taken for it.
        long_source, out = path("long.wav"), path("killed.wav")
        sox(long_source, 96000, 2, 60, "-e", "floating-point", "-b", "32")
        before = md5(long_source)
        proc = subprocess.Popen(HOST + ["convert", long_source, "-o", out, "--rate", "44100", "--bits", "16"],
                                stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        deadline = time.monotonic() + 60
        while time.monotonic() < deadline and not any(n.endswith(".part") for n in os.listdir(work)):
            time.sleep(0.01)
        time.sleep(0.3)
        expect("killed while converting", proc.poll(), None)
        proc.send_signal(signal.SIGKILL)
        proc.wait()
        expect("killed: nothing under the name", os.path.exists(out), False)
        expect("killed: source unchanged", md5(long_source), before)
        left = [n for n in os.listdir(work) if n.startswith("killed.wav")]
        expect("killed: only a part file", [bool(re.fullmatch(r"killed\.wav\.\w{6}\.part", n)) for n in left], [True])

checks.finish("checks passed")
