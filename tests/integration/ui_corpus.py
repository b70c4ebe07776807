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

from checks import Checks, program_command
from desktop import find_window, virtual_desktop, wait_for

CORPUS = sys.argv[1]
HOST = program_command(sys.argv[2:])
checks = Checks()


def one(path, name):
    proc = subprocess.Popen(HOST + ["edit", path], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    wid = wait_for(lambda: find_window(name) or proc.poll() is not None, timeout=20.0)
    if not isinstance(wid, str):  # it ended, or no window came
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
    with virtual_desktop():
        files = sorted(glob.glob(os.path.join(CORPUS, "*", "*")))
        with tempfile.TemporaryDirectory() as tmp:
            for i, source in enumerate(files):
                # Each copy gets a name no other copy's name contains, so that the window search is exact.
                name = f"corpus-{i:04d}.wav"
                path = os.path.join(tmp, name)
                shutil.copy(source, path)
                checks.expect(os.path.relpath(source, CORPUS), one(path, name), 0)
    checks.finish("files")


if __name__ == "__main__":
    main()
