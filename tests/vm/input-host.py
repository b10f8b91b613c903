"""What the program hears of keyboards and mice that come and go, are remapped, revoked and withheld."""

import time

from guest import Guest, taps

PS2 = "AT Translated Set 2 keyboard"

dropped = ["dropped as synthetic: type 10", "dropped as synthetic: type 11"]
guest = Guest()
guest.run("listen")

guest.tap("a", "s", "spc", "ret", "kp_enter", "f1", "left")
guest.key("b", True)  # long enough for autorepeat
time.sleep(1.2)
guest.key("b", False)
guest.expect("typing, a held key once", *taps(0, 1, 49, 36, 76, 122, 123, 11))
guest.tap("caps_lock", "volumeup")
guest.expect("Caps Lock and a media key", "keyDown 57", *taps(111))

guest.command("device_add", driver="usb-kbd", id="keyboard", bus="xhci.0")
guest.run('opened "QEMU QEMU USB Keyboard"')
guest.tap("c")
guest.key("shift", True)
guest.expect("a keyboard plugged in", *taps(8), "keyDown 56")
guest.command("device_del", id="keyboard")
guest.expect("it is unplugged while Shift is held", "keyUp 56")
guest.tap("d")
guest.expect("the first keyboard again", *taps(2))

guest.command("device_add", driver="usb-mouse", id="mouse", bus="xhci.0")
guest.run('opened "QEMU QEMU USB Mouse"')
for button in ("wheel-up", "wheel-down", "right", "left"):
    guest.button(button, True)
    time.sleep(0.1)
    if button != "left":
        guest.button(button, False)
        time.sleep(0.1)
guest.expect("a mouse plugged in", "scrollTick", "scrollTick", "mouseDown right", "mouseUp right", "mouseDown left")
guest.command("device_del", id="mouse")
guest.expect("it is unplugged while its button is held", "mouseUp left")
guest.button("left", False)

guest.run('mkfifo /tmp/bluetooth /tmp/type\n'
          '"$devices" bluetooth </tmp/bluetooth & exec 7>/tmp/bluetooth\n'
          '"$devices" type </tmp/type & exec 8>/tmp/type\n'
          'opened "Bluetooth keyboard"; opened "Typing program"')
guest.run("echo 45 >&8")
guest.expect("a program that types", *dropped)
guest.run("echo 1d >&7; echo 68 >&7")
guest.expect("a Bluetooth LE keyboard", *taps(6, 105))

# A remapper has the first keyboard for itself and types the next key for each: s for a.
guest.run(f'"$devices" remap "$(node "{PS2}")" & remapper=$!; opened "Remapped keyboard"')
guest.tap("a", hold=0.3)
guest.tap("s", "d")
guest.expect("a remapped keyboard", *taps(1, 2, 3))
guest.run("echo 45 >&8")
guest.expect("the typing program beside it", *dropped)
guest.key("a", True)
guest.expect("a remapped key goes down", "keyDown 1")
guest.run("echo 45 >&8; echo 1d >&7")
guest.expect("the program and another keyboard type meanwhile", *dropped, *taps(6), ordered=False)
guest.key("a", False)
guest.expect("the remapped key comes up", "keyUp 1")
guest.run("echo 1d >&7")
guest.tap("f")
guest.expect("the remapped keyboard right after another one", *taps(6, 5), ordered=False)
guest.run('kill $remapper; while node=$(grep -lx "Remapped keyboard" /sys/class/input/event*/device/name); do\n'
          "sleep 0.05; done")
guest.tap("a")
guest.expect("without the remapper", *taps(0))

# The same program for a user who may read the devices through a group, until that is withdrawn.
guest.run("kill $(pgrep -x keysong); while pgrep -x keysong >/dev/null; do sleep 0.05; done\n"
          f'keyboard=$(node "{PS2}"); listen setpriv --reuid 1000 --regid 1000 --groups $(stat -c %g $keyboard)')
guest.tap("a")
guest.expect("a user of the group", *taps(0))
guest.key("shift", True)
guest.expect("Shift is held", "keyDown 56")
guest.run("chmod 0 $keyboard")
guest.expect("the right is withdrawn", "keyUp 56", "event tap disabled (user input), re-enable FAILED")
guest.key("shift", False)
guest.tap("s")
guest.run(f'chmod 660 $keyboard; opened "{PS2}"')
guest.tap("d")
guest.expect("the right is given back", *taps(2))
guest.key("shift", True)
guest.expect("Shift is held again", "keyDown 56")
guest.run('"$devices" revoke $(pgrep -x keysong)')
guest.expect("all devices are revoked", "keyUp 56", "event tap disabled (user input), re-enabled")
guest.key("shift", False)
guest.tap("f")
guest.expect("they are back at once", *taps(3))

guest.command("device_add", driver="usb-kbd", id="keyboard", bus="xhci.0")
guest.run('opened "QEMU QEMU USB Keyboard"; chmod 0 $opened')
guest.expect("the right to a second keyboard is withdrawn", "event tap disabled (user input), re-enable FAILED")
guest.command("device_del", id="keyboard")
guest.run("while [ -e $opened ]; do sleep 0.05; done; before=$opened")
guest.command("device_add", driver="usb-kbd", id="keyboard", bus="xhci.0")
guest.run('opened "QEMU QEMU USB Keyboard"; [ $opened = $before ] && "$devices" revoke $(pgrep -x keysong)')
guest.expect("another one under its name is no concern", "event tap disabled (user input), re-enabled")
guest.tap("c")
guest.expect("and is heard", *taps(8))
guest.command("device_del", id="keyboard")

# The application for a user without any right, who is then granted it: it goes on without a restart.
guest.run("kill $(pgrep -x keysong); while pgrep -x keysong >/dev/null; do sleep 0.05; done\n"
          "echo guest:x:1000:1000::/tmp/guest:/bin/sh >>/etc/passwd; mkdir /tmp/guest; chown 1000 /tmp/guest\n"
          "KEYSONG_OUTPUT=virtual HOME=/tmp/guest setpriv --reuid 1000 --regid 1000 --clear-groups "
          'env -u DISPLAY -u XDG_CONFIG_HOME "$program" 2>&1 &')
guest.wait("keysongctl access")
guest.tap("a")  # is not heard
guest.run(f'PKEXEC_UID=1000 "${{program%/*}}/keysong-grant-access" && opened "{PS2}"')
guest.tap("s", "d")
guest.command("device_add", driver="usb-kbd", id="keyboard", bus="xhci.0")
guest.run('opened "QEMU QEMU USB Keyboard"')
guest.tap("c", "f", "g")
guest.run("kill $(pgrep -x keysong); while pgrep -x keysong >/dev/null; do sleep 0.05; done\n"
          "sed -n 's/.*\"keysPressed\": *\\([0-9]*\\).*/counted \\1/p' /tmp/guest/.config/com.orlen.keysong/preferences.json")
guest.expect("keys of the keyboards before and after they were granted", "counted 5")
guest.end()
guest.judge()
