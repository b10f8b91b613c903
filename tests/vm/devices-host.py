"""What the program hears of hot keys, touchpads, touchscreens and pens, of remapped mice, and when it may listen."""

import time

from guest import Guest, taps

PS2 = "AT Translated Set 2 keyboard"
MOUSE = "ImExPS/2 Generic Explorer Mouse"

dropped = ["dropped as synthetic: type 10", "dropped as synthetic: type 11"]
left, right, other = ([f"mouseDown {name}", f"mouseUp {name}"] for name in ("left", "right", "other"))
guest = Guest()
guest.run("mkdir -p /tmp/home/.config; export HOME=/tmp/home XDG_CURRENT_DESKTOP=KDE WAYLAND_DISPLAY=none", limit=420)
guest.run("listen")


def word(number):
    return f"{number & 0xFF:x} {number >> 8:x}"


def touch(x, y, tip=1):
    """A report of the touchscreen."""
    return f"1 {tip} 0 {word(x)} {word(y)} 1"


def pad(*fingers, button=0):
    """A report of the touchpad: fingers by their places; None for one that goes up."""
    text = "1"
    for number in range(2):
        x, y = fingers[number] or (1500, 900) if number < len(fingers) else (0, 0)
        tip = 1 if number < len(fingers) and fingers[number] else 0
        text += f" {tip} {number} {word(x)} {word(y)}"
    return f"{text} {button} {len(fingers)}"


def pen(x=1500, tip=0, button=0, second=0, near=1):
    return f"1 {tip | button << 1 | near << 2 | second << 3:x} {word(x)} {word(900)} {word(500 * tip)}"


def send(pipe, *reports, gap=0.03):
    """Reports one after the other: what is to be quick must not wait for the guest's shell."""
    lines = [f"echo {report}; sleep {gap}" if gap else f"echo {report}" for report in reports]
    guest.run("{ " + "; ".join(lines) + f"; }} >&{pipe}")


# A vendor's hot keys, whose driver names no parent, beside a program's keys.
guest.run('opened "Dell AIO WMI hotkeys"; press=$(echo /sys/bus/acpi/devices/KSNG0001:*/status)')
guest.run("case $(readlink -f /sys/class/input/${opened##*/}) in */virtual/input/*) ;; *) exit 9;; esac")
guest.run("cat $press; sleep 0.1; cat $press")
guest.expect("a vendor's hot key", *taps(111, 111))
guest.run('mkfifo /tmp/type; "$devices" type </tmp/type & exec 8>/tmp/type; opened "Typing program"; echo 45 >&8')
guest.expect("a program that types", *dropped)

guest.run('mkfifo /tmp/pad; "$devices" hid touchpad </tmp/pad & exec 5>/tmp/pad; opened "A touchpad"')
send(5, pad((1500, 600)), pad(None), gap=0)
guest.expect("a tap", *left)
send(5, pad((1200, 600), (1800, 600)), pad(None, None), gap=0)
guest.expect("a tap of two fingers", *right)
send(5, *(pad((1000 + 150 * i, 600)) for i in range(8)), pad(None))
time.sleep(0.5)
guest.expect("a finger that moves the pointer")
send(5, pad((1200, 600), (1800, 600)), pad((1200, 600), (1800, 600), button=1), pad((1200, 600), (1800, 600)),
     pad(None, None))
guest.expect("a click of two fingers, by place", *left)

# What the user chooses meanwhile.
guest.run("cat >/tmp/home/.config/kcminputrc <<END\n[Libinput][4660][22136][A touchpad]\nTapToClick=false\n"
          "ClickMethod=2\nEND\nsleep 2")
send(5, pad((1500, 600)), pad(None))
send(5, pad((1200, 600), (1800, 600)), pad((1200, 600), (1800, 600), button=1), pad((1200, 600), (1800, 600)),
     pad(None, None))
guest.expect("no taps, and a click of two fingers by their number", *right)
guest.run("cat >/tmp/home/.config/kcminputrc <<END\n[Libinput][4660][22136][A touchpad]\nLeftHanded=true\n"
          "TapToClick=true\nEND\nsleep 2")
send(5, pad((300, 1700)), pad((300, 1700), button=1), pad((300, 1700)), pad(None))
guest.expect("a left-handed click at the left", *right)
guest.run("exec 5>&-; rm /tmp/home/.config/kcminputrc")

