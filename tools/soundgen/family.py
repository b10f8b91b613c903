#!/usr/bin/env python3
"""Compares the sets of a family: a table of measures, the nearest neighbour of each, and a sheet of spectrograms.

    family.py SETS_FOLDER [--plot SHEET.png] [--distances]

Needs python3-numpy and python3-scipy, and python3-matplotlib for the sheet; the build needs none of them.
"""
import argparse
import json
import os

import numpy as np
from scipy import signal

import measure

RATE = 48000
#: Edges of the bands and of the spans of time in which two sets are compared.
BANDS = [100 * 2 ** (0.5 * i) for i in range(15)]
SPANS_MS = [0, 1.5, 3, 6, 9, 12, 16, 22, 32, 48, 80]


def k_weighted(x):
    """The two filters of ITU-R BS.1770 at 48 kHz."""
    x = signal.lfilter([1.53512485958697, -2.69169618940638, 1.19839281085285],
                       [1, -1.69065929318241, 0.73248077421585], x)
    return signal.lfilter([1, -2, 1], [1, -1.99004745483398, 0.99007225036621], x)


def integrated(x):
    """Gated loudness of BS.1770 of a mono signal, in LUFS."""
    y = k_weighted(x) ** 2
    size, hop = int(0.4 * RATE), int(0.1 * RATE)
    total = np.concatenate([[0], np.cumsum(y)])
    starts = np.arange(0, len(y) - size, hop)
    power = (total[starts + size] - total[starts]) / size
    loud = power[-0.691 + 10 * np.log10(power + 1e-12) > -70]
    gate = -10 - 0.691 + 10 * np.log10(loud.mean())
    loud = loud[-0.691 + 10 * np.log10(loud) > gate]
    return -0.691 + 10 * np.log10(loud.mean())


class Sounds:
    """The sounds of one set, by 'main down' and so on."""

    def __init__(self, folder):
        self.folder = folder
        with open(os.path.join(folder, "manifest.json"), encoding="utf-8") as file:
            self.manifest = json.load(file)
        self.files = measure.lists(self.manifest)
        self.cache = {}

    def of(self, name):
        if name not in self.cache:
            self.cache[name] = [measure.read(os.path.join(self.folder, file))[0] for file in self.files[name]]
        return self.cache[name]

    def typing(self):
        """Two hundred presses of about eight a second, every sixth one the space bar, each up some 90 ms after its
        down; evenly spaced, the low resonances of one press would add up with those of the next."""
        out = np.zeros(int(27 * RATE))
        gain = 10 ** (self.manifest["gain"] / 20)
        random = np.random.default_rng(1)
        for i in range(200):
            at = 0.2 + i / 8 + random.uniform(-0.04, 0.04)
            key = "space" if i % 6 == 5 else "main"
            for way, delay in (("down", 0), ("up", random.uniform(0.06, 0.12))):
                sounds = self.of(f"{key} {way}")
                x = sounds[random.integers(len(sounds))]
                start = int((at + delay) * RATE)
                out[start: start + len(x)] += gain * x
        return out


