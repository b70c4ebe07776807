#!/usr/bin/python3
"""Tags rendered by our ID3v2 writer, read by mutagen: every version (2.2,
"2.21", 2.3, 2.4) and text encoding choice of the sample tag that
Id3v2WriterDump writes, and one dated tag per version.

usage: id3_writer_vs_mutagen.py WAVE_TESTS [RUNNER...]"""
import os
import subprocess
import sys
import tempfile

from mutagen import id3

from checks import Checks, program_command

TESTS = program_command()
checks = Checks()
expect = checks.expect

LATIN1, UTF16, UTF8 = 0, 1, 3
# What the sample tag of Id3v2WriterDump holds (tests/Id3v2WriterTest.cpp, SampleTags).
PNG = b"\x89PNG\r\n\x1a\n" + bytes(range(8, 120))
TITLE = "\u03a9mega \u6771\u4eac"
CDTOC = bytes([0x00, 0x12, 0x01, 0x01, 0x00, 0x14, 0x01, 0x00, 0x00, 0x00, 0x00, 0x00,
               0x00, 0x14, 0xAA, 0x00, 0x00, 0x00, 0x2A, 0x10])



def texts(tags, key):
    frame = tags.get(key)
    return list(frame.text) if frame is not None else None


def check_sample(path, version, encoding):
    what = f"{version}-{encoding}"
    tags = id3.ID3(path)
    major = {"v22": 2, "v221": 2, "v23": 3, "v24": 4}[version]
    expect(what + " version", tags.version[:2], (2, major))
    # Several values: one frame each in 2.21, zero-separated in 2.4, "/" joins otherwise.
    listed = version in ("v221", "v24")
    expect(what + " TIT2", texts(tags, "TIT2"), [TITLE])
    expect(what + " TPE1", texts(tags, "TPE1"), ["Artist A", "Artist B"] if listed else ["Artist A/Artist B"])
    expect(what + " TALB", texts(tags, "TALB"), ["Caf\u00e9 Album"])
    expect(what + " TPE2", texts(tags, "TPE2"), ["AC/DC"])
    expect(what + " TCOM", texts(tags, "TCOM"), ["Comp X", "Comp Y"] if listed else ["Comp X/Comp Y"])
    expect(what + " TDRC", [str(t) for t in tags["TDRC"].text] if "TDRC" in tags else None, ["2004"])
    expect(what + " TCON", texts(tags, "TCON"), ["Rock"])
    expect(what + " TRCK", texts(tags, "TRCK"), ["3/12"])
    expect(what + " TPOS", texts(tags, "TPOS"), ["1/2"])
    expect(what + " COMM", texts(tags, "COMM::eng"), ["A comment"])
    expect(what + " replaygain", texts(tags, "TXXX:replaygain_track_gain"), ["-6.50 dB"])
    if major == 2:
        # No lyrics or rating frame that 2.2 readers turn back into those names.
        expect(what + " lyrics", texts(tags, "TXXX:lyrics"), ["Line one\rLine two"])
        expect(what + " rating", texts(tags, "TXXX:rating"), ["196"])
    else:
        lyrics = tags.get("USLT::eng")
        expect(what + " USLT", lyrics.text if lyrics else None, "Line one\rLine two")
        popm = tags.get("POPM:Windows Media Player 9 Series")
        expect(what + " POPM", popm.rating if popm else None, 196)
    front = tags.get("APIC:Sleeve")
    expect(what + " front cover", (front.type, front.mime, front.data) if front else None,
           (3, "image/png", PNG))
    other = tags.get("APIC:")
    expect(what + " other picture", (other.type, other.mime, len(other.data)) if other else None,
           (0, "image/jpeg", 90))
    mcdi = tags.get("MCDI")
    expect(what + " MCDI", mcdi.data if mcdi else None, CDTOC)

    # ANSI keeps ISO-8859-1 where the text fits and takes the version's Unicode where not.
    unicode = UTF8 if major == 4 and encoding != "uni" else UTF16
    plain = LATIN1 if encoding == "ansi" else unicode
    expect(what + " TALB encoding", int(tags["TALB"].encoding), plain)
    expect(what + " TIT2 encoding", int(tags["TIT2"].encoding), unicode)


def check_date(path, version):
    tags = id3.ID3(path)
    # 2.2 and 2.3 carry the day and month in TDAT (DDMM) and the time in TIME
    # (HHMM), which mutagen merges into one date with seconds.
    expect(f"{version}-date TDRC", [str(t) for t in tags["TDRC"].text] if "TDRC" in tags else None,
           ["2004-05-06 07:08" if version == "v24" else "2004-05-06 07:08:00"])


with tempfile.TemporaryDirectory() as work:
    env = dict(os.environ, WAVE_ID3_DUMP_DIR=work)
    subprocess.run(TESTS + ["--gtest_filter=Id3v2WriterDump*"], check=True, env=env, capture_output=True)
    for version in ("v22", "v221", "v23", "v24"):
        for encoding in ("ansi", "uni", "utf8"):
            path = os.path.join(work, f"{version}-{encoding}.id3")
            if os.path.exists(path):
                check_sample(path, version, encoding)
            else:
                checks.failures.append(f"{path} was not written")
        path = os.path.join(work, f"{version}-date.id3")
        if os.path.exists(path):
            check_date(path, version)
        else:
            checks.failures.append(f"{path} was not written")

checks.finish("checks passed")
