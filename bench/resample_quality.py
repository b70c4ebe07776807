#!/usr/bin/python3
"""Quality of sample-rate conversion and dither, ours against sox and ffmpeg's soxr resampler, in one run.

  bench/resample_quality.py OURS [--quick]

OURS is `wavehost` (run as `wavehost convert IN -o OUT --rate R --bits B --quality Q --dither D --seed 1`)
or bench's `dsp_convert`. Prints Markdown tables: conversion figures per converter, dither figures for ours.
"""
import os
import subprocess
import sys
import tempfile

import numpy as np
from scipy import signal
from scipy.io import wavfile

OURS = sys.argv[1]
TMP = tempfile.mkdtemp(prefix="resample_quality.")


def write(path, rate, x, dtype=np.float64):
    wavfile.write(path, rate, x.astype(dtype))


def read(path):
    rate, y = wavfile.read(path)
    if y.dtype == np.int16:
        y = y / 32768.0
    elif y.dtype == np.int32:
        y = y / 2147483648.0
    return rate, y.astype(np.float64)


def ours(src, dst, rate, quality, bits="double", dither="none"):
    if os.path.basename(OURS).startswith("wavehost"):
        cmd = [OURS, "convert", src, "-o", dst, "--rate", str(rate), "--bits", bits, "--quality", quality,
               "--dither", dither, "--seed", "1"]
    else:
        cmd = [OURS, src, dst, str(rate), quality, bits, dither, "1"]
    subprocess.run(cmd, check=True, stderr=subprocess.DEVNULL)


SOX_QUALITY = {"very-high": "-v", "high": "-h", "medium": "-m", "low": "-l", "quick": "-q"}


def sox(src, dst, rate, quality):
    subprocess.run(["sox", src, "-b", "64", "-e", "floating-point", dst, "rate", SOX_QUALITY[quality], str(rate)],
                   check=True)


def ffmpeg_soxr(src, dst, rate, quality):
    precision = {"very-high": 33, "high": 20}.get(quality, 16)
    subprocess.run(["ffmpeg", "-v", "error", "-y", "-i", src, "-af",
                    f"aresample=resampler=soxr:precision={precision}", "-ar", str(rate), "-c:a", "pcm_f64le",
                    dst], check=True)


CONVERTERS = [("ours", ours), ("sox rate", sox), ("ffmpeg soxr", ffmpeg_soxr)]


def convert(fn, x, rate_in, rate_out, quality):
    src, dst = os.path.join(TMP, "in.wav"), os.path.join(TMP, "out.wav")
    write(src, rate_in, x)
    fn(src, dst, rate_out, quality)
    return read(dst)[1]


def tone(hz, rate, seconds, db):
    n = np.arange(int(rate * seconds))
    return 10 ** (db / 20) * np.sin(2 * np.pi * hz * n / rate)


def middle(y, rate):
    cut = rate // 5
    return y[cut:len(y) - cut], cut


def fit(y, rate, hz, offset=0):
    """Least-squares sinusoids of the given frequencies plus DC; returns amplitudes and the residual."""
    n = np.arange(len(y)) + offset
    cols = [np.ones(len(y))]
    for f in hz:
        cols += [np.cos(2 * np.pi * f * n / rate), np.sin(2 * np.pi * f * n / rate)]
    a = np.stack(cols, axis=1)
    coef, *_ = np.linalg.lstsq(a, y, rcond=None)
    return [np.hypot(coef[1 + 2 * k], coef[2 + 2 * k]) for k in range(len(hz))], y - a @ coef


def db(x):
    return 20 * np.log10(max(x, 1e-300))


def show(fmt, value):
    """Exact zeros (a converter that returns digital silence) read as such rather than as -6000 dB."""
    return "silent" if value <= -1000 else fmt % value


def rms_dbfs(y):
    """RMS re a full-scale sine."""
    return db(np.sqrt(np.mean(y ** 2)) * np.sqrt(2))


def thd_n(fn, rate_in, rate_out, quality):
    y = convert(fn, tone(1000, rate_in, 2, -1), rate_in, rate_out, quality)
    y, cut = middle(y, rate_out)
    (amp,), residual = fit(y, rate_out, [1000], cut)
    return db(np.sqrt(np.mean(residual ** 2)) * np.sqrt(2) / amp)


def alias(fn, hz, rate_in, rate_out, quality):
    y = convert(fn, tone(hz, rate_in, 1, -1), rate_in, rate_out, quality)
    return rms_dbfs(middle(y, rate_out)[0])


