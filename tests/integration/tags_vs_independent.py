#!/usr/bin/python3
"""Tags written by independent tools read back through the plug-in (driven by
wavehost, as a host drives it) as those tools' own readers see them:
ID3v2 chunks written by mutagen, LIST/INFO and bext written by ffmpeg, and
a sox file with no tags at all.

usage: tags_vs_independent.py WAVEHOST [RUNNER...]"""
import json
import os
import tempfile

from mutagen import id3
from mutagen.wave import WAVE

from checks import Checks, ffmpeg_wav, host, metadata, probe_tags, run

checks = Checks()
expect = checks.expect
PNG = b"\x89PNG\r\n\x1a\n" + bytes(200)
JPEG = b"\xff\xd8\xff\xe0" + bytes(300)


def host_tags(path):
    return {t["name"]: t for t in json.loads(host("tags", path, "--json", check=True).stdout.decode("utf-8"))["tags"]}


def texts(tags, *names):
    return [tags[n]["values"] if n in tags and tags[n]["type"] == "text" else None for n in names]


def picture(tags, name):
    return tags.get(name, {}).get("mime"), tags.get(name, {}).get("size")


with tempfile.TemporaryDirectory() as work:
    # mutagen: ID3v2.3 (UTF-16) and ID3v2.4 (Latin-1 and UTF-8), with a LIST that ID3 must win over.
    for version, encoding in ((3, 1), (4, 0), (4, 3)):
        path = os.path.join(work, f"id3v2{version}-{encoding}.wav")
        ffmpeg_wav(path, *metadata(title="LIST title", album="LIST album"))
        f = WAVE(path)
        f.add_tags()
        title = "Caf\u00e9 del Mar" if encoding == 0 else "\u6771\u4eac \u00e9t\u00e9"
        for frame in (id3.TIT2(text=[title]), id3.TPE1(text=["Alpha", "Beta"]), id3.TPE2(text=["AC/DC"]),
                      id3.TCON(text=["17"]), id3.COMM(lang="eng", desc="", text=["A comment"]),
                      id3.USLT(lang="eng", desc="", text="Line one\nLine two"),
                      id3.TXXX(desc="replaygain_track_gain", text=["-6.50 dB"]),
                      id3.APIC(mime="image/png", type=3, desc="Sleeve", data=PNG),
                      id3.APIC(mime="image/jpeg", type=4, desc="", data=JPEG)):
            frame.encoding = encoding
            f.tags.add(frame)
        f.save(v2_version=version)
        back = WAVE(path).tags  # what mutagen itself reads back
        tags = host_tags(path)
        what = f"mutagen v2.{version} encoding {encoding}"
        expect(what, texts(tags, "Title", "Artist", "Album Artist", "Genre", "Comment", "Lyrics",
                           "replaygain_track_gain", "Album"),
               [list(back["TIT2"].text), ["Alpha", "Beta"], ["AC/DC"], ["Rock"], [back["COMM::eng"].text[0]],
                [back["USLT::eng"].text], ["-6.50 dB"], ["LIST album"]])
        expect(what + " covers", (picture(tags, "_albumart_1_Front Album Cover<subdesc>Sleeve"),
                                  picture(tags, "_albumart_2_Back Album Cover")),
               (("image/png", len(PNG)), ("image/jpeg", len(JPEG))))
        expect(what + " fmt marker", tags.get("_riff_fmt ", {}).get("size"), 4)

    # ffmpeg: LIST/INFO and bext, compared with what ffprobe reads; ffmpeg writes their text in UTF-8.
    path = os.path.join(work, "ffmpeg-bext.wav")
    meta = {"title": "Gr\u00fc\u00dfe aus K\u00f6ln", "artist": "\u6771\u4eac Ff artist", "album": "Ff album",
            "comment": "Ff comment", "genre": "Jazz", "date": "2021", "copyright": "Ff copyright"}
    bext = {"description": "Bext description f\u00fcr K\u00f6ln\r\nsecond line", "originator": "Bext originator",
            "origination_date": "2021-02-03", "origination_time": "04:05:06", "time_reference": "441000",
            "coding_history": "A=PCM,F=48000,W=16,M=mono\r\nA=PCM,F=44100,W=24,M=mono\r\n"}
    ffmpeg_wav(path, "-write_bext", 1, *metadata(**meta, **bext))
    probe = probe_tags(path)
    pairs = (("Title", "title"), ("Artist", "artist"), ("Album", "album"), ("Comment", "comment"), ("Genre", "genre"),
             ("Year", "date"), ("Copyright", "copyright"), ("TimeReference", "time_reference"),
             ("CodingHistory", "coding_history"), ("Originator", "encoded_by"), ("OrigTime", "creation_time"))
    tags = host_tags(path)
    for ours, theirs in pairs:
        expect(f"ffmpeg {ours}", texts(tags, ours), [[probe[theirs]]])
    expect("ffmpeg Description, OrigDate", texts(tags, "Description", "OrigDate"),
           [[bext["description"]], [bext["origination_date"]]])
    # For a person, the lines of a value stand under its first line.
    for command, indent in (("tags", ""), ("info", "  ")):
        lines = host(command, path, check=True).stdout.decode().splitlines()
        for key, first, second in (("Description", "Bext description f\u00fcr K\u00f6ln", "second line"),
                                   ("CodingHistory", "A=PCM,F=48000,W=16,M=mono", "A=PCM,F=44100,W=24,M=mono")):
            at = next((i for i, line in enumerate(lines) if line.startswith(f"{indent}{key}: ")), len(lines))
            expect(f"{indent!r} {key} lines", lines[at:at + 2],
                   [f"{indent}{key}: {first}", indent + " " * (len(key) + 2) + second])
        # Its closing line break prints no blank line.
        expect(f"{indent!r} after the coding history", lines[at + 2:at + 3] != [] and lines[at + 2].strip() != "", True)

    # sox: no tags, but a 'fact' chunk, which is bookkeeping and never offered as a "_riff_" tag.
    path = os.path.join(work, "sox.wav")
    run("sox", "-n", "-r", 8000, path, "synth", 0.1, "sine", 440)
    expect("sox chunk tags", sorted(host_tags(path)), ["_riff_data", "_riff_fmt "])

checks.finish("passed")
