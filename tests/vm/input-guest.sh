# In the guest: what the program hears of a real keyboard, of one that comes and goes, and of uinput.
program=$1
mkdir -p /run/udev
/lib/systemd/systemd-udevd --daemon 2>/dev/null
udevadm trigger --action=add
udevadm settle
export KEYSONG_LOG_SINK=stderr KEYSONG_OUTPUT=virtual
"$program" --input-test | grep --line-buffered -v '^pass' &
until grep -q listening /out/console.log; do sleep 0.1; done
echo "GUEST READY"
until [ -e /out/plugged ]; do sleep 0.2; done
until grep -q 'USB Keyboard' /sys/class/input/event*/device/name && udevadm settle; do sleep 0.2; done
sleep 3
echo "GUEST HAS USB"
until [ -e /out/inject ]; do sleep 0.2; done
sed -n '/^[^E]/p' "$2" >/tmp/software.evemu
evemu-device /tmp/software.evemu >/tmp/device &
until grep -q /dev/input /tmp/device; do sleep 0.2; done
udevadm settle
sleep 4
evemu-play "$(sed 's/.*: //' /tmp/device)" <<EVENTS
E: 0.000001 0001 002c 0001
E: 0.000001 0000 0000 0000
E: 0.100000 0001 002c 0000
E: 0.100000 0000 0000 0000
EVENTS
echo "GUEST INJECTED"
until [ -e /out/done ]; do sleep 0.2; done
