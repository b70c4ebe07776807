#!/usr/bin/python3
"""Files as other programs write them (ffmpeg with LIST/INFO or bext, sox,
mutagen's ID3v2.3 in UTF-16 and ID3v2.4 in UTF-8, a tagger that appended
a second INFO list and a second ID3v2 chunk, and one that left an empty
ID3v2 chunk, which mutagen reads first) through a write of one tag and a
delete-all by the plug-in (wavehost): every chunk that holds no tags keeps its
bytes, the audio stays, independent readers (mutagen, ffprobe) see the same
values as before for every tag the write did not name.

usage: tags_real_world.py WAVEHOST [RUNNER...]"""
import os
import struct
import tempfile

from mutagen.id3 import APIC, COMM, ID3, TALB, TDRC, TIT2, TPE1, TXXX
from mutagen.wave import WAVE

from checks import Checks, append_chunk, audio_md5, chunks, ffmpeg_wav, host, metadata, probe_tags, run

checks = Checks()
expect = checks.expect
PNG = b"\x89PNG\r\n\x1a\n" + bytes(range(256)) * 4
TAG_CHUNKS = {"id3 ", "ID3 ", "bext", "JUNK", "PAD "}


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


def info_list(**fields):
    return b"INFO" + b"".join(k.encode() + struct.pack("<I", len(v) + 1) + v.encode() + b"\0" * (2 - (len(v) & 1))
                              for k, v in fields.items())


def mutagen_wav(path, version, encoding, *ffmpeg_extra):
    ffmpeg_wav(path, *ffmpeg_extra)
    wav = WAVE(path)
    wav.add_tags()
    for frame in (TIT2(text=["Titre \u00e9t\u00e9"]), TPE1(text=["\u5c71\u7530", "Smith"]), TALB(text=["Album \u263a"]),
                  TDRC(text=["1999-12-31"]), COMM(lang="eng", desc="", text=["Comment \u00fc"]),
                  TXXX(desc="replaygain_track_gain", text=["-3.00 dB"]),
                  APIC(mime="image/png", type=3, desc="Cover \u00e9", data=PNG)):
        frame.encoding = encoding
        wav.tags.add(frame)
    wav.save(v2_version=version)


def appending_tagger(path):
    """A first INFO list and ID3v2 tag, then a second of each with other values appended later."""
    mutagen_wav(path, 3, 1, *metadata(title="First list", artist="First artist"))
    append_chunk(path, b"LIST", info_list(INAM="Stale title", IART="Stale artist"))
    second = ID3()
    second.add(TIT2(encoding=1, text=["Stale id3 title"]))
    second.add(TALB(encoding=1, text=["Stale album"]))
    with tempfile.NamedTemporaryFile() as f:
        second.save(f.name, v2_version=3)
        append_chunk(path, b"id3 ", f.read())


FIXTURES = {
    "ffmpeg LIST": lambda p: ffmpeg_wav(p, *metadata(title="From ffmpeg", artist="Encoder", date=2010, comment="Note")),
    "ffmpeg bext": lambda p: ffmpeg_wav(p, "-write_bext", 1, *metadata(description="Take 3", originator="Desk 4",
                                                                       origination_date="2020-02-03")),
    "sox": lambda p: (run("sox", "-n", "-r", 44100, "-c", 2, "-b", 16, p, "synth", 0.3, "sine", 440),
                      append_chunk(p, b"LIST", info_list(ICMT="Made by sox", IART="Sox Artist"))),
    "mutagen 2.3 UTF-16": lambda p: mutagen_wav(p, 3, 1),
    "mutagen 2.4 UTF-8": lambda p: mutagen_wav(p, 4, 3),
    "appended twice": appending_tagger,
    "empty ID3": lambda p: (ffmpeg_wav(p, *metadata(title="From ffmpeg")), append_chunk(p, b"ID3 ", b"")),
}

def id3_chunks(path):
    return [c for c, d in chunks(path) if c in ("ID3 ", "id3 ")]


with tempfile.TemporaryDirectory() as work:
    os.environ["XDG_CONFIG_HOME"] = os.path.join(work, "config")  # default tagging settings
    for name, make in FIXTURES.items():
        path = os.path.join(work, name.replace(" ", "_") + ".wav")
        make(path)
        audio, kept, others, probe = audio_md5(path), untagged(path), frames(path), probe_tags(path, ("title",))
        twice = name == "appended twice"
        if twice:
            del others["TALB"]  # the first of each chunk wins on reading; the stale second ones must not outlive a write
        r = host("tag", path, "Title=Changed \u00e9")
        expect(f"{name}: tag", (r.returncode, r.stdout.strip()), (0, b"IDTags: 1"))
        expect(f"{name}: chunks kept", untagged(path), kept)
        expect(f"{name}: audio", audio_md5(path), audio)
        expect(f"{name}: mutagen title, one ID3v2 chunk", (str(WAVE(path).tags["TIT2"]), len(id3_chunks(path))),
               ("Changed \u00e9", 1))
        # Frames the file had keep their values; a file without ID3v2 gains one holding all its tags.
        expect(f"{name}: mutagen others", {k: v for k, v in frames(path).items() if k in others}, others)
        if not twice and all(str(v).isascii() for v in probe.values()):
            # ffprobe prefers an INFO list, whose text is in the ANSI code page it does not assume.
            expect(f"{name}: ffprobe others", {k: v for k, v in probe_tags(path).items() if k in probe}, probe)
        if twice:
            infos = [d for c, d in chunks(path) if c == "LIST" and d[:4] == b"INFO"]
            expect(f"{name}: one INFO list, one ID3v2 chunk, stale album gone",
                   (len(infos), id3_chunks(path), str(WAVE(path).tags["TALB"])), (1, ["id3 "], "Album \u263a"))
        expect(f"{name}: untag", host("untag", path).returncode, 0)
        expect(f"{name}: no ID3v2 after untag", (id3_chunks(path), WAVE(path).tags), ([], None))
        expect(f"{name}: chunks kept after untag", untagged(path), kept)
        expect(f"{name}: audio after untag", audio_md5(path), audio)

checks.finish("checks passed")