def response(fn, rate_in, rate_out, quality):
    """Magnitude response from an impulse: flatness up to 0.91 x the lower Nyquist, the -3 dB point."""
    step = np.lcm(rate_in, rate_out) // rate_out
    x = np.zeros(rate_in * 2)
    x[(len(x) // 2) // step * step] = 1
    y = convert(fn, x, rate_in, rate_out, quality)
    n = 1 << 20
    h = np.abs(np.fft.rfft(y, n)) * rate_in / rate_out
    f = np.fft.rfftfreq(n, 1 / rate_out)
    nyq = min(rate_in, rate_out) / 2
    band = f <= 0.91 * nyq
    ripple = db(h[band].max()) - db(h[band].min())
    below = np.nonzero((f > 0.5 * nyq) & (20 * np.log10(np.maximum(h, 1e-300)) < -3))[0]
    minus3 = f[below[0]] / nyq if len(below) else float("nan")
    return ripple, minus3


def stopband(fn, rate_in, rate_out, quality, points):
    """Worst leak over tones from the lower Nyquist frequency up: aliases downward, images upward."""
    nyq = min(rate_in, rate_out) / 2
    worst = -400.0
    for k in range(points):
        if rate_in > rate_out:
            hz = nyq * 1.002 + (rate_in / 2 - nyq * 1.002) * k / points
            level = alias(fn, hz, rate_in, rate_out, quality)
        else:
            image = nyq * 1.002 + (rate_out / 2 - nyq * 1.002) * k / points
            # The tone below the input's Nyquist frequency that has this image.
            hz = image % rate_in
            hz = min(hz, rate_in - hz)
            y = convert(fn, tone(hz, rate_in, 1, -1), rate_in, rate_out, quality)
            y, cut = middle(y, rate_out)
            (_, amp), _ = fit(y, rate_out, [hz, image], cut)
            level = db(amp * 10 ** (1 / 20))
        worst = max(worst, level)
    return worst


def conversion_table(points):
    rows = []
    for name, fn in CONVERTERS:
        r = {"name": name}
        r["alias30k"] = alias(fn, 30000, 96000, 44100, "very-high")
        r["thd96"] = thd_n(fn, 96000, 44100, "very-high")
        r["thd48"] = thd_n(fn, 44100, 48000, "very-high")
        r["ripple"], r["minus3"] = response(fn, 96000, 44100, "very-high")
        r["stop_vh"] = stopband(fn, 96000, 44100, "very-high", points)
        r["stop_vh_up"] = stopband(fn, 44100, 48000, "very-high", points)
        r["ripple_h"], r["minus3_h"] = response(fn, 96000, 44100, "high")
        r["stop_h"] = stopband(fn, 96000, 44100, "high", points)
        rows.append(r)
    print("| 96 kHz -> 44.1 kHz unless said | " + " | ".join(r["name"] for r in rows) + " |")
    print("|---|" + "---|" * len(rows))
    lines = [
        ("very-high: 30 kHz tone at -1 dBFS leaves (dBFS)", "alias30k", "%.1f"),
        ("very-high: THD+N, 1 kHz at -1 dBFS (dB)", "thd96", "%.1f"),
        ("very-high, 44.1 -> 48 kHz: THD+N, 1 kHz at -1 dBFS (dB)", "thd48", "%.1f"),
        ("very-high: ripple up to 0.91 x Nyquist (dB, peak to peak)", "ripple", "%.5f"),
        ("very-high: -3 dB point (x Nyquist)", "minus3", "%.4f"),
        ("very-high: worst alias, tones from Nyquist to 48 kHz (dBFS)", "stop_vh", "%.1f"),
        ("very-high, 44.1 -> 48 kHz: worst image above 22.05 kHz (dBFS)", "stop_vh_up", "%.1f"),
        ("high: ripple up to 0.91 x Nyquist (dB, peak to peak)", "ripple_h", "%.5f"),
        ("high: -3 dB point (x Nyquist)", "minus3_h", "%.4f"),
        ("high: worst alias, tones from Nyquist to 48 kHz (dBFS)", "stop_h", "%.1f"),
    ]
    for label, key, fmt in lines:
        print(f"| {label} | " + " | ".join(show(fmt, r[key]) for r in rows) + " |")


def requantise(x, rate, bits, dither):
    src, dst = os.path.join(TMP, "in24.wav"), os.path.join(TMP, "out16.wav")
    write(src, rate, np.round(x * 2 ** 31 / 256) * 256, np.int32)  # 24 significant bits
    ours(src, dst, rate, "very-high", bits, dither)
    return read(dst)[1]


def band_noise(e, rate, lo, hi):
    f, p = signal.welch(e, rate, nperseg=4096)
    return 10 * np.log10(np.mean(p[(f >= lo) & (f <= hi)]))


def dither_table():
    rate = 44100
    x = tone(997, rate, 4, -20)
    x24 = np.round(x * 2 ** 23) / 2 ** 23
    print("| dither, 24 -> 16 bits, ours | figure |")
    print("|---|---|")
    e_tpdf = requantise(x, rate, "16", "tpdf") - x24
    print("| TPDF noise re a full-scale sine (dB) | %.2f |" % rms_dbfs(e_tpdf))
    e_shaped = requantise(x, rate, "16", "shaped") - x24
    print("| shaped noise re a full-scale sine (dB) | %.2f |" % rms_dbfs(e_shaped))
    print("| shaped below TPDF between 1 and 5 kHz (dB) | %.1f |" %
          (band_noise(e_tpdf, rate, 1000, 5000) - band_noise(e_shaped, rate, 1000, 5000)))
    quiet = tone(1000, rate, 4, -100)
    harmonics = [1000 * k for k in range(2, 6)]
    # The noise floor as the same fit reads it at 40 frequencies that are no harmonic.
    elsewhere = [1000 * k + 310 + 7 * j for k in range(1, 11) for j in range(4)]
    for dither in ("tpdf", "none"):
        y = requantise(quiet, rate, "16", dither)
        level = fit(y, rate, [1000])[0][0]
        strongest = max(fit(y, rate, [1000] + harmonics)[0][1:])
        floor = max(fit(y, rate, [1000] + elsewhere)[0][1:])
        print("| -100 dBFS 1 kHz tone, %s: level / strongest harmonic / strongest of 40 other bins (dBFS) | %s / %s / %s |"
              % (dither, show("%.2f", db(level)), show("%.1f", db(strongest)), show("%.1f", db(floor))))
    y = requantise(tone(1000, rate, 4, -90), rate, "16", "none")
    amps = fit(y, rate, [1000] + harmonics)[0]
    print("| -90 dBFS 1 kHz tone, none: level / strongest harmonic (dBFS) | %.2f / %.1f |" % (db(amps[0]), db(max(amps[1:]))))


if __name__ == "__main__":
    quick = "--quick" in sys.argv
    conversion_table(6 if quick else 24)
    print()
    dither_table()
