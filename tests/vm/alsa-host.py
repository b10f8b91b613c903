"""The host's part of the sound test: plugs a card in and out, then judges what the cards were given."""

import os
import re
import sys

from guest import RATE, Guest, onsets

TOLERANCE = RATE // 1000
CLICK_GAP = RATE // 20
LOUD = 2500


def clicks_in_time(name, starts, wanted, dry):
    """Whether all clicks were heard, 50 ms apart but for those near a gap where the card ran dry."""
    errors = [abs(b - a - CLICK_GAP) for a, b in zip(starts, starts[1:])]
    near = [error for error in errors if error <= TOLERANCE]
    print(f"{name}: {len(starts)} of {wanted} clicks, {len(near)} spacings within {max(near, default=None)} frames,"
          f" {len(errors) - len(near)} further off, ran dry {dry} times")
    return len(starts) == wanted and len(errors) - len(near) <= 4 * dry


def sounds_in_time(starts, console):
    """Whether the sounds of the play test were heard as they were logged; the log rounds to 1 ms, and not
    every recording begins with its loudest frame."""
    logged = [int(h) * 3600 + int(m) * 60 + float(s)
              for h, m, s in re.findall(r"T(\d+):(\d+):([\d.]+)Z notice \S+ play ", console)]
    wanted = [round((time - logged[0]) * RATE) for time in logged]
    # Any of the first few may be the one that was heard in its time.
    heard = max((sum(any(abs(start - first - time + wanted[i]) <= 4 * TOLERANCE for start in starts)
                     for time in wanted)
                 for i in range(min(5, len(wanted))) for first in starts[:5]), default=0)
    print(f"play test: {heard} of {len(wanted)} sounds heard in time")
    return len(wanted) == 41 and heard >= 36


def busy():
    return os.getloadavg()[0] > os.cpu_count() + 1


busy_before = busy()
guest = Guest()
guest.wait("GUEST READY")
guest.command("device_add", driver="usb-audio", id="usb", audiodev="usb", bus="xhci.0")
guest.wait("GUEST PLAYS")
guest.command("device_del", id="usb")
guest.wait(r"^played 20 ")
console = guest.console()
good = True


def check(condition, text):
    global good
    if not condition:
        print("wrong:", text)
        good = False


check("play-test failed: no permission to use the sound device" in console, "the right to the card")
check(re.findall(r"^device (\S+?)\|.*\|2$", console, re.M)[:2] == ["alsa:default", "alsa:Intel,0"], "first list")
check(console.count("device alsa:Audio,0|") >= 1 and "came: alsa:Audio,0" in console, "the card that came")
check("came: asleep" in console and "lent 1" in console and "shared 1" in console, "the card at rest")
print(*re.findall(r"^the card was lent.*$", console, re.M))
check("came: lost" in console, "the card that went")
played = re.findall(r"^played (\d+) on (\S+) period (\d+) ahead (\d+) latency (\d+) xruns (\d+)$", console, re.M)
check([row[:3] for row in played] == [("60", "alsa:Intel,0", "128"), ("40", "alsa:Audio,0", "128"),
                                      ("20", "alsa:Intel,0", "128")], f"streams {played}")
for row in played:
    print("%s clicks on %s: period %s, ahead %s, latency %s" % row[:5])

# The clicks, from the end; before them the program's own sounds, at the times that it logged.
dry = [int(row[5]) for row in played]
card = onsets(guest.folder + "/card.wav", LOUD)
in_time = [clicks_in_time("built-in card", card[-80:-20], 60, dry[0]),
           clicks_in_time("usb card", onsets(guest.folder + "/usb.wav", LOUD), 40, dry[1]),
           clicks_in_time("built-in card again", card[-20:], 20, dry[2]),
           sounds_in_time(card[:-80], console)]
if busy_before or busy():
    # The emulated cards lose sound by themselves when the emulator does not get its time.
    print("this machine is too busy to judge when sounds begin")
else:
    good &= all(in_time)
sys.exit(0 if good else 1)
