#!/usr/bin/python3
"""wavehost edit driven as a person drives it: under Wine in a virtual X server
(Xvfb, on a display of its own), the window is found by its title, a new title
and date are typed, Ctrl+S saves, and the file is read back with wavehost tags
and mutagen; the date picker opens with F4 and Enter accepts it; Esc closes,
asking first when a change is unsaved. Screenshots of both themes are kept in
SHOTS for a person to look at, and checked: the dark window dark, the light one
light, and text drawn at 7:1 contrast or more against the background.

usage: ui_edit.py SHOTS WAVEHOST [RUNNER...]"""
import contextlib
import os
import re
import shutil
import struct
import subprocess
import sys
import tempfile
import time
import zlib

from mutagen.wave import WAVE

from checks import Checks, program_command
from desktop import find_window, virtual_desktop
from desktop import wait_for as poll

SHOTS = sys.argv[1]
HOST = program_command(sys.argv[2:])
SAMPLE = os.path.join(os.path.dirname(__file__), "..", "..", "samples", "tone-stereo-16.wav")
checks = Checks()
expect = checks.expect


def wait_for(what, probe, timeout=30.0):
    """probe()'s first true answer; the test fails after timeout seconds without one."""
    return poll(probe, timeout) or sys.exit(f"FAIL timed out waiting for {what}")


@contextlib.contextmanager
def registry(key, name, value):
    """A REG_DWORD value under HKCU for the time of a block, through the runner's reg.exe."""
    reg = HOST[:-1] + ["reg"] if len(HOST) > 1 else ["reg"]
    subprocess.run(reg + ["add", key, "/v", name, "/t", "REG_DWORD", "/d", str(value), "/f"], check=True,
                   capture_output=True)
    try:
        yield
    finally:
        subprocess.run(reg + ["delete", key, "/v", name, "/f"], capture_output=True)


def host(*args):
    return subprocess.run(HOST + list(args), capture_output=True, text=True)


def id3(path):
    tags = WAVE(path).tags
    return {k: str(v) for k, v in tags.items()} if tags else {}


def probe_date(path):
    out = subprocess.run(["ffprobe", "-v", "error", "-show_entries", "format_tags=date", "-of", "csv=p=0", path],
                         capture_output=True, text=True).stdout
    return out.strip()


def bmp(width, height):
    """A 24-bit picture: a blue to orange gradient, so a person can see that it was drawn."""
    row = b"".join(bytes((255 - 255 * x // width, 128, 255 * x // width)) for x in range(width))
    row += b"\0" * (-len(row) % 4)
    pixels = row * height
    info = struct.pack("<IiiHHIIiiII", 40, width, height, 1, 24, 0, len(pixels), 2835, 2835, 0, 0)
    return b"BM" + struct.pack("<IHHI", 14 + len(info) + len(pixels), 0, 0, 54) + info + pixels


def png(width, height, rgb):
    """A plain PNG of one colour, made here so that the test needs no image tool to write one."""
    def chunk(kind, data):
        return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))
    raw = (b"\0" + bytes(rgb) * width) * height
    header = struct.pack(">IIBBBBB", width, height, 8, 2, 0, 0, 0)
    return b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header) + chunk(b"IDAT", zlib.compress(raw)) + chunk(b"IEND", b"")


def screenshot(window, name):
    """The window once it has finished painting: two grabs in a row that agree (a fresh window paints in steps)."""
    path = os.path.join(SHOTS, name)
    previous = None
    for _ in range(40):
        grab = subprocess.run(["import", "-window", window, "rgb:-"], check=True, capture_output=True).stdout
        if grab == previous:
            break
        previous = grab
        time.sleep(0.1)
    subprocess.run(["import", "-window", window, path], check=True, capture_output=True)
    return path


def pixels(path):
    size = subprocess.run(["identify", "-format", "%w %h", path], check=True, capture_output=True, text=True)
    w, h = map(int, size.stdout.split())
    raw = subprocess.run(["convert", path, "-depth", "8", "rgb:-"], check=True, capture_output=True).stdout
    return w, h, [raw[i:i + 3] for i in range(0, len(raw), 3)]


def luminance(rgb):
    def linear(c):
        c /= 255
        return c / 12.92 if c <= 0.04045 else ((c + 0.055) / 1.055) ** 2.4
    r, g, b = rgb
    return 0.2126 * linear(r) + 0.7152 * linear(g) + 0.0722 * linear(b)


def look(path):
    """(mean luminance, pixels at 7:1 or more against the commonest colour, the background)."""
    _, _, px = pixels(path)
    counts = {}
    for p in px:
        counts[p] = counts.get(p, 0) + 1
    background = max(counts, key=counts.get)
    lb = luminance(background)
    mean = sum(luminance(p) * n for p, n in counts.items()) / len(px)
    readable = 0
    for p, n in counts.items():
        lp = luminance(p)
        if (max(lp, lb) + 0.05) / (min(lp, lb) + 0.05) >= 7:
            readable += n
    return mean, readable


