#!/usr/bin/python3
"""Tags written and deleted through the plug-in (wavehost tag/untag, as a host
drives Set "IDTags" and DeleteATag) read back by independent readers: mutagen
for the ID3v2 chunk, ffprobe for LIST/INFO and bext, ffmpeg for the audio,
and a chunk walk of our own for the chunks that must stay byte for byte. They
see the full date, the picture with its description, several artists and
text beyond ISO-8859-1.

usage: tag_write_vs_independent.py WAVEHOST [RUNNER...]"""
import os
import struct
import tempfile

from mutagen.wave import WAVE

from checks import Checks, append_chunk, audio_md5, chunk, ffmpeg_wav, host, metadata, probe_tags, write

checks = Checks()
expect = checks.expect
PNG = b"\x89PNG\r\n\x1a\n" + bytes(range(256)) * 8
CUE = struct.pack("<I", 1) + struct.pack("<II4sIII", 1, 0, b"data", 0, 0, 4410)


def texts(path, *ids):
    tags = WAVE(path).tags
    return [[str(t) for t in tags[i].text] if tags and i in tags else None for i in ids]


def keeps(what, path, audio):
    expect(f"{what}: audio and cue kept", (audio_md5(path), chunk(path, "cue ")), (audio, CUE))


with tempfile.TemporaryDirectory() as work:
    os.environ["XDG_CONFIG_HOME"] = os.path.join(work, "config")  # default tagging settings
    picture = write(os.path.join(work, "cover.png"), PNG)

    # A plain ffmpeg file with a 'cue ' chunk: written, re-written, then stripped.
    path = os.path.join(work, "plain.wav")
    ffmpeg_wav(path)
    append_chunk(path, b"cue ", CUE)
    before = audio_md5(path)
    r = host("tag", path, "Title=Caf\u00e9 Song", "Artist=Alpha\rBeta", "Album=Beta", "Comment=\u5c71 \u00e9t\u00e9",
             "Year=2004-05-28T15:30", "replaygain_track_gain=-6.50 dB", "--picture", picture, "--description",
             "Sleeve \u00e9")
    expect("plain tag exit", (r.returncode, r.stdout.strip()), (0, b"IDTags: 1"))
    # Several artists are one ID3v2.3 text joined by "/"; mutagen adds the seconds to the date.
    expect("mutagen texts", texts(path, "TIT2", "TPE1", "TALB", "COMM::eng", "TDRC"),
           [["Caf\u00e9 Song"], ["Alpha/Beta"], ["Beta"], ["\u5c71 \u00e9t\u00e9"], ["2004-05-28 15:30:00"]])
    tags = WAVE(path).tags
    expect("mutagen replay gain", [list(t.text) for t in tags.getall("TXXX") if t.desc == "replaygain_track_gain"],
           [["-6.50 dB"]])
    expect("mutagen picture", [(a.type, a.desc, a.data) for a in tags.getall("APIC")], [(3, "Sleeve \u00e9", PNG)])
    # INFO text is in the ANSI code page, which ffprobe does not assume: the title is compared by mutagen only.
    probed = probe_tags(path)
    expect("ffprobe artist, album, date", [probed.get(k) for k in ("artist", "album", "date")],
           ["Alpha\rBeta", "Beta", "2004-05-28T15:30"])
    keeps("plain tagged", path, before)

    host("tag", path, "Title=Second")
    expect("second write title; artist and date kept", texts(path, "TIT2", "TPE1", "TDRC"),
           [["Second"], ["Alpha/Beta"], ["2004-05-28 15:30:00"]])
    expect("second write keeps picture", len(WAVE(path).tags.getall("APIC")), 1)
    expect("second write ffprobe title", probe_tags(path).get("title"), "Second")
    keeps("second write", path, before)

    expect("untag named exit", host("untag", path, "Artist").returncode, 0)
    expect("untag named: artist gone, title kept", texts(path, "TPE1", "TIT2"), [None, ["Second"]])
    probed = probe_tags(path)
    expect("untag named ffprobe", (probed.get("artist"), probed.get("title")), (None, "Second"))

    expect("untag all exit", host("untag", path).returncode, 0)
    expect("untag all mutagen", WAVE(path).tags, None)
    probed = probe_tags(path)
    expect("untag all ffprobe", (probed.get("title"), probed.get("album")), (None, None))
    keeps("untag all", path, before)

    # An ffmpeg file with LIST and bext keeps its audio and gains our tags.
    path = os.path.join(work, "bwf.wav")
    ffmpeg_wav(path, "-write_bext", 1, *metadata(title="From ffmpeg", artist="Encoder",
                                                 description="Broadcast take", originator="Desk 4"))
    before, bext_before = audio_md5(path), chunk(path, "bext")
    r = host("tag", path, "Title=Ours", "Description=Our take")
    expect("bwf tag exit", (r.returncode, r.stdout.strip()), (0, b"IDTags: 1"))
    probed = probe_tags(path)
    # ffmpeg shows the bext description as "comment" and the originator as "encoded_by".
    expect("bwf ffprobe title, artist kept, description, originator kept",
           [probed.get(k) for k in ("title", "artist", "comment", "encoded_by")], ["Ours", "Encoder", "Our take", "Desk 4"])
    bext_after = chunk(path, "bext")
    expect("bwf bext version and UMID kept", bext_after[346:412] if bext_after else None, bext_before[346:412])
    expect("bwf mutagen title", texts(path, "TIT2"), [["Ours"]])
    expect("bwf audio", audio_md5(path), before)
    expect("bwf no temporary file", sorted(n for n in os.listdir(work) if n != "config"),
           ["bwf.wav", "cover.png", "plain.wav"])

    # An RF64 file without its 'ds64' chunk (public test files have this shape):
    # the sizes of its audio are not known, so a write or a delete is refused and
    # the file keeps every byte.
    path = os.path.join(work, "rf64.wav")
    ffmpeg_wav(path)
    with open(path, "r+b") as f:
        f.write(b"RF64\xff\xff\xff\xff")
    with open(path, "rb") as f:
        before = f.read()
    for args in (("tag", path, "Title=T"), ("untag", path)):
        r = host(*args)
        with open(path, "rb") as f:
            expect(f"rf64 without ds64 {args[0]} refused, file kept",
                   (r.returncode != 0, b"has no 'ds64' chunk" in r.stderr, f.read() == before), (True, True, True))

checks.finish("checks passed")
