#!/usr/bin/env python3
"""Writes a 16-bit stereo 48 kHz wave file with DATA_BYTES of audio.
random: noise from /dev/urandom (RIFF, or RF64 past 4 GiB); sparse: zeros, holes on disk."""
import os
import struct
import sys

path, size, kind = sys.argv[1], int(sys.argv[2]), sys.argv[3]
if os.path.exists(path) and os.path.getsize(path) > size:
    sys.exit(0)
fmt = struct.pack("<HHIIHH", 1, 2, 48000, 192000, 4, 16)
rf64 = size + 72 > 0xFFFFFFFF
with open(path, "wb") as f:
    if rf64:
        riff = 4 + 36 + 24 + 8 + size
        f.write(b"RF64" + struct.pack("<I", 0xFFFFFFFF) + b"WAVE")
        f.write(b"ds64" + struct.pack("<IQQQI", 28, riff, size, size // 4, 0))
    else:
        f.write(b"RIFF" + struct.pack("<I", 4 + 24 + 8 + size) + b"WAVE")
    f.write(b"fmt " + struct.pack("<I", 16) + fmt)
    f.write(b"data" + struct.pack("<I", 0xFFFFFFFF if rf64 else size))
    if kind == "sparse":
        f.truncate(f.tell() + size)
    else:
        with open("/dev/urandom", "rb") as r:
            left = size
            while left:
                chunk = r.read(min(left, 1 << 24))
                f.write(chunk)
                left -= len(chunk)
