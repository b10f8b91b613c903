"""The host's part of the input test: types, plugs and unplugs, then judges what the program said."""

import re
import sys
import time

from guest import Guest

guest = Guest()
guest.wait("GUEST READY")
time.sleep(0.5)
for code in ("a", "s", "spc", "ret", "kp_enter", "f1", "left"):
    guest.tap(code)
guest.key("b", True)  # long enough for autorepeat
time.sleep(1.5)
guest.key("b", False)
guest.tap("caps_lock")
guest.tap("volumeup")
guest.command("device_add", driver="usb-kbd", id="usb", bus="xhci.0")
guest.say("plugged")
guest.wait("GUEST HAS USB")
guest.tap("c")
guest.key("shift", True)
guest.wait(r"^keyDown 56 ")
guest.command("device_del", id="usb")
guest.wait(r"^keyUp 56 ")
guest.tap("d")
guest.say("inject")
guest.wait("GUEST INJECTED")
guest.wait("dropped as synthetic: type 11")
guest.say("done")

heard = re.findall(r"^(?:keyDown|keyUp) \d+|^dropped as synthetic: type \d+", guest.console(), re.M)
wanted = []
for code in (0, 1, 49, 36, 76, 122, 123, 11):
    wanted += [f"keyDown {code}", f"keyUp {code}"]
wanted += ["keyDown 57", "keyDown 111", "keyUp 111"]
for code in (8, 56, 2):
    wanted += [f"keyDown {code}", f"keyUp {code}"]
wanted += ["dropped as synthetic: type 10", "dropped as synthetic: type 11"]
if heard != wanted:
    print("heard  ", heard, "\nwanted ", wanted)
    sys.exit(1)
print(f"{len(heard)} of {len(wanted)} events as wanted")
