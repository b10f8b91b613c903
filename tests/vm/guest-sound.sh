# Sourced by guest-commands.sh on the host's behalf: a sound server on the guest's card.
export XDG_RUNTIME_DIR=/run/user0 HOME=/tmp/home
mkdir -p "$XDG_RUNTIME_DIR" "$HOME/.config/wireplumber/main.lua.d" /run/systemd/seats /run/systemd/sessions /run/systemd/users /run/systemd/machines
chmod 700 "$XDG_RUNTIME_DIR"
# Plenty of room for an emulated machine on a busy host: it delays every sound alike.
echo 'alsa_monitor.properties["vm.node.defaults"] = { ["api.alsa.period-size"] = 1024, ["api.alsa.headroom"] = 4096 }' \
    >"$HOME/.config/wireplumber/main.lua.d/51-guest.lua"
amixer -q -c0 sset Master 100% unmute
DBUS_SESSION_BUS_ADDRESS=$(dbus-daemon --session --fork --print-address)
export DBUS_SESSION_BUS_ADDRESS
pipewire &
until [ -e "$XDG_RUNTIME_DIR/pipewire-0" ]; do sleep 0.1; done
wireplumber &
until timeout 5 pw-cli ls Node 2>/dev/null | grep -q alsa_output; do sleep 0.2; done
until wpctl set-volume @DEFAULT_AUDIO_SINK@ 1.0 2>/dev/null; do sleep 0.2; done
