"""What the window tests share: a virtual X server of their own with a fresh
Wine session on it, and finding windows by title as a person would."""
import contextlib
import os
import subprocess
import time


@contextlib.contextmanager
def virtual_desktop():
    """Xvfb on a display of its own, DISPLAY set for every child; Wine sessions ended before and after."""
    xvfb = subprocess.Popen(["Xvfb", "-displayfd", "1", "-screen", "0", "1280x1024x24", "-nolisten", "tcp"],
                            stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
    try:
        os.environ["DISPLAY"] = ":" + xvfb.stdout.readline().decode().strip()
        # A Wine session left by an earlier test has its desktop on no display: windows need a new one.
        subprocess.run(["wineserver", "-k"], capture_output=True)
        subprocess.run(["wineserver", "-w"], capture_output=True)
        yield
    finally:
        subprocess.run(["wineserver", "-k"], capture_output=True)
        xvfb.terminate()
        xvfb.wait()


def find_window(name):
    found = subprocess.run(["xdotool", "search", "--onlyvisible", "--name", name], capture_output=True,
                           text=True).stdout.split()
    return found[0] if found else None


def wait_for(probe, timeout=30.0):
    """probe()'s first true answer, or None after timeout seconds."""
    end = time.monotonic() + timeout
    while time.monotonic() < end:
        got = probe()
        if got:
            return got
        time.sleep(0.05)
    return None
