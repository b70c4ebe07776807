#!/usr/bin/env python3
"""Writes small ID3v2 tags with mutagen, an independent implementation, so the
reader is checked against files it did not write itself. Run from tests/data/;
Id3v2ReaderSamples expects exactly the values below."""
import os

from mutagen.id3 import APIC, COMM, ID3, TALB, TCON, TDRC, TIT2, TPE1, TRCK, TXXX, USLT

PNG = b"\x89PNG\r\n\x1a\n\x00\x01\x02\x03"


def write(path, version, encoding, genre):
    tag = ID3()
    tag.add(TIT2(encoding=encoding, text="Gr\u00fc\u00dfe"))
    tag.add(TPE1(encoding=encoding, text="AC/DC"))
    tag.add(TALB(encoding=encoding, text="Live"))
    tag.add(TRCK(encoding=encoding, text="3/12"))
    tag.add(TCON(encoding=encoding, text=genre))
    tag.add(TDRC(encoding=encoding, text="1979"))
    tag.add(TXXX(encoding=encoding, desc="replaygain_track_gain", text="-6.50 dB"))
    tag.add(TXXX(encoding=encoding, desc="replaygain_album_peak", text="0.988"))
    tag.add(COMM(encoding=encoding, lang="eng", desc="", text="Nice one"))
    tag.add(USLT(encoding=encoding, lang="eng", desc="", text="La la la"))
    tag.add(APIC(encoding=encoding, mime="image/png", type=3, desc="Cover", data=PNG))
    if version == 3:
        tag.update_to_v23()
    open(path, "wb").close()
    tag.save(path, v2_version=version, padding=lambda info: 16)


write("id3v23_utf16.id3", 3, 1, "(17)")
write("id3v24_latin1.id3", 4, 0, "Rock")
for name in ("id3v23_utf16.id3", "id3v24_latin1.id3"):
    print(name, os.path.getsize(name))
