#!/usr/bin/python3
"""Files as other programs write them (ffmpeg with LIST/INFO or bext, sox,
mutagen's ID3v2.3 in UTF-16 and ID3v2.4 in UTF-8, a tagger that appended
a second INFO list and a second ID3v2 chunk, and one that left an empty
ID3v2 chunk, which mutagen reads first) through a write of one tag and a
delete-all by the plug-in (wavehost): every chunk that holds no tags keeps its
bytes, the audio stays, independent readers (mutagen, ffprobe) see the same
values as before for every tag the write did not name, and after our own
writes they see the full date, the picture with its description, several
artists and non-ASCII text.

usage: tags_real_world.py WAVEHOST [RUNNER...]"""
import hashlib
import json
import os
import struct
import subprocess
import tempfile

from mutagen.id3 import APIC, COMM, ID3, TALB, TDRC, TIT2, TPE1, TXXX
from mutagen.wave import WAVE

from checks import Checks, chunks, program_command

HOST = program_command()
checks = Checks()
expect = checks.expect
PNG = b"\x89PNG\r\n\x1a\n" + bytes(range(256)) * 4
TAG_CHUNKS = {"id3 ", "ID3 ", "bext", "JUNK", "PAD "}


def host(*args):
    return subprocess.run(HOST + list(args), capture_output=True)


def run(*args):
    subprocess.run(list(args), check=True, capture_output=True)


def audio_md5(path):
    pcm = subprocess.run(["ffmpeg", "-v", "error", "-i", path, "-map", "0:a", "-f", "s16le", "-"],
                         check=True, capture_output=True).stdout
    return hashlib.md5(pcm).hexdigest()


def untagged(path):
    """The chunks that hold no tags, in order."""
    return [(c, d) for c, d in chunks(path) if c not in TAG_CHUNKS and not (c == "LIST" and d[:4] == b"INFO")]


def value(frame):
    """What a frame says, whatever encoding holds it; several texts as ID3v2.3 joins them."""
    text = "/".join(str(t) for t in getattr(frame, "text", []))
    return (text, getattr(frame, "desc", None), getattr(frame, "type", None), getattr(frame, "data", None))


def frames(path, skip=("TIT2",)):
    tags = WAVE(path).tags
    return {} if tags is None else {k: value(v) for k, v in tags.items() if k[:4] not in skip}


def probed(path, skip=("title",)):
    out = subprocess.run(["ffprobe", "-v", "error", "-show_entries", "format_tags", "-of", "json", path],
                         check=True, capture_output=True).stdout
    tags = json.loads(out).get("format", {}).get("tags", {})
    return {k.lower(): v for k, v in tags.items() if k.lower() not in skip}


def append_chunk(path, cid, payload):
    with open(path, "r+b") as f:
        f.seek(0, 2)
        f.write(cid + struct.pack("<I", len(payload)) + payload + b"\0" * (len(payload) & 1))
        size = f.tell() - 8
        f.seek(4)
        f.write(struct.pack("<I", size))


def info_list(**fields):
    body = b"".join(k.encode() + struct.pack("<I", len(v) + 1) + v.encode() + b"\0" + b"\0" * ((len(v) + 1) & 1)
                    for k, v in fields.items())
    return b"INFO" + body


def empty_id3(path):
    ffmpeg_wav(path, "-metadata", "title=From ffmpeg")
    append_chunk(path, b"ID3 ", b"")


def ffmpeg_wav(path, *extra):
    run("ffmpeg", "-v", "error", "-y", "-f", "lavfi", "-i", "sine=d=0.3", "-ac", "2", "-fflags", "+bitexact",
        *extra, path)


def mutagen_wav(path, version, encoding, *ffmpeg_extra):
    ffmpeg_wav(path, *ffmpeg_extra)
    wav = WAVE(path)
    wav.add_tags()
    wav.tags.add(TIT2(encoding=encoding, text=["Titre \u00e9t\u00e9"]))
    wav.tags.add(TPE1(encoding=encoding, text=["\u5c71\u7530", "Smith"]))
    wav.tags.add(TALB(encoding=encoding, text=["Album \u263a"]))
    wav.tags.add(TDRC(encoding=encoding, text=["1999-12-31"]))
    wav.tags.add(COMM(encoding=encoding, lang="eng", desc="", text=["Comment \u00fc"]))
    wav.tags.add(TXXX(encoding=encoding, desc="replaygain_track_gain", text=["-3.00 dB"]))
    wav.tags.add(APIC(encoding=encoding, mime="image/png", type=3, desc="Cover \u00e9", data=PNG))
    wav.save(v2_version=version)


def sox_wav(path):
    run("sox", "-n", "-r", "44100", "-c", "2", "-b", "16", path, "synth", "0.3", "sine", "440")
    append_chunk(path, b"LIST", info_list(ICMT="Made by sox", IART="Sox Artist"))


