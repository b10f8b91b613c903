#!/usr/bin/env python3
"""Measures the files of a sound set and draws spectrograms: a tool for whoever writes a description.

    measure.py SET_FOLDER [--plot PICTURE.png] [--group NAME ...]

Needs python3-numpy, and python3-matplotlib for the picture; the build needs neither.
"""
import argparse
import ctypes
import json
import os

import numpy as np


class FileInfo(ctypes.Structure):
    _fields_ = [("frames", ctypes.c_int64), ("rate", ctypes.c_int), ("channels", ctypes.c_int),
                ("format", ctypes.c_int), ("sections", ctypes.c_int), ("seekable", ctypes.c_int)]


def read(path):
    """The samples of a mono file and its rate."""
    library = ctypes.CDLL("libsndfile.so.1")
    library.sf_open.restype = ctypes.c_void_p
    library.sf_readf_double.argtypes = [ctypes.c_void_p, ctypes.c_void_p, ctypes.c_int64]
    library.sf_close.argtypes = [ctypes.c_void_p]
    info = FileInfo()
    file = library.sf_open(path.encode(), 0x10, ctypes.byref(info))
    if not file or info.channels != 1:
        raise SystemExit(f"{path}: not a mono sound file")
    samples = np.zeros(info.frames)
    library.sf_readf_double(file, samples.ctypes.data, info.frames)
    library.sf_close(file)
    return samples, info.rate


def decibels(power):
    return 10 * np.log10(np.maximum(power, 1e-14))


def onset_ms(x, rate):
    """When the sound first reaches a tenth of its peak."""
    return np.argmax(np.abs(x) >= 0.1 * np.abs(x).max()) / rate * 1000


def band(x, rate, low, high):
    """What lies in a band, by an FFT with edges of a sixth of an octave."""
    size = 1 << (2 * len(x) - 1).bit_length()
    frequency = np.maximum(np.fft.rfftfreq(size, 1 / rate), 1)
    octaves = np.minimum(np.log2(frequency / low), np.log2(high / frequency))
    mask = np.clip(octaves * 6 + 0.5, 0, 1)
    return np.fft.irfft(np.fft.rfft(x, size) * mask, size)[: len(x)]


def decay_ms(x, rate, fall):
    """Backward-integrated decay (Schroeder) from -5 dB over `fall` dB, as the time of 60 dB; nan if too weak."""
    energy = np.cumsum((x ** 2)[::-1])[::-1]
    curve = decibels(energy / max(energy[0], 1e-20))
    start, end = np.argmax(curve <= -5), np.argmax(curve <= -5 - fall)
    return (end - start) / rate * 1000 * 60 / fall if end > start else np.nan


def centroid_hz(x, rate):
    power = np.abs(np.fft.rfft(x)) ** 2
    return float((np.fft.rfftfreq(len(x), 1 / rate) * power).sum() / power.sum())


def below_ms(x, rate, level):
    """When the envelope (2 ms) has fallen below a level against its greatest for good."""
    size = int(0.002 * rate)
    envelope = np.convolve(x ** 2, np.ones(size) / size, "same")
    return np.nonzero(envelope > envelope.max() * 10 ** (level / 10))[0][-1] / rate * 1000


def tonality(x, rate):
    """How far the strongest line of 5 ms ... 60 ms stands over the median of its octave, in dB: a beep is > 25."""
    part = x[int(0.005 * rate): int(0.06 * rate)]
    spectrum = decibels(np.abs(np.fft.rfft(part * np.hanning(len(part)), 8192)) ** 2)
    frequency = np.fft.rfftfreq(8192, 1 / rate)
    worst = 0
    for centre in (500, 1000, 2000, 4000):
        inside = (frequency > centre / 1.42) & (frequency < centre * 1.42)
        worst = max(worst, spectrum[inside].max() - np.median(spectrum[inside]))
    return worst


OCTAVES = (125, 250, 500, 1000, 2000, 4000, 8000)


