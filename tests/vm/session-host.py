"""Two people at one machine with the listener service: what each of them hears, and who can read what."""

import re
import sys
import time

import guest as guest_module
from guest import Guest, taps

# What the two programs say, each line with the name of its user before it.
guest_module.EVENTS = r"(?:anna|bela) (?:keyDown|keyUp) \d+"


def of(user, *codes):
    return [f"{user} {event}" for event in taps(*codes)]


# The whole of a system boots in an emulated machine: on a busy host every step takes its time.
STEP = 400


class SlowGuest(Guest):
    def run(self, line, limit=STEP):
        super().run(line, limit)

    def wait(self, pattern, limit=STEP):
        super().wait(pattern, limit)

    def expect(self, case, *wanted, limit=STEP):
        if not wanted:
            self.run("sleep 2")
        super().expect(case, *wanted, limit=limit)


guest = SlowGuest(STEP)
failed = []


def check(what, holds, shown=""):
    print(f"{time.time() - guest.start:5.1f} s {'as wanted' if holds else 'WRONG'}: {what} {shown}", flush=True)
    if not holds:
        failed.append(what)


def output(line, limit=STEP):
    """What the guest prints for a shell line."""
    before = len(guest.console())
    guest.run(line, limit)
    text = guest.console()[before:]
    # Others print in between; only what is marked counts.
    return "\n".join(re.findall(r"^OUT (.*)$", text, re.M))


def said(command, limit=STEP):
    return output(f"{{ {command}; }} 2>&1 | sed 's/^/OUT /'", limit)


guest.run('until [ -n "$(session anna)" ] && [ -n "$(session bela)" ]; do sleep 0.2; done', 2 * STEP)
print(said("loginctl --no-legend list-sessions; systemctl --version | head -n 1; uname -r"))
guest.run("table")
check("before, nobody reads the keyboards", not re.search(r"TABLE (anna|bela) . yes", guest.console()))
check("the service is off until it is asked for",
      "disabled" in said("systemctl is-enabled keysong-listener.socket") and
      "inactive" in said("systemctl is-active keysong-listener.socket"))

# Granted by the helper, as root runs it for anna: the service is switched on and knows her.
helper = "/usr/local/libexec/keysong-grant-access"
check("the helper grants", said(f"PKEXEC_UID=1000 {helper}; echo status $?").endswith("status 0"))
print(said("systemctl is-enabled keysong-listener.socket; cat /var/lib/private/keysong/permissions; "
           "ls -la /run/keysong; systemctl show -P MainPID keysong-listener"))
guest.run("table")
check("nor afterwards", not re.search(r"TABLE (anna|bela) . yes", guest.console()))
check("the service's user reads and does not write", "TABLE keysong-listener r yes" in guest.console())

# Both programs wait in their sessions for the word to start.
guest.run("front anna; touch /run/start")
guest.run('until pgrep -u anna -x keysong; do sleep 0.2; done; sleep 3')
guest.tap("a", "s")
guest.expect("anna, in front, is heard by her program", *of("anna", 0, 1))
print(said("opened; ps -o user,cls,rtprio,comm -T -p $(pgrep -x keysong-listene)"))
guest.run("locks anna true; sleep 0.5")
check("locked, the devices are closed", said("opened") == "0")
guest.tap("p", "w")
guest.expect("locked, nothing is heard")
guest.run("locks anna false; sleep 0.5")
guest.tap("d")
guest.expect("unlocked, she is heard again", *of("anna", 2))

guest.run("front bela; sleep 0.5")
guest.tap("s", "e", "c")
guest.expect("another user's password is not heard")
check("with nobody granted in front the devices are closed", said("opened") == "0")
# Through polkit, in her own session: the rules of the test say yes to anna only.
check("bela may not grant herself", "not allowed" in said("as_session bela keysongctl access grant"),
      said("as_session bela keysongctl access grant"))
check("root may", said("keysongctl access grant bela") == "granted")
guest.run("sleep 1.5")
guest.tap("f")
guest.expect("bela is heard by her own program only", *of("bela", 3))
guest.run("front anna; sleep 0.5")
guest.tap("g")
guest.expect("and anna again by hers", *of("anna", 5))

# Taken back with a key held.
guest.key("h", True)
guest.wait(r"^anna keyDown 4$")
print(said("as_session anna keysongctl access status"))
check("taken back without a password", said("as_session anna keysongctl access revoke") == "taken back")
guest.expect("the held key is let go of", "anna keyDown 4", "anna keyUp 4")
guest.key("h", False)
guest.tap("j")
guest.expect("and nothing follows")
check("polkit grants it to her in her session", said("as_session anna keysongctl access grant") == "granted")
guest.run("sleep 0.5")
guest.tap("k")
guest.expect("she is heard again without a restart", *of("anna", 40))

# Unplugged and killed.
guest.command("device_add", driver="usb-kbd", id="keyboard", bus="xhci.0")
guest.run('until [ -n "$(node "QEMU QEMU USB Keyboard")" ]; do sleep 0.1; done; sleep 1')
guest.tap("c")
guest.expect("a keyboard that is plugged in is heard", *of("anna", 8))
guest.command("device_del", id="keyboard")
guest.run("sleep 1")
guest.key("v", True)
guest.wait(r"^anna keyDown 9$")
guest.run("kill -KILL $(pgrep -x keysong-listene); before=$(date +%s%N)")
guest.expect("killed, the held key is let go of", "anna keyDown 9", "anna keyUp 9")
guest.key("v", False)
guest.run('until [ "$(opened)" -gt 0 ]; do sleep 0.02; done; echo "OUT back after $((($(date +%s%N) - before) / 1000000)) ms"')
print(re.findall(r"OUT (back after .*)", guest.console())[-1])
guest.run("sleep 0.3")
guest.tap("b")
guest.expect("and she is heard again", *of("anna", 11))

second = said("as_session anna timeout 5 keysong --input-test")
check("a second program of her session hears nothing", "keyDown" not in second, second[-200:])
print(said("systemd-analyze security keysong-listener.service | tail -n 1; "
           "systemctl show -P MemoryPeak -P MemoryCurrent -P TasksCurrent keysong-listener"))

# Removed.
check("removed, nothing is left",
      said(f"{helper} --remove; systemctl is-enabled keysong-listener.socket; ls -A /var/lib/private/keysong; "
           "ls /run/keysong").splitlines()[:1] == ["disabled"])
guest.run("table")
print("\n".join(re.findall(r"^TABLE .*", guest.console(), re.M)))
guest.end()
right = [good for good, _ in guest.cases]
print(f"{sum(right)} of {len(right)} typed cases as wanted, {len(failed)} other checks failed")
sys.exit(0 if all(right) and not failed else 1)