class Editor:
    def __init__(self, path, theme):
        self.title = os.path.basename(path)
        started = time.monotonic()
        forced = ["--theme", theme] if theme else []
        self.proc = subprocess.Popen(HOST + ["edit", path] + forced,
                                     stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        self.window = wait_for(f"the {theme} window", lambda: self.alive() and find_window(self.title))
        self.shown_after = time.monotonic() - started
        # Without a window manager nobody gives the new window the X focus, which keys follow: the test does.
        subprocess.run(["xdotool", "windowfocus", "--sync", self.window], check=True, capture_output=True, timeout=10)

    def alive(self):
        if self.proc.poll() is not None:
            raise SystemExit(f"FAIL wavehost edit ended early: {self.proc.returncode}\n{self.proc.stderr.read()}")
        return True

    def keys(self, *keys):
        subprocess.run(["xdotool", "key", "--clearmodifiers", *keys], check=True, timeout=10)

    def type(self, text):
        subprocess.run(["xdotool", "type", "--delay", "20", text], check=True, timeout=30)

    def closed(self, timeout=15):
        if poll(lambda: self.proc.poll() is not None, timeout):
            # Under load the window can outlive its process a moment: the next
            # window of the same file must not be mistaken for it.
            poll(lambda: not find_window(self.title), 5)
            return self.proc.returncode
        self.proc.kill()
        self.proc.wait()
        return "hung"

    def shot_and_close(self, name, what):
        """A screenshot, then Esc, which must close a window without unsaved changes at once."""
        shot = screenshot(self.window, name)
        self.keys("Escape")
        expect(f"Esc closes {what}", self.closed(), 0)
        return shot


def main():
    os.makedirs(SHOTS, exist_ok=True)
    for old in os.listdir(SHOTS):
        os.remove(os.path.join(SHOTS, old))
    with virtual_desktop(), tempfile.TemporaryDirectory() as tmp:
        run(tmp)
    checks.finish()


def run(tmp):
    path = os.path.join(tmp, "tagged-copy.wav")
    shutil.copy(SAMPLE, path)
    cover = os.path.join(tmp, "cover.bmp")
    with open(cover, "wb") as f:
        f.write(bmp(96, 96))
    r = host("tag", path, "Title=Old title", "Artist=Ann Example", "Album=Tones", "Track=2/10", "Year=1999",
             "Genre=Test", "Comment=made for the window test", "Mood=calm", "--picture", cover)
    expect("tagging the copy", r.returncode, 0)

    # Light: Title has the focus with its text selected, so typing replaces it; Alt+D goes to Date.
    ed = Editor(path, "light")
    print(f"light window shown {ed.shown_after:.2f} s after start")
    ed.type("New title")
    ed.keys("alt+d")
    ed.type("2004-05")
    ed.keys("ctrl+s")
    wait_for("the saved title", lambda: id3(path).get("TIT2") == "New title")
    # ID3v2.3 cannot hold a year and month without a day; the INFO list keeps the form as typed.
    expect("date typed as year and month", probe_date(path), "2004-05")
    light = screenshot(ed.window, "light.png")

    # The picker opens on the typed month; Enter takes its first day.
    ed.keys("alt+d")
    ed.keys("F4")
    picker = wait_for("the date picker", lambda: find_window("Choose a date"))
    screenshot(picker, "light-date-picker.png")
    ed.keys("Return")
    wait_for("the picker to close", lambda: not find_window("Choose a date"))
    ed.keys("ctrl+s")
    wait_for("the picked date", lambda: id3(path).get("TDRC") == "2004-05-01")
    ed.keys("Escape")
    expect("Esc after saving closes at once", ed.closed(), 0)

    shown = host("tags", path).stdout
    expect("wavehost tags: title", re.search(r"^Title *: New title$", shown, re.M) is not None, True)
    expect("wavehost tags: date", re.search(r"^Year *: 2004-05-01$", shown, re.M) is not None, True)
    expect("ffprobe: date", probe_date(path), "2004-05-01")
    expect("wavehost tags: untouched artist", re.search(r"^Artist *: Ann Example$", shown, re.M) is not None, True)
    expect("mutagen: cover kept", any(k.startswith("APIC") for k in id3(path)), True)

    # Dark: an unsaved change makes Esc ask; "No" closes without writing.
    ed = Editor(path, "dark")
    print(f"dark window shown {ed.shown_after:.2f} s after start")
    # Options: the first drop-down (Tag Creation) one choice down, Enter stores it where wavehost settings reads.
    ed.keys("alt+p")
    options = wait_for("the options dialog", lambda: find_window("Tagging options"))
    screenshot(options, "dark-options.png")
    ed.keys("Down")
    ed.keys("Return")
    wait_for("the options dialog to close", lambda: not find_window("Tagging options"))
    try:
        stored = host("settings").stdout
        expect("option stored", re.search(r"WaveTagDefault +1$", stored, re.M) is not None, True)
    finally:
        host("settings", "WaveTagDefault", "0")
    ed.keys("alt+t")
    ed.type("Unsaved")
    dark = screenshot(ed.window, "dark.png")
    ed.keys("alt+d")
    ed.keys("F4")
    picker = wait_for("the dark date picker", lambda: find_window("Choose a date"))
    screenshot(picker, "dark-date-picker.png")
    ed.keys("Escape")
    wait_for("the picker to close", lambda: not find_window("Choose a date"))
    ed.keys("Escape")
    question = wait_for("the unsaved-changes question", lambda: find_window("Unsaved changes"))
    screenshot(question, "dark-unsaved-question.png")
    ed.keys("n")
    expect("Esc, No closes", ed.closed(), 0)
    expect("the unsaved title was not written", id3(path).get("TIT2"), "New title")

    # Errors show in the window and change nothing: a missing file, a file the plug-in refuses.
    Editor(os.path.join(tmp, "missing.wav"), "light").shot_and_close("light-missing-file.png", "a missing file")
    # A RIFF WAVE file without a 'data' chunk: the plug-in refuses it, so Save has nothing to write to.
    refused = os.path.join(tmp, "no-data-chunk.wav")
    fmt = struct.pack("<HHIIHH", 1, 2, 44100, 176400, 4, 16)
    with open(refused, "wb") as f:
        f.write(b"RIFF" + struct.pack("<I", 4 + 8 + len(fmt)) + b"WAVE" + b"fmt " + struct.pack("<I", len(fmt)) + fmt)
    with open(refused, "rb") as f:
        before = f.read()
    ed = Editor(refused, "light")
    ed.type("Cannot be written")
    ed.keys("ctrl+s")
    screenshot(ed.window, "light-refused-file.png")
    ed.keys("Escape")
    wait_for("the unsaved-changes question", lambda: find_window("Unsaved changes"))
    ed.keys("n")
    expect("a refused file: closes after the question", ed.closed(), 0)
    with open(refused, "rb") as f:
        expect("a refused file is unchanged", f.read() == before, True)

    # A PNG cover (4:3, a colour neither theme uses) is drawn, filling the box's width with its aspect ratio kept.
    with_png = os.path.join(tmp, "png-cover.wav")
    shutil.copy(SAMPLE, with_png)
    with open(os.path.join(tmp, "cover.png"), "wb") as f:
        f.write(png(64, 48, (200, 30, 160)))
    expect("tagging a PNG cover", host("tag", with_png, "--picture", os.path.join(tmp, "cover.png")).returncode, 0)
    w, _, px = pixels(Editor(with_png, "light").shot_and_close("light-png-cover.png", "the PNG cover window"))
    cover = [(i % w, i // w) for i, p in enumerate(px) if max(abs(a - b) for a, b in zip(p, (200, 30, 160))) < 8]
    xs, ys = [x for x, _ in cover], [y for _, y in cover]
    print(f"PNG cover: {len(cover)} pixels of its colour, {len(set(xs))}x{len(set(ys))}")
    expect("the PNG cover is drawn at 4:3", len(cover) > 2000 and 1.2 < len(set(xs)) / len(set(ys)) < 1.45, True)

    # Without --theme the user's Windows setting decides: AppsUseLightTheme 0 asks for the dark theme.
    with registry(r"HKCU\Software\Microsoft\Windows\CurrentVersion\Themes\Personalize", "AppsUseLightTheme", 0):
        by_setting = Editor(path, None).shot_and_close("dark-by-windows-setting.png", "the window of the setting")
    # At 144 DPI the dialog font grows by half, and the whole layout with it.
    with registry(r"HKCU\Control Panel\Desktop", "LogPixels", 144):
        scaled = Editor(path, "dark").shot_and_close("dark-144-dpi.png", "the 144 DPI window")
    width96, height96 = pixels(light)[:2]
    width144, height144 = pixels(scaled)[:2]
    print(f"window at 96 DPI {width96}x{height96}, at 144 DPI {width144}x{height144}")
    expect("the layout scales with the DPI", 1.3 < width144 / width96 < 1.7 and 1.3 < height144 / height96 < 1.7, True)

    for name, shot, dark_theme in (("light", light, False), ("dark", dark, True), ("by setting", by_setting, True)):
        mean, readable = look(shot)
        print(f"{name}: mean luminance {mean:.3f}, {readable} pixels at 7:1 or more")
        expect(f"{name} window is {'dark' if dark_theme else 'light'}", mean < 0.2 if dark_theme else mean > 0.6, True)
        expect(f"{name} window has readable text", readable > 1000, True)


if __name__ == "__main__":
    main()