def measure(path):
    x, rate = read(path)
    total = (x ** 2).sum()
    top = band(x, rate, 2000, 8000)
    row = {
        "ms": len(x) / rate * 1000,
        "onset": onset_ms(x, rate),
        "peak at": np.abs(x).argmax() / rate * 1000,
        "peak": decibels(np.abs(x).max() ** 2),
        "rms50": decibels(np.convolve(x ** 2, np.ones(int(0.05 * rate)) / (0.05 * rate)).max()),
        "crest": decibels(np.abs(x).max() ** 2 / (total / len(x))),
        "DC": decibels(x.mean() ** 2),
        "centroid": centroid_hz(x, rate),
        "top -20": below_ms(top, rate, -20),
        "-40": below_ms(x, rate, -40),
        "line": tonality(x, rate),
        "T20": decay_ms(x, rate, 20),
    }
    for centre in OCTAVES:
        part = band(x, rate, centre / 2 ** 0.5, centre * 2 ** 0.5)
        row[f"E{centre}"] = decibels((part ** 2).sum() / total)
        row[f"T{centre}"] = decay_ms(part, rate, 20)
    return row


def lists(manifest):
    """Name and files of every list of a manifest."""
    pairs = {"main": manifest["defaults"], **manifest.get("groups", {})}
    mouse = manifest.get("mouse", {})
    pairs.update({f"mouse {button}": mouse[button] for button in ("left", "right", "other") if button in mouse})
    result = {f"{name} {way}": files for name, pair in pairs.items() for way, files in pair.items()}
    if "scroll" in mouse:
        result["scroll"] = mouse["scroll"]
    return result


def draw(folder, sounds, picture):
    import matplotlib
    matplotlib.use("Agg")
    from matplotlib import pyplot

    columns = len(sounds)
    figure, axes = pyplot.subplots(2, columns, figsize=(3.6 * columns, 6), squeeze=False,
                                   gridspec_kw={"height_ratios": [1, 2.4]})
    for column, (name, file) in enumerate(sounds):
        x, rate = read(os.path.join(folder, file))
        pad = int(0.01 * rate)
        shown = np.concatenate([np.zeros(pad), x, np.zeros(int(0.26 * rate))])[: pad + int(0.14 * rate)]
        time = (np.arange(len(shown)) - pad) / rate * 1000
        axes[0][column].plot(time, shown, linewidth=0.5)
        axes[0][column].set(title=f"{name} ({file})", xlim=(-8, 130), ylim=(-1, 1))
        axes[1][column].specgram(shown + 1e-9, NFFT=256, noverlap=244, pad_to=2048, Fs=rate, vmin=-130, vmax=-45,
                                 xextent=(-10, 140), cmap="magma")
        axes[1][column].set(yscale="log", ylim=(100, 16000), xlim=(-8, 130), xlabel="ms")
        axes[1][column].set_yticks([125, 250, 500, 1000, 2000, 4000, 8000, 16000])
        axes[1][column].set_yticklabels(["125", "250", "500", "1k", "2k", "4k", "8k", "16k"])
    axes[1][0].set_ylabel("Hz")
    figure.tight_layout()
    figure.savefig(picture, dpi=70)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("folder")
    parser.add_argument("--plot")
    parser.add_argument("--each", action="store_true", help="a row a file, not the mean of each list")
    parser.add_argument("--group", nargs="*", help="only these lists, as 'main down'")
    options = parser.parse_args()
    with open(os.path.join(options.folder, "manifest.json"), encoding="utf-8") as file:
        chosen = lists(json.load(file))
    if options.group:
        chosen = {name: chosen[name] for name in options.group}
    heading = False
    for name, files in chosen.items():
        rows = [measure(os.path.join(options.folder, file)) for file in files]
        if not options.each:
            rows = [{key: np.nanmean([row[key] for row in rows]) if not np.isnan([row[key] for row in rows]).all()
                     else np.nan for key in rows[0]}]
        if not heading:
            print(f"{'':17}", " ".join(f"{key:>8}" for key in rows[0]))
            heading = True
        for row in rows:
            print(f"{name:17}", " ".join(f"{value:8.1f}" if abs(value) < 1000 else f"{value:8.0f}"
                                         for value in row.values()))
    if options.plot:
        draw(options.folder, [(name, files[0]) for name, files in chosen.items()], options.plot)


if __name__ == "__main__":
    main()
