# guest-commands.sh PROGRAM DEVICES: the guest's part of the tests. Starts udev and does what the host asks for
# (guest.py), in this one shell. PROGRAM is Keysong, DEVICES is keysong-guest-devices.
program=$1 devices=$2

# node NAME: the event node of the device with this name, once it is there.
node() {
    until name=$(grep -lx "$1" /sys/class/input/event*/device/name); do sleep 0.05; done
    name=${name#/sys/class/input/}
    echo "/dev/input/${name%%/*}"
}

# open_by_program NODE: waits until the program listens to the device.
open_by_program() {
    until ls -l "/proc/$(pgrep -x keysong)/fd" 2>/dev/null | grep -q " $1\$"; do sleep 0.05; done
}

# opened NAME: the same by the device's name; leaves its node in $opened.
opened() {
    opened=$(node "$1")
    open_by_program "$opened"
}

# listen COMMAND...: runs the program as its live input test, and waits until it listens to $keyboard.
keyboard=
listen() {
    "$@" "$program" --input-test 2>&1 | grep --line-buffered -v ^pass &
    open_by_program "${keyboard:-$(node "AT Translated Set 2 keyboard")}"
}

mkdir -p /run/udev
/lib/systemd/systemd-udevd --daemon 2>/dev/null
udevadm trigger --action=add
udevadm settle
export KEYSONG_LOG_SINK=stderr
. "$(dirname "$0")/guest-loop.sh"
