#!/usr/bin/python3
"""wavehost with addresses, run by net_servers.py (which names its servers in NET_* variables): open, info, tags,
decode and convert of an address show what the same file shows from disk, also from a server that pauses after the
head and the tags (without waiting for it); a missing address says the server's answer, a lost connection fails the
decode, --timeout bounds a stalled server, and the progress of a decode is never drawn when stderr is a file or a
pipe (natively a terminal shows it, as a check that the runs below would have drawn it).

usage: net_servers.py host_urls.py /usr/bin/python3, with WAVEHOST (the program) and WAVEHOST_RUNNER (e.g. wine,
or empty) in the environment."""
import os
import pty
import random
import struct
import subprocess
import tempfile
import time

from checks import Checks

HOST = os.environ.get("WAVEHOST_RUNNER", "").split() + [os.environ["WAVEHOST"]]
WWW, HTTP, SCRIPTED = os.environ["NET_WWW"], os.environ["NET_HTTP"], os.environ["NET_SCRIPTED"]
checks = Checks()
expect = checks.expect


def chunk(cid, body):
    return cid + struct.pack("<I", len(body)) + body + b"\0" * (len(body) & 1)


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
    try:
        while piece := os.read(main, 65536):
            out += piece
    except OSError:  # Linux's way of saying the other end is closed
        pass
    os.close(main)
    return out.decode()


local, url = os.path.join(WWW, "host.wav"), HTTP + "/host.wav"
body = (b"WAVE" + chunk(b"fmt ", struct.pack("<HHIIHH", 1, 2, 44100, 44100 * 4, 4, 16))
        + chunk(b"LIST", b"INFO" + chunk(b"INAM", b"Host title\0")) + chunk(b"data", random.Random(7).randbytes(1 << 20)))
with open(local, "wb") as f:
    f.write(b"RIFF" + struct.pack("<I", len(body)) + body)
sources = {"file": local, "address": url, "unsized": SCRIPTED + "/chunked/host.wav"}

expect("open address", host("open", url, "--timeout", "5").stdout.strip(), b"Open: 1")
# A stream keeps no chunk map and no unknown chunks: the name, the chunk line and the _riff_ tags differ, nothing else.
unstreamed = ("File:", "Chunks:", "  _riff_")
expect("info", without(host("info", url).stdout, unstreamed), without(host("info", local).stdout, unstreamed))
expect("tags", without(host("tags", url).stdout, ("_riff_",)), without(host("tags", local).stdout, ("_riff_",)))
with tempfile.TemporaryDirectory() as work:
    for command, options, least in (("decode", [], 1 << 20), ("convert", ["--rate", "22050", "--bits", "24"], 1 << 19)):
        outputs = []
        for name in ("file", "address"):
            out = os.path.join(work, name + ".wav")
            r = host(command, sources[name], "-o", out, *options)
            # A decode's stderr is a pipe here: no progress.
            expect(f"{command} {name}", (r.returncode, r.stderr if command == "decode" else b""), (0, b""))
            with open(out, "rb") as f:
                outputs.append(f.read())
        # No chunk but the tags came along, so the files are the same byte for byte.
        expect(f"{command} alike", outputs[0] == outputs[1] and len(outputs[0]) > least, True)

    expect("piped stderr of unsized", host("decode", sources["unsized"], "--null").stderr, b"")
    for name, source in sources.items():
        with open(os.path.join(work, "stderr.txt"), "w+b") as err:
            expect(f"stderr file of {name}", host("decode", source, "--null", stderr=err).returncode, 0)
            err.seek(0)
            expect(f"stderr file of {name} holds", err.read(), b"")
    if len(HOST) == 1:
        expect("terminal bar", "100%" in on_terminal("decode", local, "--null"), True)
        expect("terminal rate", "MiB received" in on_terminal("decode", sources["unsized"], "--null"), True)

# The server sends the rest of the file never: waiting for it would end in the time-out.
started = time.monotonic()
paused = host("info", SCRIPTED + "/pause/host.wav", "--timeout", "10")
expect("info behind a pause waits not for it", time.monotonic() - started < 8, True)
expect("info behind a pause", without(paused.stdout, unstreamed), without(host("info", local).stdout, unstreamed))

for command in ("open", "info", "tags"):
    missing = host(command, HTTP + "/missing.wav")
    expect(f"{command} of a missing address exits", missing.returncode, 1)
    expect(f"{command} of a missing address says", missing.stderr.decode().splitlines(),
           ["wavehost: HTTP status 404 (Not Found)  [clDecoder_Wave::Open]",
            f"wavehost: Error opening file '{HTTP}/missing.wav', check no other program has it open.  "
            "[clDecoder_Wave::Open]"])

lost = host("decode", SCRIPTED + "/drop-norange/host.wav", "--null")
expect("lost connection fails", lost.returncode, 1)
expect("lost connection says", b"Error reading data from file." in lost.stderr, True)
with tempfile.TemporaryDirectory() as work:
    cut = host("convert", SCRIPTED + "/drop-norange/host.wav", "-o", os.path.join(work, "out.wav"), "--rate", "48000")
    expect("a conversion cut short fails", cut.returncode, 1)
    expect("and leaves no file behind", os.listdir(work), [])
started = time.monotonic()
expect("stall fails", host("info", SCRIPTED + "/stall", "--timeout", "1").returncode, 1)
expect("stall fails in the time given, not the default 30 s", time.monotonic() - started < 10, True)
expect("bad timeout", host("decode", url, "--null", "--timeout", "soon").returncode, 2)
checks.finish()
