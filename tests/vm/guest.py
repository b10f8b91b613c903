"""Drives a running guest from the host: keys, buttons and hot plug, through QEMU's machine protocol."""

import array
import json
import os
import re
import socket
import sys
import time

EVENTS = (r"(?:keyDown|keyUp) \d+|(?:mouseDown|mouseUp) \w+|scrollTick"
          r"|dropped as synthetic: type \d+|event tap (?:disabled|was disabled) .*|counted \d+")


class Guest:
    def __init__(self, limit=120):
        self.folder = os.environ["GUEST_FOLDER"]
        self.commands = 0
        self.judged = 0
        self.cases = []
        self.start = time.time()
        deadline = time.time() + limit
        while True:
            try:
                self.socket = socket.socket(socket.AF_UNIX)
                self.socket.connect(self.folder + "/qmp.sock")
                break
            except OSError:
                if time.time() > deadline:
                    raise
                time.sleep(0.1)
        self.stream = self.socket.makefile("rw")
        self.stream.readline()
        self.command("qmp_capabilities")

    def command(self, name, **arguments):
        self.stream.write(json.dumps({"execute": name, "arguments": arguments}) + "\n")
        self.stream.flush()
        while True:
            answer = json.loads(self.stream.readline())
            if "error" in answer:
                raise RuntimeError(f"{name}: {answer['error']['desc']}")
            if "return" in answer:
                return answer["return"]

    def console(self):
        try:
            with open(self.folder + "/console.log", errors="replace") as file:
                return file.read()
        except FileNotFoundError:
            return ""

    def wait(self, pattern, limit=60):
        """Waits until the guest has printed a line that matches."""
        deadline = time.time() + limit
        while not re.search(pattern, self.console(), re.M):
            if time.time() > deadline:
                raise TimeoutError(f"the guest never printed {pattern!r}")
            time.sleep(0.05)

    def run(self, line, limit=60):
        """Has the guest run a shell line, and waits until it has."""
        self.commands += 1
        path = f"{self.folder}/do.{self.commands}"
        with open(path + ".new", "w") as file:
            file.write(line + "\n")
        os.rename(path + ".new", path)
        self.wait(rf"^DONE {self.commands}$", limit)

    def end(self):
        """Lets the guest go."""
        open(self.folder + "/end", "w").close()

    def send(self, *events):
        self.command("input-send-event", events=list(events))

    def key(self, code, down):
        self.send({"type": "key", "data": {"down": down, "key": {"type": "qcode", "data": code}}})

    def tap(self, *codes, hold=0.06, gap=0.08):
        for code in codes:
            self.key(code, True)
            time.sleep(hold)
            self.key(code, False)
            time.sleep(gap)

    def button(self, name, down):
        self.send({"type": "btn", "data": {"down": down, "button": name}})

    def expect(self, case, *wanted, ordered=True, limit=15):
        """The program has said exactly this since the last case: events, synthetic ones, notices."""
        wanted = list(wanted)
        deadline = time.time() + limit
        while True:
            heard = re.findall(EVENTS, self.console())[self.judged:]
            if len(heard) >= len(wanted) or time.time() > deadline:
                break
            time.sleep(0.05)
        self.judged += len(heard)
        right = heard == wanted if ordered else sorted(heard) == sorted(wanted)
        self.cases.append((right, len(wanted)))
        print(f"{time.time() - self.start:5.1f} s {'as wanted' if right else 'WRONG'}: {case} ({len(wanted)} events)", flush=True)
        if not right:
            print(f"  heard  {heard}\n  wanted {wanted}", flush=True)

    def judge(self):
        """The sum of all cases; ends the process."""
        right = [count for good, count in self.cases if good]
        print(f"{sum(right)} of {sum(count for _, count in self.cases)} events as wanted, "
              f"{len(right)} of {len(self.cases)} cases")
        sys.exit(0 if len(right) == len(self.cases) else 1)


RATE = 48000


def onsets(path, threshold=None):
    """The frames at which sound begins after 20 ms without any; what is louder than a quarter of the loudest
    counts, or than the threshold."""
    with open(path, "rb") as file:
        file.seek(44)  # the header's length is that of a file still being written
        data = file.read()
    samples = array.array("h")
    samples.frombytes(data[: len(data) // 4 * 4])
    threshold = threshold or max(max(map(abs, samples), default=0) // 4, 300)
    found = []
    last = -RATE
    for index, sample in enumerate(samples[0::2]):
        if abs(sample) > threshold:
            if index - last >= RATE // 50:
                found.append(index)
            last = index
    return found


def taps(*codes):
    """What the program says of keys that are pressed and released one after the other."""
    return [f"{word} {code}" for code in codes for word in ("keyDown", "keyUp")]