def appending_tagger(path):
    """A first INFO list and ID3v2 tag, then a second of each with other values appended later."""
    mutagen_wav(path, 3, 1, "-metadata", "title=First list", "-metadata", "artist=First artist")
    append_chunk(path, b"LIST", info_list(INAM="Stale title", IART="Stale artist"))
    second = ID3()
    second.add(TIT2(encoding=1, text=["Stale id3 title"]))
    second.add(TALB(encoding=1, text=["Stale album"]))
    with tempfile.NamedTemporaryFile() as f:
        second.save(f.name, v2_version=3)
        append_chunk(path, b"id3 ", f.read())


FIXTURES = {
    "ffmpeg LIST": lambda p: ffmpeg_wav(p, "-metadata", "title=From ffmpeg", "-metadata", "artist=Encoder",
                                        "-metadata", "date=2010", "-metadata", "comment=Note"),
    "ffmpeg bext": lambda p: ffmpeg_wav(p, "-write_bext", "1", "-metadata", "description=Take 3",
                                        "-metadata", "originator=Desk 4", "-metadata", "origination_date=2020-02-03"),
    "sox": sox_wav,
    "mutagen 2.3 UTF-16": lambda p: mutagen_wav(p, 3, 1),
    "mutagen 2.4 UTF-8": lambda p: mutagen_wav(p, 4, 3),
    "appended twice": appending_tagger,
    "empty ID3": empty_id3,
}

with tempfile.TemporaryDirectory() as work:
    os.environ["XDG_CONFIG_HOME"] = os.path.join(work, "config")  # default tagging settings
    for name, make in FIXTURES.items():
        path = os.path.join(work, name.replace(" ", "_") + ".wav")
        make(path)
        audio, kept = audio_md5(path), untagged(path)
        others, probe = frames(path), probed(path)
        if name == "appended twice":
            # The first of each chunk wins on reading; the stale second ones must not outlive a write.
            others = {k: v for k, v in others.items() if k != "TALB"}
        ascii_only = name != "appended twice" and all(str(v).isascii() for v in probe.values())
        r = host("tag", path, "Title=Changed \u00e9")
        expect(f"{name}: tag", (r.returncode, r.stdout.strip()), (0, b"IDTags: 1"))
        expect(f"{name}: chunks kept", untagged(path), kept)
        expect(f"{name}: audio", audio_md5(path), audio)
        expect(f"{name}: mutagen title", str(WAVE(path).tags["TIT2"]), "Changed \u00e9")
        # Frames the file had keep their values; a file without ID3v2 gains one holding all its tags.
        expect(f"{name}: mutagen others", {k: v for k, v in frames(path).items() if k in others}, others)
        if ascii_only:
            # ffprobe prefers an INFO list, whose text is in the ANSI code page it does not assume.
            expect(f"{name}: ffprobe others", {k: v for k, v in probed(path).items() if k in probe}, probe)
        if name == "appended twice":
            ids = [c for c, d in chunks(path)]
            infos = [d for c, d in chunks(path) if c == "LIST" and d[:4] == b"INFO"]
            expect(f"{name}: one INFO list, one ID3v2 chunk", (len(infos), ids.count("id3 ")), (1, 1))
            expect(f"{name}: stale album gone", str(WAVE(path).tags["TALB"]), "Album \u263a")
        id3_chunks = [c for c, d in chunks(path) if c in ("ID3 ", "id3 ")]
        expect(f"{name}: one ID3v2 chunk", len(id3_chunks), 1)
        r = host("untag", path)
        expect(f"{name}: untag", r.returncode, 0)
        expect(f"{name}: no ID3v2 chunk after untag", [c for c, d in chunks(path) if c in ("ID3 ", "id3 ")], [])
        expect(f"{name}: chunks kept after untag", untagged(path), kept)
        expect(f"{name}: audio after untag", audio_md5(path), audio)
        expect(f"{name}: no ID3v2 after untag", WAVE(path).tags, None)

    # What we write, independent readers read: the full date, the picture and
    # its description, several artists (one ID3v2.3 text joined by "/"), and
    # text beyond ISO-8859-1.
    path = os.path.join(work, "ours.wav")
    ffmpeg_wav(path)
    picture = os.path.join(work, "cover.png")
    with open(picture, "wb") as f:
        f.write(PNG)
    r = host("tag", path, "Year=2004-05-28T15:30", "Artist=Alpha\rBeta", "Title=\u5c71 \u00e9t\u00e9",
             "--picture", picture, "--description", "Sleeve \u00e9")
    expect("ours: tag", r.returncode, 0)
    tags = WAVE(path).tags
    expect("ours: date", str(tags["TDRC"]), "2004-05-28 15:30:00")
    expect("ours: artists", list(tags["TPE1"].text), ["Alpha/Beta"])
    expect("ours: title", str(tags["TIT2"]), "\u5c71 \u00e9t\u00e9")
    expect("ours: picture", [(a.type, a.desc, a.data) for a in tags.getall("APIC")], [(3, "Sleeve \u00e9", PNG)])
    expect("ours: ffprobe date", probed(path, ()).get("date"), "2004-05-28T15:30")
    r = host("tag", path, "Comment=later")
    expect("ours: date survives a write that did not name it", str(WAVE(path).tags["TDRC"]), "2004-05-28 15:30:00")

checks.finish("checks passed")
