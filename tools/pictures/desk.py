"""A desktop that nobody sees, with a program on it that is looked at and worked from outside."""

import ctypes
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import time

import gi

gi.require_version("Atspi", "2.0")
from gi.repository import Atspi  # noqa: E402

HERE = pathlib.Path(__file__).parent


def eventually(condition, seconds=20):
    """The first true result of the condition; an error when it does not come in time."""
    deadline = time.monotonic() + seconds
    while True:
        result = condition()
        if result:
            return result
        if time.monotonic() > deadline:
            raise TimeoutError(condition.__code__.co_consts)
        time.sleep(0.05)


class Keyboard:
    """The display's own keyboard, whose keys count as pressed by hand."""

    def __init__(self, display):
        self.x11 = ctypes.CDLL("libX11.so.6")
        self.xi = ctypes.CDLL("libXi.so.6")
        self.xtst = ctypes.CDLL("libXtst.so.6")
        for function in (self.x11.XOpenDisplay, self.xi.XOpenDevice):
            function.restype = ctypes.c_void_p
        self.display = ctypes.c_void_p(self.x11.XOpenDisplay(display.encode()))
        names = subprocess.run(["xinput", "list", "--id-only", "Xvfb keyboard"], check=True, text=True,
                               capture_output=True, env={**os.environ, "DISPLAY": display})
        self.device = ctypes.c_void_p(self.xi.XOpenDevice(self.display, int(names.stdout)))

    def hold(self, linux_codes, pressed):
        for code in linux_codes:
            self.xtst.XTestFakeDeviceKeyEvent(self.display, self.device, code + 8, int(pressed), None, 0, 0)
        self.x11.XSync(self.display, 0)


class Desk:
    """One display, bus, window manager and panel. Use it in a `with` statement."""

    def __init__(self, programs, scheme, size="1000x900", trusted=True):
        self.programs = programs.resolve()
        self.folder = tempfile.TemporaryDirectory(prefix="keysong-pictures-")
        self.home = pathlib.Path(self.folder.name)
        self.scheme, self.size, self.trusted = scheme, size, trusted
        self.children = []

    def __enter__(self):
        runtime = self.home / "run"
        runtime.mkdir(mode=0o700)
        inherited = {name: os.environ[name] for name in ("PATH", "LANG") if name in os.environ}
        self.environment = {
            **inherited, "HOME": str(self.home), "XDG_RUNTIME_DIR": str(runtime), "LC_ALL": "C.UTF-8",
            "DBUS_SESSION_BUS_ADDRESS": f"unix:path={runtime}/bus", "KEYSONG_OUTPUT": "virtual",
            "KEYSONG_LOG_SINK": "stderr", "QT_LINUX_ACCESSIBILITY_ALWAYS_ON": "1"}
        read, write = os.pipe()
        self.start("Xvfb", "-displayfd", str(write), "-screen", "0", self.size + "x24", "-nolisten", "tcp",
                   "-noreset", "-dpi", "96", pass_fds=[write])
        os.close(write)
        with os.fdopen(read) as line:
            self.display = ":" + line.readline().strip()
        self.environment["DISPLAY"] = self.display
        self.start("dbus-daemon", "--session", "--nofork", "--nopidfile",
                   "--address=" + self.environment["DBUS_SESSION_BUS_ADDRESS"])
        eventually((runtime / "bus").exists)
        self.start(sys.executable, HERE / "portal.py", self.scheme)
        self.run("xsetroot", "-solid", "#20242c" if self.scheme == "dark" else "#c9d3e0")
        if not self.trusted:  # the program trusts no display that stands for another one
            self.run("xrandr", "--setmonitor", "XWAYLAND0", "auto", "none")
        self.start("openbox", "--sm-disable")
        eventually(lambda: "FOUND" if self.owns("org.freedesktop.portal.Desktop") else None)
        os.environ.update(self.environment)  # for the accessibility library
        return self

    def __exit__(self, *_):
        for child in reversed(self.children):
            child.terminate()
            child.wait()
        self.folder.cleanup()

    def start(self, *words, **options):
        log = open(self.home / "log", "a")
        child = subprocess.Popen([str(word) for word in words], stdin=subprocess.DEVNULL, stdout=log,
                                 stderr=log, env=self.environment, **options)
        self.children.append(child)
        return child

    def run(self, *words):
        done = subprocess.run([str(word) for word in words], env=self.environment, text=True,
                              capture_output=True)
        return done.stdout if done.returncode == 0 else None

    def owns(self, name):
        return "true" in (self.run("busctl", "--user", "call", "org.freedesktop.DBus", "/org/freedesktop/DBus",
                                   "org.freedesktop.DBus", "NameHasOwner", "s", name) or "")

    def control(self, *words):
        return self.run(self.programs / "keysongctl", *words)

    def find(self, role, name, below=None):
        """The first control that shows and has the role and the name; None where there is none."""
        try:
            node = below or Atspi.get_desktop(0)
            for index in range(node.get_child_count()):
                child = node.get_child_at_index(index)
                if child is None:
                    continue
                child.clear_cache()
                if (child.get_role_name() == role and name in (child.get_name(), *labels(child))
                        and child.get_state_set().contains(Atspi.StateType.SHOWING)):
                    return child
                found = self.find(role, name, child)
                if found is not None:
                    return found
        except gi.repository.GLib.Error:  # it has just gone
            pass
        return None

    def act(self, role, name, action):
        node = eventually(lambda: self.find(role, name))
        names = [node.get_action_name(index) for index in range(node.get_n_actions())]
        node.do_action(names.index(action))

    def picture(self, file, title=None, area=None):
        """The screen, or one window with its frame, or an area (x, y, width, height) of the screen."""
        time.sleep(0.4)  # animations end
        words = ["import", "-window", "root"]
        if title is not None:
            area = self.frame(title)
        if area is not None:
            x, y, width, height = area
            words += ["-crop", f"{width}x{height}+{x}+{y}", "+repage"]
        self.run(*words, file)
        return file

    def place(self, identity):
        """Where a window lies on the screen, without its frame: x, y, width and height."""
        words = self.run("xwininfo", "-id", identity)
        return [int(re.search(f"{what}: +(-?[0-9]+)", words)[1])
                for what in ("Absolute upper-left X", "Absolute upper-left Y", "Width", "Height")]

    def frame(self, title):
        """Where a window lies with what its manager put around it."""
        identity = eventually(lambda: self.run("xdotool", "search", "--onlyvisible", "--name", f"^{title}$"))
        identity = identity.split()[-1]
        extents = self.run("xprop", "-id", identity, "-notype", "_NET_FRAME_EXTENTS").split("=")[1]
        left, right, top, bottom = (int(number) for number in extents.split(","))
        x, y, width, height = self.place(identity)
        return x - left, y - top, width + left + right, height + top + bottom


def labels(node):
    return [relation.get_target(0).get_name() for relation in node.get_relation_set()
            if relation.get_relation_type() == Atspi.RelationType.LABELLED_BY]
