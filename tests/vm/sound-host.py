"""What the sound card plays while keys are pressed: one click for each press, as far apart as the presses."""

import json
import os
import random
import re
import struct
import sys
import time
import wave

from guest import RATE, Guest, onsets

PRESSES = 24
TOLERANCE = 0.002  # seconds


def write_set(folder):
    """A sound set whose every press is the same short click, and whose releases are silent."""
    with wave.open(folder + "/click.wav", "wb") as file:
        file.setnchannels(1)
        file.setsampwidth(2)
        file.setframerate(RATE)
        file.writeframes(struct.pack("<480h", *(24000 if i // 8 % 2 == 0 else -24000 for i in range(480))))
    with open(folder + "/manifest.json", "w") as file:
        json.dump({"schema": 1, "id": "click", "name": "Click", "pitchVariation": 0, "gainVariation": 0,
                   "defaults": {"down": ["click.wav"]}}, file)


guest = Guest()
os.makedirs(guest.folder + "/sets/click")
write_set(guest.folder + "/sets/click")
guest.run(f". {sys.path[0]}/guest-sound.sh", limit=400)
guest.run('KEYSONG_SOUNDS_DIR=/out/sets KEYSONG_OUTPUT=pipewire "$program" &\n'
          '"$devices" presses "$(node "AT Translated Set 2 keyboard")" &\n'
          'mkfifo /tmp/type; "$devices" type </tmp/type & exec 8>/tmp/type\n'
          'opened "AT Translated Set 2 keyboard"; opened "Typing program"')
guest.run("sleep 10")  # the sound server finds the card's pace
chooser = random.Random(1)
for index in range(PRESSES):
    guest.tap(chooser.choice("asdfjkl"), gap=0)
    # Apart in the guest's time; in some of the gaps a program types, which is silent.
    guest.run(f"sleep {chooser.uniform(0.1, 0.3):.3f}" + ("; echo 45 >&8; sleep 0.2" if index % 8 == 3 else ""))
guest.key("b", True)
guest.run("sleep 1.5")  # it repeats: one click
guest.key("b", False)
guest.tap("c")
guest.run("sleep 1")
presses = [int(time) / 1e6 for time in re.findall(r"^press (\d+)", guest.console(), re.M)]
guest.run("kill $(pgrep -x keysong)")
guest.end()
time.sleep(3)

heard = [frame / RATE for frame in onsets(guest.folder + "/card.wav")]
print(f"{len(presses)} presses, {len(heard)} clicks")
if len(presses) != PRESSES + 2 or len(heard) != len(presses):
    print("presses", presses, "\nclicks", heard)
    sys.exit(1)
errors = [(heard[i + 1] - heard[i]) - (presses[i + 1] - presses[i]) for i in range(len(heard) - 1)]
print("spacing errors in ms:", " ".join(f"{1e3 * error:.2f}" for error in errors))
errors = sorted(map(abs, errors))
print(f"median {1e3 * errors[len(errors) // 2]:.2f} ms, largest {1e3 * errors[-1]:.2f} ms")
sys.exit(0 if errors[-1] <= TOLERANCE else 1)
