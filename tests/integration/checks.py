"""What the Python integration scripts share: the command that runs a
program of the build (through its runner, e.g. wine, when one is given after
it on the command line), a tally of named expectations, and the independent
readers (ffmpeg, ffprobe, a chunk walk of our own) they compare it with."""
import hashlib
import json
import struct
import subprocess
import sys


def program_command(argv=None):
    """argv: PROGRAM [RUNNER...]; returns RUNNER... PROGRAM."""
    args = list(sys.argv[1:] if argv is None else argv)
    return args[1:] + args[:1] if len(args) > 1 else args


def host(*args, check=False):
    """The program of the command line run with args; unchecked where its exit status is part of the test."""
    return subprocess.run(program_command() + [str(a) for a in args], check=check, capture_output=True)


def run(*args):
    """Another tool's standard output; it must succeed."""
    return subprocess.run([str(a) for a in args], check=True, capture_output=True).stdout


class Checks:
    def __init__(self):
        self.passed = 0
        self.failures = []

    def expect(self, what, got, want):
        if got == want:
            self.passed += 1
        else:
            self.failures.append(f"{what}: got {got!r}, want {want!r}")

    def finish(self, noun="passed"):
        """Prints the failures and the closing tally line; exits non-zero on any failure."""
        for f in self.failures:
            print("FAIL", f)
        print(f"{self.passed} {noun}, {len(self.failures)} failed")
        sys.exit(1 if self.failures else 0)


def chunks(path):
    """[(identifier, data)] of the top-level chunks of a RIFF file."""
    with open(path, "rb") as f:
        data = f.read()
    out, pos = [], 12
    while pos + 8 <= len(data):
        cid, size = data[pos:pos + 4].decode("latin-1"), struct.unpack("<I", data[pos + 4:pos + 8])[0]
        out.append((cid, data[pos + 8:pos + 8 + size]))
        pos += 8 + size + (size & 1)
    return out


def chunk(path, cid):
    return next((d for c, d in chunks(path) if c == cid), None)


def append_chunk(path, cid, payload):
    with open(path, "r+b") as f:
        f.seek(0, 2)
        f.write(cid + struct.pack("<I", len(payload)) + payload + b"\0" * (len(payload) & 1))
        size = f.tell() - 8
        f.seek(4)
        f.write(struct.pack("<I", size))


def write(path, data):
    with open(path, "wb") as f:
        f.write(data)
    return path


def ffmpeg_wav(path, *extra):
    run("ffmpeg", "-v", "error", "-y", "-f", "lavfi", "-i", "sine=d=0.3", "-ac", 2, "-fflags", "+bitexact", *extra,
        path)


def audio_md5(path):
    return hashlib.md5(run("ffmpeg", "-v", "error", "-i", path, "-map", "0:a", "-f", "s16le", "-")).hexdigest()


def probe_tags(path, skip=()):
    """ffprobe's format tags, names in lower case."""
    tags = json.loads(run("ffprobe", "-v", "error", "-show_entries", "format_tags", "-of", "json", path))
    return {k.lower(): v for k, v in tags.get("format", {}).get("tags", {}).items() if k.lower() not in skip}


def metadata(**fields):
    """ffmpeg's options that write these tags."""
    return [a for k, v in fields.items() for a in ("-metadata", f"{k}={v}")]
