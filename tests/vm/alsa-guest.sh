# In the guest: the program and the ALSA output on a sound card, and on one that comes and goes.
program=$1
player=$2
amixer -q -c0 sset Master 100% unmute
export KEYSONG_LOG_SINK=stderr KEYSONG_OUTPUT=alsa HOME=/tmp
setpriv --reuid=65534 --clear-groups "$program" --play-test
KEYSONG_LOG=1 "$program" --play-test
echo GUEST READY
"$player" alsa:Intel,0 alsa:Audio,0
