# The guest's part of script/test-guest-session: what systemd runs when it is up. Does what the host asks for
# (guest.py), in this one shell.

# node NAME: the event node of the device with this name.
node() {
    grep -lx "$1" /sys/class/input/event*/device/name | sed 's|.*/\(event[0-9]*\)/.*|/dev/input/\1|'
}

# session USER: the user's session on a terminal.
session() {
    loginctl --no-legend list-sessions | awk -v user="$1" '$3 == user && $4 == "seat0" { print $1; exit }'
}

# front USER: brings the user's session to the front.
front() {
    loginctl activate "$(session "$1")"
    until [ "$(loginctl show-session -P Active "$(session "$1")")" = yes ]; do sleep 0.1; done
}

# locks USER true|false: what a screen locker tells the login manager.
locks() {
    busctl --quiet call org.freedesktop.login1 \
        "$(busctl call org.freedesktop.login1 /org/freedesktop/login1 org.freedesktop.login1.Manager GetSession s \
            "$(session "$1")" | cut -d '"' -f 2)" \
        org.freedesktop.login1.Session SetLockedHint b "$2"
}

# as_session USER COMMAND...: runs a command in the user's session, and prints what it says.
as_session() {
    user=$1
    shift
    echo "$*" >/run/asks/new
    mv /run/asks/new "/run/asks/$user"
    until [ -e "/run/asks/$user.answer" ]; do sleep 0.1; done
    cat "/run/asks/$user.answer"
    rm "/run/asks/$user.answer"
}

# table: who can read what now.
table() {
    keyboard=$(node "AT Translated Set 2 keyboard")
    for user in anna bela keysong-listener; do
        for right in r w; do
            id "$user" >/dev/null 2>&1 || { echo "TABLE $user $right no-such-user"; continue; }
            groups=--init-groups
            [ "$user" != keysong-listener ] || groups="--groups input"
            if setpriv --reuid "$(id -u "$user")" --regid "$(id -g "$user")" $groups test -$right "$keyboard"; then
                echo "TABLE $user $right yes"
            else
                echo "TABLE $user $right no"
            fi
        done
    done
}

# opened: which devices the service has open, counted.
opened() {
    ls -l "/proc/$(pgrep -x keysong-listene)/fd" 2>/dev/null | grep -c ' /dev/input/event'
}

export PATH=/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin
mkdir -m 777 /run/asks
udevadm settle
. /etc/guest-loop.sh
echo 0 >/out/status
sync
systemctl poweroff --force --force
