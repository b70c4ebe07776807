#!/usr/bin/env python3
"""Writes small ID3v2 tags with mutagen, an independent implementation, so the
reader is checked against files it did not write itself. Run from tests/data/;
Id3v2ReaderSamples expects exactly the values below."""
import os

from mutagen.id3 import APIC, COMM, ID3, TALB, TCON, TDRC, TIT2, TPE1, TRCK, TXXX, USLT

PNG = b"\x89PNG\r\n\x1a\n\x00\x01\x02\x03"

for path, version, encoding, genre in (("id3v23_utf16.id3", 3, 1, "(17)"), ("id3v24_latin1.id3", 4, 0, "Rock")):
    tag = ID3()
    for frame in (TIT2(text="Gr\u00fc\u00dfe"), TPE1(text="AC/DC"), TALB(text="Live"), TRCK(text="3/12"),
                  TCON(text=genre), TDRC(text="1979"), TXXX(desc="replaygain_track_gain", text="-6.50 dB"),
                  TXXX(desc="replaygain_album_peak", text="0.988"), COMM(lang="eng", desc="", text="Nice one"),
                  USLT(lang="eng", desc="", text="La la la"), APIC(mime="image/png", type=3, desc="Cover", data=PNG)):
        frame.encoding = encoding
        tag.add(frame)
    if version == 3:
        tag.update_to_v23()
    open(path, "wb").close()
    tag.save(path, v2_version=version, padding=lambda info: 16)
    print(path, os.path.getsize(path))
