#!/usr/bin/python3
"""wavehost info --json, parsed, agrees with an independent reading of the
same files (Python's own RIFF parsing) and with the properties rules. Every
command exits 0 on success, 1 when the plug-in said no (its error and
information lines on stderr, without --trace) and 2 on bad usage.

usage: host_info_json.py WAVEHOST [RUNNER...]"""
import json
import os
import struct
import tempfile

from checks import Checks, chunks, host, run, write

checks = Checks()
expect = checks.expect


with tempfile.TemporaryDirectory() as work:
    for name, args, quality, layout in (
            ("stereo16", ["-ac", "2", "-ar", "48000", "-c:a", "pcm_s16le"], "DAT (Lossless)", "Left, Right"),
            ("mono24", ["-ac", "1", "-ar", "96000", "-c:a", "pcm_s24le"], "DVD (Lossless)", "Center"),
            # ffmpeg writes float with an extensible header (mask 0x3): mask names join with two blanks.
            ("float", ["-ac", "2", "-ar", "44100", "-c:a", "pcm_f32le"], "Perfect (Lossless)", "Left,  Right"),
            # sox writes an extensible header and a 'fact' chunk; it has no way to write a title. Two whole
            # seconds, as a length that a second counted off by one would misread.
            ("sox", None, "DVD (Lossless)", "Left,  Right")):
        path = os.path.join(work, name + ".wav")
        if args is None:
            run("sox", "-n", "-r", 48000, "-b", 24, "-c", 2, path, "synth", 2, "sine", 440)
        else:
            run("ffmpeg", "-v", "error", "-y", "-f", "lavfi", "-i", "sine=d=1.25", *args, "-metadata",
                'title=Json "' + name + '\\', path)
        info = json.loads(host("info", path, "--json", check=True).stdout)
        listed = [(cid, len(data)) for cid, data in chunks(path)]
        tag, channels, rate, byte_rate, align, bits = struct.unpack("<HHIIHH", dict(chunks(path))["fmt "][:16])
        data_bytes = dict(listed)["data"]
        whole = data_bytes - data_bytes % align
        fmt = info["format"]
        expect(name + " format", [fmt["channels"], fmt["sampleRate"], fmt["bitsPerSample"], fmt["bytesPerSecond"]],
               [channels, rate, bits, byte_rate])
        expect(name + " sizes", [info[k] for k in ("dataBytes", "lengthMs", "samples", "bitRate", "length")],
               [whole, whole * 1000 // byte_rate, data_bytes // align, byte_rate * 8,
                "0:00:01.250" if args else "0:00:02.000"])
        props = info["properties"]
        expect(name + " properties", [props.get(k) for k in ("Sample Count", "Audio Quality", "Channel Mapping",
                                                              "Riff Chunks", "Wave Header")],
               [f"{data_bytes // align:,}", quality, layout,
                ",  ".join(f"'{cid}' {size:,} {'byte' if size == 1 else 'bytes'}" for cid, size in listed),
                "Wave Format Extensible" if tag == 0xFFFE else "Wave Format PCM" if dict(listed)["fmt "] == 16
                else "Wave Format Extended"])
        expect(name + " title", [t["values"] for t in info["tags"] if t["name"] == "Title"],
               [] if args is None else [['Json "' + name + '\\']])

    # Exit status and what a failure says, command by command.
    good = os.path.join(work, "stereo16.wav")
    missing = os.path.join(work, "missing.wav")
    nodata = os.path.join(work, "nodata.wav")
    body = b"WAVE" + b"fmt " + struct.pack("<IHHIIHH", 16, 1, 2, 8000, 32000, 4, 16)
    write(nodata, b"RIFF" + struct.pack("<I", len(body)) + body)
    picture = os.path.join(work, "cover.png")
    not_open = f"wavehost: Error opening file '{missing}', check no other program has it open. (Win:2)  " \
               "[clDecoder_Wave::Open]"
    refused = ["wavehost: clRIFFHandler::CalcAllChunks: "] * 2 + [
        "wavehost:   RIFF Header 'RIFF'  Length: 28  FormType 'WAVE'  [clRIFFHandler::ScanFile]",
        "wavehost:   Got Chunk 'fmt '  Length: 16  RiffSizeLeft: 16  ChunkPosition: 12  [clRIFFHandler::ScanFile]",
        "wavehost: clRIFFHandler::CalcAllChunks: ",
        "wavehost: Error the RIFF area (RIFF size 28, file size 36, chunks 'fmt ') holds no 'data' chunk: "
        "an unfinished or damaged file is left as it is.  [clWaveDecoder_Wave::WriteIDTags]"]
    for args, status, said in (
            (["info", good], 0, []), (["tags", good, "--json"], 0, []), (["open", good], 0, []),
            (["decode", good, "--null"], 0, []), (["formats"], 0, []), (["settings"], 0, []),
            (["open", missing], 1, [not_open]), (["info", missing], 1, [not_open]), (["tags", missing], 1, [not_open]),
            (["decode", missing, "--null"], 1, [not_open]),
            (["tag", nodata, "Title=T"], 1, refused), (["decode", nodata, "--null"], 1, None),
            ([], 2, None), (["bogus"], 2, None), (["info"], 2, None), (["info", good, "--bogus"], 2, None),
            (["formats", "extra"], 2, None), (["options", "extra"], 2, None), (["settings", "Nonsense", "1"], 2, None),
            (["tag", good], 2, None), (["tag", good, "novalue"], 2, None),
            (["tag", good, "Title=T", "--picture", picture], 2, ["wavehost: cannot read " + picture]),
            (["untag"], 2, None), (["decode", good], 2, None), (["decode", good, "--null", "--range", "x"], 2, None),
            (["info", good, "--timeout", "soon"], 2, None)):
        r = host(*args)
        expect(f"exit status of {args}", r.returncode, status)
        if said is not None:
            expect(f"stderr of {args}", r.stderr.decode().splitlines(), said)

    # A range without an end runs to the end of the data: 1.25 s at 48 kHz is 60,000 frames of 4 bytes.
    r = host("decode", good, "--null", "--range", "1000:", "--stats", check=True)
    expect("open-ended range", (r.stdout + r.stderr).decode().split(" in ")[0], f"decoded {59000 * 4} bytes")

checks.finish("passed")