guest.run('mkfifo /tmp/screen; "$devices" hid touchscreen </tmp/screen & exec 5>/tmp/screen; opened "A touchscreen"')
send(5, touch(1000, 1000), touch(1010, 1005), touch(1010, 1005, tip=0), gap=0)
guest.expect("a tap on a screen", *left)
send(5, *(touch(500 + 200 * i, 1000) for i in range(6)), touch(1500, 1000, tip=0))
send(5, touch(1000, 1000), touch(1000, 1000, tip=0), gap=0.9)
time.sleep(0.3)
guest.expect("a swipe and a long press")
guest.run("exec 5>&-")

guest.run('mkfifo /tmp/pen; "$devices" hid pen </tmp/pen & exec 5>/tmp/pen; opened "A pen"')
send(5, pen(), pen(tip=1), pen(x=1900, tip=1), pen(x=1900), gap=0.06)
guest.expect("a pen's tip", *left)
send(5, pen(button=1), pen(), pen(second=1), pen(), pen(near=0), gap=0.06)
guest.expect("a pen's buttons", *right, *other)
guest.run("exec 5>&-")

# A remapped mouse: first its button tells who has grabbed it.
guest.command("device_add", driver="usb-mouse", id="mouse", bus="xhci.0")
guest.run('opened "QEMU QEMU USB Mouse"; "$devices" remap-mouse $opened & remapper=$!; opened "Remapped mouse"')


def click(name, hold=0.15):
    guest.button(name, True)
    time.sleep(hold)
    guest.button(name, False)
    time.sleep(0.15)


click("left")
guest.expect("a remapped button", *right)
click("wheel-up")
guest.expect("a remapped wheel", "scrollTick")
guest.run("echo 45 >&8")
guest.expect("the typing program beside it", *dropped)
guest.run("kill $remapper; sleep 0.3")
guest.button("left", True)
guest.expect("without the remapper", "mouseDown left")
guest.run("echo 45 >&8")
guest.expect("a program types while the button is held", *dropped)
guest.button("left", False)
guest.expect("the button comes up", "mouseUp left")
guest.command("device_del", id="mouse")

# A remapper that types only when a key is let go, from before the program starts.
guest.run("kill $(pgrep -x keysong); while pgrep -x keysong >/dev/null; do sleep 0.05; done\n"
          f'keyboard=$(node "{PS2}"); "$devices" copy $keyboard & remapper=$!; sleep 1; listen')
guest.run("sleep 1")
guest.tap("caps_lock", "a")
guest.expect("the first key of a remapper", *taps(53, 0))
guest.run("echo 45 >&8")
guest.expect("the typing program beside that", *dropped)
guest.run("kill $remapper; sleep 0.5")

# Who may listen: nobody whom one of the keyboards is kept from.
guest.run("kill $(pgrep -x keysong); while pgrep -x keysong >/dev/null; do sleep 0.05; done")
guest.command("device_add", driver="usb-kbd", id="keyboard", bus="xhci.0")
guest.run('second=$(node "QEMU QEMU USB Keyboard"); udevadm settle; chmod 644 $second\n'
          'setpriv --reuid 1000 --clear-groups "$program" --input-test | grep -c "Not trusted" | sed "s/^/counted /"')
guest.expect("one of two keyboards may be read", "counted 1")
guest.run('chmod 644 /dev/input/event*\n'
          '(setpriv --reuid 1000 --clear-groups timeout 3 "$program" --input-test || true) |\n'
          'grep -c "^listening" | sed "s/^/counted /"', limit=90)
guest.expect("all of them may be read", "counted 1")
guest.command("device_del", id="keyboard")
guest.run('while [ -e $second ]; do sleep 0.05; done; echo -n serio0 >/sys/bus/serio/drivers/atkbd/unbind\n'
          'while [ -e $keyboard ]; do sleep 0.05; done\n'
          '(setpriv --reuid 1000 --clear-groups timeout 3 "$program" --input-test || true) |\n'
          'grep -c "^listening" | sed "s/^/counted /"', limit=90)
guest.expect("no keyboard is there, and others may be read", "counted 1")
guest.end()
guest.judge()
