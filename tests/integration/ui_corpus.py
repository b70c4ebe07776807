#!/usr/bin/python3
"""wavehost edit on every file of the fuzz corpora, under Wine in a virtual X
server of its own: the window shows, Ctrl+S and Esc are taken, and the program
ends with 0 within bounded time: no crash and no hang on damaged files.

usage: ui_corpus.py CORPUS_DIR WAVEHOST [RUNNER...]"""
import glob
import os
import shutil
import subprocess
import sys
import tempfile
import time

from checks import Checks, program_command

CORPUS = sys.argv[1]
HOST = program_command(sys.argv[2:])
checks = Checks()


def window(name, proc, timeout=20.0):
    end = time.monotonic() + timeout
    while time.monotonic() < end and proc.poll() is None:
        found = subprocess.run(["xdotool", "search", "--onlyvisible", "--name", name], capture_output=True,
                               text=True).stdout.split()
        if found:
            return found[0]
        time.sleep(0.05)
    return None


def one(path, name):
    proc = subprocess.Popen(HOST + ["edit", path], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    wid = window(name, proc)
    if not wid:
        proc.kill()
        proc.wait()
        return f"no window (exit {proc.returncode})"
    try:
        subprocess.run(["xdotool", "windowfocus", "--sync", wid], capture_output=True, timeout=10)
        subprocess.run(["xdotool", "key", "ctrl+s", "Escape"], capture_output=True, timeout=10)
        return proc.wait(timeout=20)
    except subprocess.TimeoutExpired:
        proc.kill()
        proc.wait()
        return "hung"


def main():
    xvfb = subprocess.Popen(["Xvfb", "-displayfd", "1", "-screen", "0", "1280x1024x24", "-nolisten", "tcp"],
                            stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
    try:
        os.environ["DISPLAY"] = ":" + xvfb.stdout.readline().decode().strip()
        # A Wine session left by an earlier test has its desktop on no display: windows need a new one.
        subprocess.run(["wineserver", "-k"], capture_output=True)
        subprocess.run(["wineserver", "-w"], capture_output=True)
        files = sorted(glob.glob(os.path.join(CORPUS, "*", "*")))
        with tempfile.TemporaryDirectory() as tmp:
            for i, source in enumerate(files):
                # Each copy gets a name no other copy's name contains, so that the window search is exact.
                name = f"corpus-{i:04d}.wav"
                path = os.path.join(tmp, name)
                shutil.copy(source, path)
                checks.expect(os.path.relpath(source, CORPUS), one(path, name), 0)
    finally:
        subprocess.run(["wineserver", "-k"], capture_output=True)
        xvfb.terminate()
        xvfb.wait()
    checks.finish("files")


if __name__ == "__main__":
    main()
