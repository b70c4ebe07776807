#!/usr/bin/env python3
"""Writes a short 16-bit stereo wave file whose tag chunks hold many distinct names:
info:  a LIST/INFO chunk of COUNT sub-chunks, each a distinct unknown identifier with a one-letter text
       (10 bytes each: 100,000 of them make a 1 MB list);
txxx:  an 'id3 ' chunk holding an ID3v2.3 tag of COUNT TXXX frames, each with a distinct description.
usage: make_hostile_tags.py PATH info|txxx COUNT"""
import struct
import sys

path, kind, count = sys.argv[1], sys.argv[2], int(sys.argv[3])
LETTERS = b"ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789"


def info_id(n):
    # 'X' first keeps every identifier out of the table of known names.
    out = bytearray(b"X")
    for _ in range(3):
        out.append(LETTERS[n % len(LETTERS)])
        n //= len(LETTERS)
    if n:
        out[0] = LETTERS[n % len(LETTERS)]
        assert out[0] != ord("I")
    return bytes(out)


def chunk(fourcc, payload):
    return fourcc + struct.pack("<I", len(payload)) + payload + (b"\0" if len(payload) % 2 else b"")


def syncsafe(n):
    return bytes([(n >> 21) & 0x7F, (n >> 14) & 0x7F, (n >> 7) & 0x7F, n & 0x7F])


if kind == "info":
    assert count <= len(LETTERS) ** 3 * (len(LETTERS) - 1)
    ids = {info_id(n) for n in range(count)}
    assert len(ids) == count
    tag = chunk(b"LIST", b"INFO" + b"".join(chunk(info_id(n), b"v\0") for n in range(count)))
elif kind == "txxx":
    frames = bytearray()
    for n in range(count):
        body = b"\0" + b"d%d\0" % n + b"v"
        frames += b"TXXX" + struct.pack(">I", len(body)) + b"\0\0" + body
    tag = chunk(b"id3 ", b"ID3\x03\0\0" + syncsafe(len(frames)) + bytes(frames))
else:
    sys.exit("kind must be info or txxx")

audio = bytes(4 * 4800)
fmt = chunk(b"fmt ", struct.pack("<HHIIHH", 1, 2, 48000, 192000, 4, 16))
body = b"WAVE" + fmt + chunk(b"data", audio) + tag
with open(path, "wb") as f:
    f.write(b"RIFF" + struct.pack("<I", len(body)) + body)
