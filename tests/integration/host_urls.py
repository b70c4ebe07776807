#!/usr/bin/python3
"""wavehost with addresses, run by net_servers.py (which names its servers in
NET_* variables): open, info, tags, decode and convert of an address show
what the same file shows from disk, --timeout bounds a stalled server, and the
progress of a decode is never drawn when stderr is a file or a pipe (natively
a terminal shows it, as a check that the runs below would have drawn it).

usage: net_servers.py host_urls.py /usr/bin/python3, with WAVEHOST (the
program) and WAVEHOST_RUNNER (e.g. wine, or empty) in the environment."""
import os
import pty
import random
import struct
import subprocess
import tempfile

from checks import Checks

HOST = os.environ.get("WAVEHOST_RUNNER", "").split() + [os.environ["WAVEHOST"]]
WWW, HTTP, SCRIPTED = os.environ["NET_WWW"], os.environ["NET_HTTP"], os.environ["NET_SCRIPTED"]
checks = Checks()
expect = checks.expect


def chunk(cid, body):
    return cid + struct.pack("<I", len(body)) + body + b"\0" * (len(body) & 1)


def write_wave(path, audio):
    fmt = struct.pack("<HHIIHH", 1, 2, 44100, 44100 * 4, 4, 16)
    info = chunk(b"LIST", b"INFO" + chunk(b"INAM", b"Host title\0"))
    body = b"WAVE" + chunk(b"fmt ", fmt) + info + chunk(b"data", audio)
    with open(path, "wb") as f:
        f.write(b"RIFF" + struct.pack("<I", len(body)) + body)


def host(*args, stderr=subprocess.PIPE):
    return subprocess.run(HOST + list(args), stdout=subprocess.PIPE, stderr=stderr, timeout=120)


def without(text, prefixes):
    return [line for line in text.decode().splitlines() if not line.startswith(prefixes)]


def on_terminal(*args):
    """What a decode writes to stderr when it is a terminal."""
    main, side = pty.openpty()
    subprocess.run(HOST + list(args), stdout=subprocess.DEVNULL, stderr=side, timeout=120)
    os.close(side)
    out = b""
    while True:
        try:
            piece = os.read(main, 65536)
        except OSError:
            break
        if not piece:
            break
        out += piece
    os.close(main)
    return out.decode()


local = os.path.join(WWW, "host.wav")
write_wave(local, random.Random(7).randbytes(4 * 2_000_000))
url = HTTP + "/host.wav"
sources = {"file": local, "address": url, "unsized": SCRIPTED + "/chunked/host.wav"}

expect("open address", host("open", url, "--timeout", "5").stdout.strip(), b"Open: 1")
# A stream keeps no chunk map and no unknown chunks: the name, the chunk line and the _riff_ tags differ, nothing else.
unstreamed = ("File:", "Chunks:", "  _riff_")
expect("info", without(host("info", url).stdout, unstreamed), without(host("info", local).stdout, unstreamed))
expect("tags", without(host("tags", url).stdout, ("_riff_",)), without(host("tags", local).stdout, ("_riff_",)))
with tempfile.TemporaryDirectory() as work:
    outputs = []
    for name in ("file", "address"):
        out = os.path.join(work, name + ".wav")
        expect(f"decode {name}", host("decode", sources[name], "-o", out).returncode, 0)
        with open(out, "rb") as f:
            outputs.append(f.read())
    expect("decoded alike", outputs[0] == outputs[1] and len(outputs[0]) > 8_000_000, True)
    converted = []
    for name in ("file", "address"):
        out = os.path.join(work, name + "-22k.wav")
        r = host("convert", sources[name], "-o", out, "--rate", "22050", "--bits", "24")
        expect(f"convert {name}", r.returncode, 0)
        with open(out, "rb") as f:
            converted.append(f.read())
    # No chunk but the tags came along, so the files are the same byte for byte.
    expect("converted alike", converted[0] == converted[1] and len(converted[0]) > 6_000_000, True)

    for name, source in sources.items():
        expect(f"piped stderr of {name}", host("decode", source, "--null").stderr, b"")
        with open(os.path.join(work, "stderr.txt"), "w+b") as err:
            expect(f"stderr file of {name}", host("decode", source, "--null", stderr=err).returncode, 0)
            err.seek(0)
            expect(f"stderr file of {name} holds", err.read(), b"")
    if len(HOST) == 1:
        expect("terminal bar", "100%" in on_terminal("decode", local, "--null"), True)
        expect("terminal rate", "MiB received" in on_terminal("decode", sources["unsized"], "--null"), True)

stalled = host("decode", SCRIPTED + "/stall/host.wav", "--null", "--timeout", "2")
expect("stall fails", stalled.returncode, 1)
expect("stall says", b"Error reading data from file." in stalled.stderr, True)
expect("bad timeout", host("decode", url, "--null", "--timeout", "soon").returncode, 2)
checks.finish()
