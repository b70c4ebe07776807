#!/usr/bin/python3
"""Tags written by independent tools read back through the plug-in (driven by
wavehost, as a host drives it) as those tools' own readers see them:
ID3v2 chunks written by mutagen, LIST/INFO and bext written by ffmpeg, and
a sox file with no tags at all.

usage: tags_vs_independent.py WAVEHOST [RUNNER...]"""
import json
import os
import subprocess
import sys
import tempfile

from mutagen import id3
from mutagen.wave import WAVE

from checks import Checks, program_command

HOST = program_command()
checks = Checks()
expect = checks.expect


def host_tags(path):
    out = subprocess.run(HOST + ["tags", path, "--json"], check=True, capture_output=True).stdout
    tags = json.loads(out.decode("utf-8"))["tags"]
    return {t["name"]: t for t in tags}



def text(tags, name):
    t = tags.get(name)
    return t["values"] if t and t["type"] == "text" else None


def make_wav(path, *extra):
    subprocess.run(["ffmpeg", "-v", "error", "-y", "-f", "lavfi", "-i", "sine=d=0.2", *extra, path], check=True)


PNG = b"\x89PNG\r\n\x1a\n" + bytes(200)
JPEG = b"\xff\xd8\xff\xe0" + bytes(300)

with tempfile.TemporaryDirectory() as work:
    # mutagen: ID3v2.3 (UTF-16) and ID3v2.4 (Latin-1 and UTF-8), with a LIST that ID3 must win over.
    for version, encoding in ((3, 1), (4, 0), (4, 3)):
        path = os.path.join(work, f"id3v2{version}-{encoding}.wav")
        make_wav(path, "-metadata", "title=LIST title", "-metadata", "album=LIST album")
        f = WAVE(path)
        f.add_tags()
        latin = encoding == 0
        title = "Caf\u00e9 del Mar" if latin else "\u6771\u4eac \u00e9t\u00e9"
        f.tags.add(id3.TIT2(encoding=encoding, text=[title]))
        f.tags.add(id3.TPE1(encoding=encoding, text=["Alpha", "Beta"]))
        f.tags.add(id3.TPE2(encoding=encoding, text=["AC/DC"]))
        f.tags.add(id3.TCON(encoding=encoding, text=["17"]))
        f.tags.add(id3.COMM(encoding=encoding, lang="eng", desc="", text=["A comment"]))
        f.tags.add(id3.USLT(encoding=encoding, lang="eng", desc="", text="Line one\nLine two"))
        f.tags.add(id3.TXXX(encoding=encoding, desc="replaygain_track_gain", text=["-6.50 dB"]))
        f.tags.add(id3.APIC(encoding=encoding, mime="image/png", type=3, desc="Sleeve", data=PNG))
        f.tags.add(id3.APIC(encoding=encoding, mime="image/jpeg", type=4, desc="", data=JPEG))
        f.save(v2_version=version)
        back = WAVE(path).tags  # what mutagen itself reads back
        tags = host_tags(path)
        what = f"mutagen v2.{version} encoding {encoding}"
        expect(what + " Title", text(tags, "Title"), list(back["TIT2"].text))
        expect(what + " Artist", text(tags, "Artist"), ["Alpha", "Beta"])
        expect(what + " Album Artist", text(tags, "Album Artist"), ["AC/DC"])
        expect(what + " Genre", text(tags, "Genre"), ["Rock"])
        expect(what + " Comment", text(tags, "Comment"), [back["COMM::eng"].text[0]])
        expect(what + " Lyrics", text(tags, "Lyrics"), [back["USLT::eng"].text])
        expect(what + " replaygain", text(tags, "replaygain_track_gain"), ["-6.50 dB"])
        front = tags.get("_albumart_1_Front Album Cover<subdesc>Sleeve", {})
        expect(what + " front cover", (front.get("mime"), front.get("size")), ("image/png", len(PNG)))
        back_cover = tags.get("_albumart_2_Back Album Cover", {})
        expect(what + " back cover", (back_cover.get("mime"), back_cover.get("size")), ("image/jpeg", len(JPEG)))
        expect(what + " LIST album kept", text(tags, "Album"), ["LIST album"])
        expect(what + " fmt marker", tags.get("_riff_fmt ", {}).get("size"), 4)

    # ffmpeg: LIST/INFO and bext, compared with what ffprobe reads; ffmpeg writes their text in UTF-8.
    path = os.path.join(work, "ffmpeg-bext.wav")
    meta = {"title": "Gr\u00fc\u00dfe aus K\u00f6ln", "artist": "\u6771\u4eac Ff artist", "album": "Ff album",
            "comment": "Ff comment", "genre": "Jazz", "date": "2021", "copyright": "Ff copyright"}
    bext = {"description": "Bext description f\u00fcr K\u00f6ln\r\nsecond line", "originator": "Bext originator",
            "origination_date": "2021-02-03", "origination_time": "04:05:06", "time_reference": "441000",
            "coding_history": "A=PCM,F=48000,W=16,M=mono\r\nA=PCM,F=44100,W=24,M=mono\r\n"}
    args = ["-write_bext", "1"]
    for k, v in {**meta, **bext}.items():
        args += ["-metadata", f"{k}={v}"]
    make_wav(path, *args)
    probe = json.loads(subprocess.run(["ffprobe", "-v", "error", "-show_entries", "format_tags", "-of", "json", path],
                                      check=True, capture_output=True).stdout)["format"]["tags"]
    tags = host_tags(path)
    for ours, theirs in (("Title", "title"), ("Artist", "artist"), ("Album", "album"), ("Comment", "comment"),
                         ("Genre", "genre"), ("Year", "date"), ("Copyright", "copyright"),
                         ("TimeReference", "time_reference"), ("CodingHistory", "coding_history"),
                         ("Originator", "encoded_by"), ("OrigTime", "creation_time")):
        expect(f"ffmpeg {ours}", text(tags, ours), [probe[theirs]])
    expect("ffmpeg Description", text(tags, "Description"), [bext["description"]])
    expect("ffmpeg OrigDate", text(tags, "OrigDate"), [bext["origination_date"]])
    # For a person, the lines of a value stand under its first line.
    shown = [subprocess.run(HOST + [command, path], check=True, capture_output=True).stdout.decode().splitlines()
             for command in ("tags", "info")]
    for lines, indent in zip(shown, ("", "  ")):
        at = next((i for i, line in enumerate(lines) if line.startswith(indent + "Description: ")), len(lines))
        expect(f"{indent!r} description lines", lines[at:at + 2],
               [indent + "Description: Bext description f\u00fcr K\u00f6ln", indent + " " * 13 + "second line"])
        at = next((i for i, line in enumerate(lines) if line.startswith(indent + "CodingHistory: ")), len(lines))
        expect(f"{indent!r} coding history lines", lines[at:at + 2],
               [indent + "CodingHistory: A=PCM,F=48000,W=16,M=mono", indent + " " * 15 + "A=PCM,F=44100,W=24,M=mono"])
        # Its closing line break prints no blank line.
        expect(f"{indent!r} after the coding history", lines[at + 2:at + 3] != [] and lines[at + 2].strip() != "", True)

    # sox: no tags, but a 'fact' chunk, which is bookkeeping and never offered as a "_riff_" tag.
    path = os.path.join(work, "sox.wav")
    subprocess.run(["sox", "-n", "-r", "8000", path, "synth", "0.1", "sine", "440"], check=True)
    tags = host_tags(path)
    expect("sox chunk tags", sorted(tags), ["_riff_data", "_riff_fmt "])

checks.finish("passed")
