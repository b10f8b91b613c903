# In the guest: the program and the ALSA output on a sound card, and on one that comes and goes.
program=$1
player=$2
amixer -q -c0 sset Master 100% unmute
export KEYSONG_LOG_SINK=stderr KEYSONG_OUTPUT=alsa HOME=/tmp
setpriv --reuid=65534 --clear-groups "$program" --play-test
KEYSONG_LOG=1 "$program" --play-test
{
    echo devices
    echo play alsa:Intel,0 60
    echo "GUEST READY" >&2
    echo wait alsa:Audio,0
    echo devices
    echo play alsa:Audio,0 40
    echo say GUEST PLAYS
    echo wait lost
    echo devices
    echo play alsa:Intel,0 20
} | "$player"
