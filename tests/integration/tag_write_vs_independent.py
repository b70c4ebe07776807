#!/usr/bin/python3
"""Tags written and deleted through the plug-in (wavehost tag/untag, as a host
drives Set "IDTags" and DeleteATag) read back by independent readers: mutagen
for the ID3v2 chunk, ffprobe for LIST/INFO and bext, ffmpeg for the audio,
and a chunk walk of our own for the chunks that must stay byte for byte.

usage: tag_write_vs_independent.py WAVEHOST [RUNNER...]"""
import hashlib
import json
import os
import struct
import subprocess
import sys
import tempfile

from mutagen.wave import WAVE

from checks import Checks, chunks, program_command

HOST = program_command()
checks = Checks()
expect = checks.expect


def host(*args):
    return subprocess.run(HOST + list(args), capture_output=True)


def audio_md5(path):
    pcm = subprocess.run(["ffmpeg", "-v", "error", "-i", path, "-map", "0:a", "-f", "s16le", "-"],
                         check=True, capture_output=True).stdout
    return hashlib.md5(pcm).hexdigest()


def probe_tags(path):
    out = subprocess.run(["ffprobe", "-v", "error", "-show_entries", "format_tags", "-of", "json", path],
                         check=True, capture_output=True).stdout
    return {k.lower(): v for k, v in json.loads(out).get("format", {}).get("tags", {}).items()}


def chunk(path, cid):
    return next((d for c, d in chunks(path) if c == cid), None)


def add_chunk(path, cid, payload):
    with open(path, "r+b") as f:
        f.seek(0, 2)
        f.write(cid + struct.pack("<I", len(payload)) + payload + (b"\0" if len(payload) & 1 else b""))
        size = f.tell() - 8
        f.seek(4)
        f.write(struct.pack("<I", size))


def make_wav(path, *extra):
    subprocess.run(["ffmpeg", "-v", "error", "-y", "-f", "lavfi", "-i", "sine=d=0.3", "-ac", "2", *extra, path],
                   check=True)


PNG = b"\x89PNG\r\n\x1a\n" + bytes(range(256)) * 8
CUE = struct.pack("<I", 1) + struct.pack("<II4sIII", 1, 0, b"data", 0, 0, 4410)

