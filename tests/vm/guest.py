"""Drives a running guest from the host: keys, buttons and hot plug, through QEMU's machine protocol."""

import json
import os
import re
import socket
import time


class Guest:
    def __init__(self, limit=120):
        self.folder = os.environ["GUEST_FOLDER"]
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

    def wait(self, pattern, limit=120, count=1):
        """Waits until the guest has printed `count` lines that match."""
        deadline = time.time() + limit
        while len(re.findall(pattern, self.console(), re.M)) < count:
            if time.time() > deadline:
                raise TimeoutError(f"the guest never printed {pattern!r}")
            time.sleep(0.05)

    def key(self, code, down):
        event = {"type": "key", "data": {"down": down, "key": {"type": "qcode", "data": code}}}
        self.command("input-send-event", events=[event])

    def tap(self, code, hold=0.06, gap=0.1):
        self.key(code, True)
        time.sleep(hold)
        self.key(code, False)
        time.sleep(gap)

    def say(self, word):
        """Lets the guest's command go on: it waits for the file."""
        open(f"{self.folder}/{word}", "w").close()
