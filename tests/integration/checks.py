"""What the Python integration scripts share: the command that runs a
program of the build (through its runner, e.g. wine, when one is given after
it on the command line), and a tally of named expectations."""
import struct
import sys


def program_command(argv=None):
    """argv: PROGRAM [RUNNER...]; returns RUNNER... PROGRAM."""
    args = list(sys.argv[1:] if argv is None else argv)
    return args[1:] + args[:1] if len(args) > 1 else args


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