with tempfile.TemporaryDirectory() as work:
    os.environ["XDG_CONFIG_HOME"] = os.path.join(work, "config")  # default tagging settings
    picture = os.path.join(work, "cover.png")
    with open(picture, "wb") as f:
        f.write(PNG)

    # A plain ffmpeg file with a 'cue ' chunk: written, re-written, then stripped.
    path = os.path.join(work, "plain.wav")
    make_wav(path, "-fflags", "+bitexact")
    add_chunk(path, b"cue ", CUE)
    before = audio_md5(path)
    r = host("tag", path, "Title=Caf\u00e9 Song", "Artist=Alpha", "Album=Beta", "Comment=Said",
             "replaygain_track_gain=-6.50 dB", "--picture", picture, "--description", "Sleeve")
    expect("plain tag exit", (r.returncode, r.stdout.strip()), (0, b"IDTags: 1"))
    tags = WAVE(path).tags
    expect("mutagen title", list(tags["TIT2"].text) if tags and "TIT2" in tags else None, ["Caf\u00e9 Song"])
    expect("mutagen artist", list(tags["TPE1"].text) if tags and "TPE1" in tags else None, ["Alpha"])
    expect("mutagen album", list(tags["TALB"].text) if tags and "TALB" in tags else None, ["Beta"])
    txxx = tags.getall("TXXX") if tags else []
    expect("mutagen replay gain", [list(t.text) for t in txxx if t.desc == "replaygain_track_gain"], [["-6.50 dB"]])
    apic = tags.getall("APIC") if tags else []
    expect("mutagen picture", [(a.type, a.desc, a.data) for a in apic], [(3, "Sleeve", PNG)])
    probed = probe_tags(path)
    # INFO text is in the ANSI code page, which ffprobe does not assume: the title is compared by mutagen only.
    expect("ffprobe artist", probed.get("artist"), "Alpha")
    expect("ffprobe album", probed.get("album"), "Beta")
    expect("plain audio after tagging", audio_md5(path), before)
    expect("plain cue after tagging", chunk(path, "cue "), CUE)

    r = host("tag", path, "Title=Second")
    tags = WAVE(path).tags
    expect("second write title", list(tags["TIT2"].text), ["Second"])
    expect("second write keeps artist", list(tags["TPE1"].text), ["Alpha"])
    expect("second write keeps picture", len(tags.getall("APIC")), 1)
    expect("second write ffprobe title", probe_tags(path).get("title"), "Second")
    expect("second write audio", audio_md5(path), before)

    r = host("untag", path, "Artist")
    expect("untag named exit", r.returncode, 0)
    tags = WAVE(path).tags
    expect("untag named artist gone", "TPE1" in tags, False)
    expect("untag named title kept", list(tags["TIT2"].text), ["Second"])
    expect("untag named ffprobe", (probe_tags(path).get("artist"), probe_tags(path).get("title")), (None, "Second"))

    r = host("untag", path)
    expect("untag all exit", r.returncode, 0)
    expect("untag all mutagen", WAVE(path).tags, None)
    probed = probe_tags(path)
    expect("untag all ffprobe", (probed.get("title"), probed.get("album")), (None, None))
    expect("untag all audio", audio_md5(path), before)
    expect("untag all cue", chunk(path, "cue "), CUE)

    # An ffmpeg file with LIST and bext keeps its audio and gains our tags.
    path = os.path.join(work, "bwf.wav")
    make_wav(path, "-write_bext", "1", "-metadata", "title=From ffmpeg", "-metadata", "artist=Encoder",
             "-metadata", "description=Broadcast take", "-metadata", "originator=Desk 4")
    before = audio_md5(path)
    bext_before = chunk(path, "bext")
    r = host("tag", path, "Title=Ours", "Description=Our take")
    expect("bwf tag exit", (r.returncode, r.stdout.strip()), (0, b"IDTags: 1"))
    probed = probe_tags(path)
    expect("bwf ffprobe title", probed.get("title"), "Ours")
    expect("bwf ffprobe artist kept", probed.get("artist"), "Encoder")
    # ffmpeg shows the bext description as "comment" and the originator as "encoded_by".
    expect("bwf ffprobe description", probed.get("comment"), "Our take")
    expect("bwf ffprobe originator kept", probed.get("encoded_by"), "Desk 4")
    bext_after = chunk(path, "bext")
    expect("bwf bext version and UMID kept", bext_after[346:412] if bext_after else None, bext_before[346:412])
    tags = WAVE(path).tags
    expect("bwf mutagen title", list(tags["TIT2"].text) if tags else None, ["Ours"])
    expect("bwf audio", audio_md5(path), before)
    expect("bwf no temporary file", sorted(n for n in os.listdir(work) if n != "config"), ["bwf.wav", "cover.png", "plain.wav"])

    # An RF64 file without its 'ds64' chunk (public test files have this shape):
    # the sizes of its audio are not known, so a write or a delete is refused and
    # the file keeps every byte.
    path = os.path.join(work, "rf64.wav")
    make_wav(path, "-fflags", "+bitexact")
    with open(path, "r+b") as f:
        f.write(b"RF64\xff\xff\xff\xff")
    with open(path, "rb") as f:
        before = f.read()
    for args in (("tag", path, "Title=T"), ("untag", path)):
        r = host(*args)
        expect(f"rf64 without ds64 {args[0]} refused", (r.returncode != 0, b"has no 'ds64' chunk" in r.stderr),
               (True, True))
        with open(path, "rb") as f:
            expect(f"rf64 without ds64 {args[0]} leaves the file", f.read() == before, True)

checks.finish("checks passed")