def fingerprint(sounds):
    """Mean levels in bands and spans of time, in dB, at most 45 dB below the loudest."""
    filters = [signal.butter(2, (low, high), "band", fs=RATE, output="sos") for low, high in zip(BANDS, BANDS[1:])]
    energy = np.zeros((len(filters), len(SPANS_MS) - 1))
    for x in sounds:
        x = np.concatenate([x, np.zeros(RATE // 10)])
        for i, sos in enumerate(filters):
            squares = signal.sosfilt(sos, x) ** 2
            for j, (start, end) in enumerate(zip(SPANS_MS, SPANS_MS[1:])):
                energy[i, j] += squares[int(start * RATE / 1000): int(end * RATE / 1000)].mean()
    level = 10 * np.log10(energy / len(sounds) + 1e-12)
    return np.maximum(level - level.max(), -45)


def transients(x):
    """Onsets above 2 kHz that stand 6 dB over the dip before them and lie within 18 dB of the greatest; ms."""
    top = signal.sosfilt(signal.butter(2, 2000, "high", fs=RATE, output="sos"), x)
    level = 10 * np.log10(signal.lfilter(np.ones(48) / 48, [1], top ** 2)[::12] + 1e-12)
    found, dip = [], -120.0
    last_peak = -1e9
    for n, value in enumerate(level):
        rising = n + 1 < len(level) and level[n + 1] > value
        if not rising and value > level.max() - 18 and value > dip + 6 and n - last_peak > 10:
            found.append(n * 12 / RATE * 1000)
            last_peak, dip = n, value
        dip = min(dip, value)
    return found


def whistle(x):
    """Of 40 ms ... 120 ms above 700 Hz: the share of the energy that the strongest line has, and its level against the
    loudest 10 ms in dB. A line with most of the energy above -45 dB is heard as a pitch."""
    part = x[int(0.04 * RATE): int(0.12 * RATE)]
    if len(part) < 0.01 * RATE:
        return 0.0, -99.0
    part = np.concatenate([part, np.zeros(int(0.08 * RATE) - len(part))])
    power = np.abs(np.fft.rfft(part * np.hanning(len(part)))) ** 2
    power = power[int(700 * len(part) / RATE):]
    peak = power.argmax()
    line = power[max(0, peak - 2): peak + 3].sum()
    loudest = np.convolve(x ** 2, np.ones(480) / 480).max()
    return line / power.sum(), measure.decibels(2 * line / (0.375 * len(part) ** 2) / loudest)


def attack(x):
    """What of the energy lies in the first 20 ms above 2 kHz, in dB: a thud without attack is below -20."""
    top = measure.band(x, RATE, 2000, 12000)[: int(0.02 * RATE)]
    return measure.decibels((top ** 2).sum() / (x ** 2).sum())


def row(sounds):
    down, up, space = sounds.of("main down"), sounds.of("main up"), sounds.of("space down")

    def mean(of, group):
        return float(np.mean([of(x) for x in group]))

    def share(low, high):
        return mean(lambda x: measure.decibels((measure.band(x, RATE, low, high) ** 2).sum() / (x ** 2).sum()), down)

    every = [x for name in sounds.files for x in sounds.of(name)]
    events = [transients(x) for x in down]
    lines = [whistle(x) for x in down + up + space]
    pitched = [level for share_of_line, level in lines if share_of_line > 0.5]
    return {
        "LUFS": integrated(sounds.typing()),
        "peak": max(measure.decibels(np.abs(x).max() ** 2) for x in every),
        "onset": max(measure.onset_ms(x, RATE) for x in every),
        "down Hz": mean(lambda x: measure.centroid_hz(x, RATE), down),
        "up Hz": mean(lambda x: measure.centroid_hz(x, RATE), up),
        "space Hz": mean(lambda x: measure.centroid_hz(x, RATE), space),
        "<500": share(30, 500),
        "500-2k": share(500, 2000),
        "2k-6k": share(2000, 6000),
        ">6k": share(6000, 20000),
        "-20 ms": mean(lambda x: measure.below_ms(x, RATE, -20), down),
        "-40 ms": mean(lambda x: measure.below_ms(x, RATE, -40), down),
        "space -40 ms": mean(lambda x: measure.below_ms(x, RATE, -40), space),
        "attack": mean(attack, down),
        "clicks": float(np.mean([len(event) for event in events])),
        "apart": float(np.nanmean([event[1] - event[0] if len(event) > 1 else np.nan for event in events]))
        if any(len(event) > 1 for event in events) else 0,
        "line": max(pitched, default=-99),
    }


def draw(sets, picture):
    import matplotlib
    matplotlib.use("Agg")
    from matplotlib import pyplot
    from PIL import Image

    columns = 7
    rows = -(-len(sets) // columns)
    figure, axes = pyplot.subplots(2 * rows, columns, figsize=(2.3 * columns, 3.3 * rows), squeeze=False,
                                   dpi=75, sharex=True, sharey=True)
    for index, (name, sounds) in enumerate(sets.items()):
        for half, group in enumerate(("main down", "space down")):
            axis = axes[2 * (index // columns) + half][index % columns]
            x = sounds.of(group)[0]
            pad = int(0.01 * RATE)
            shown = np.concatenate([np.zeros(pad), x, np.zeros(int(0.26 * RATE))])[: pad + int(0.11 * RATE)]
            axis.specgram(shown + 1e-9, NFFT=256, noverlap=236, pad_to=1024, Fs=RATE, vmin=-125, vmax=-50,
                          xextent=(-10, 110), cmap="magma")
            axis.set(yscale="log", ylim=(125, 16000), xlim=(-6, 100))
            axis.set_yticks([250, 1000, 4000, 16000])
            axis.set_yticklabels(["250", "1k", "4k", "16k"])
            axis.tick_params(labelsize=7)
            axis.set_title(name if half == 0 else "space", fontsize=8 if half == 0 else 7, pad=2)
    figure.tight_layout(h_pad=0.3, w_pad=0.3)
    figure.canvas.draw()
    image = Image.frombytes("RGBA", figure.canvas.get_width_height(), bytes(figure.canvas.buffer_rgba()))
    # Few colours make a small file.
    image.convert("RGB").quantize(96).save(picture, optimize=True)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("folder")
    parser.add_argument("--plot")
    parser.add_argument("--distances", action="store_true", help="the distance of every two sets")
    options = parser.parse_args()
    names = sorted(name for name in os.listdir(options.folder)
                   if os.path.exists(os.path.join(options.folder, name, "manifest.json")))
    sets = {name: Sounds(os.path.join(options.folder, name)) for name in names}
    prints = np.array([np.stack([fingerprint(s.of("main down")), fingerprint(s.of("main up"))]).ravel()
                       for s in sets.values()])
    distance = np.sqrt(((prints[:, None] - prints[None]) ** 2).mean(axis=2))
    halves = [np.sqrt(((fingerprint(s.of("main down")[::2]) - fingerprint(s.of("main down")[1::2])) ** 2).mean())
              for s in sets.values()]
    for index, (name, sounds) in enumerate(sets.items()):
        values = row(sounds)
        if index == 0:
            print("| set |", " | ".join(values), "| own dB | nearest | dB |")
            print("|---" * (len(values) + 4) + "|")
        others = distance[index].copy()
        others[index] = np.inf
        shown = [f"{value:.0f}" if abs(value) >= 100 else f"{value:.1f}" for value in values.values()]
        print(f"| {name} |", " | ".join(shown),
              f"| {halves[index]:.1f} | {names[others.argmin()]} | {others.min():.1f} |")
    if options.distances:
        print("\n" + "\n".join(" ".join(f"{value:5.1f}" for value in line) for line in distance))
    if options.plot:
        draw(sets, options.plot)


if __name__ == "__main__":
    main()
