"""pictures.py BIN FOLDER: the pictures of the documentation, from the program in BIN, put into FOLDER."""

import json
import multiprocessing
import pathlib
import subprocess
import sys
import tempfile

from desk import Desk, Keyboard, eventually

PROGRAMS = pathlib.Path(sys.argv[1])
RESULTS = pathlib.Path(sys.argv[2])
SETTINGS = "Keysong Settings"
# Applications for the list: name, colour, and what their picture shows.
APPS = [("Calls", "#2f9e6e", '<path d="M16 20h20v24H16zM38 28l12-7v22l-12-7z"/>'),
        ("Camera", "#5b6ee1", '<path d="M12 20h40v28H12z"/><circle cx="32" cy="34" r="9" fill="#5b6ee1"/>'),
        ("Letters", "#e2803a", '<path d="M12 18h40v28H12z"/><path d="M14 20l18 14 18-14" stroke="#e2803a"'
                               ' stroke-width="4" fill="none"/>'),
        ("Notes", "#d8a927", '<path d="M18 14h28v36H18z"/>'),
        ("Recorder", "#d64550", '<circle cx="32" cy="32" r="14"/>'),
        ("Terminal", "#3c4450", '<path d="M16 20l12 12-12 12" stroke="#fff" stroke-width="5" fill="none"/>'
                                '<path d="M32 42h16v4H32z"/>'),
        ("Theatre", "#9a4fc0", '<path d="M22 16l24 16-24 16z"/>')]
KEYS_HELD = [42, 30, 49, 57]  # Linux codes: shift, A, N, space


def furnish(desk):
    """What a person has after some weeks."""
    applications = desk.home / ".local/share/applications"
    applications.mkdir(parents=True)
    for name, color, shape in APPS:
        icon = applications / f"{name}.svg"
        icon.write_text('<svg xmlns="http://www.w3.org/2000/svg" width="64" height="64"><rect x="4" y="4" '
                        f'width="56" height="56" rx="14" fill="{color}"/><g fill="#fff">{shape}</g></svg>')
        (applications / f"org.example.{name}.desktop").write_text(
            f"[Desktop Entry]\nType=Application\nName={name}\nExec={name.lower()}\nIcon={icon}\n")
    preferences = desk.home / ".config/com.orlen.keysong/preferences.json"
    preferences.parent.mkdir(parents=True)
    preferences.write_text(json.dumps({
        "setID": "holy-panda", "volume": 0.7, "keysPressed": 48213, "tone": 0.3, "body": -0.2,
        "scrollSounds": True, "mutedApps": ["org.example.Calls", "org.example.Recorder"]}))


def open_settings(desk, **changes):
    desk.environment.update(changes)
    furnish(desk)
    desk.start(desk.programs / "keysong")
    eventually(lambda: "PlayingOn" in (desk.control("status", "--json") or ""))
    desk.control("settings")
    eventually(lambda: desk.find("label", "Granted"))


def scroll_bar(desk):
    return desk.find("scroll bar", "", desk.find("frame", SETTINGS))


def settings_pages(desk, folder, **changes):
    """The settings from top to bottom, in as many pages as they take."""
    open_settings(desk, **changes)
    bar = scroll_bar(desk)
    length = bar.get_maximum_value()
    pages = []
    for share in (0, 0.5, 1):
        bar.set_current_value(round(length * share))
        keyboard = Keyboard(desk.display)
        keyboard.hold(KEYS_HELD, share == 0)
        pages.append(desk.picture(folder / f"page{len(pages)}.png", SETTINGS))
        keyboard.hold(KEYS_HELD, False)
    return pages


def picker(desk, folder):
    open_settings(desk)
    scroll_bar(desk).set_current_value(420)
    desk.act("combo box", "Switch", "ShowMenu")
    x, y, width, height = desk.frame(SETTINGS)
    return [desk.picture(folder / "picker.png", area=(x, y, width, height + 160))]


def reset_dialog(desk, folder):
    open_settings(desk)
    bar = scroll_bar(desk)
    bar.set_current_value(bar.get_maximum_value())
    general = desk.find("panel", "General")
    button = desk.find("push button", "Reset", general)
    button.do_action(0)
    eventually(lambda: desk.find("label", "This cannot be undone."))
    return [desk.picture(folder / "reset.png", SETTINGS)]


def chooser(desk, folder):
    open_settings(desk)
    desk.act("push button", "Add an app", "Press")
    eventually(lambda: desk.find("list", "Installed apps"))
    return [desk.picture(folder / "chooser.png", "Add an app")]


def onboarding(desk, folder):
    furnish(desk)
    desk.start(desk.programs / "keysong")
    eventually(lambda: desk.find("push button", "Copy"))
    return [desk.picture(folder / "onboarding.png", "Keysong")]


def window_where(desk, fits):
    """The place of a visible window of the program's whose place fits; None where there is none."""
    windows = (desk.run("xdotool", "search", "--onlyvisible", "--class", "keysong") or "").split()
    return next(filter(fits, map(desk.place, windows)), None)


def menu(desk, folder):
    dark = desk.scheme == "dark"
    panel = desk.home / "panel"
    panel.write_text("panel_items = SC\npanel_padding = 8 0 8\npanel_size = 260 34\npanel_position = top right horizontal\n"
                     "rounded = 0\nborder_width = 0\n"
                     f"background_color = {'#14171c' if dark else '#f4f4f6'} 100\nclock_fmt_1 = \n"
                     "panel_background_id = 1\nsystray_icon_size = 22\ntime1_format = 09:41\n"
                     f"clock_font_color = {'#ffffff' if dark else '#202024'} 100\n")
    desk.start("tint2", "-c", panel)
    furnish(desk)
    desk.start(desk.programs / "keysong")
    eventually(lambda: "PlayingOn" in (desk.control("status", "--json") or ""))
    x, y, *_ = eventually(lambda: window_where(desk, lambda place: place[2] == place[3] <= 24))
    desk.run("xdotool", "mousemove", x + 11, y + 11, "click", "1")
    eventually(lambda: window_where(desk, lambda place: place[3] > 300))
    return [desk.picture(folder / "menu.png", area=(740, 0, 260, 870))]


def join(name, pages):
    """Side by side, in as few colours as do."""
    subprocess.run(["convert", *pages, "-bordercolor", "none", "-border", "6x6", "+append", "-alpha", "remove",
                    "+dither", "-colors", "255", "-define", "png:compression-level=9", "-strip",
                    f"PNG8:{RESULTS / name}.png"], check=True)


def on_a_desk(take, scheme, folder, options, results):
    with Desk(PROGRAMS, scheme, **options) as desk:
        results.put(take(desk, folder))


def make(name, take, schemes=("light", "dark"), **desk_options):
    pages = []
    # A process for each: the accessibility library keeps to the first bus that it sees.
    processes = multiprocessing.get_context("fork")
    with tempfile.TemporaryDirectory() as folder:
        for scheme in schemes:
            place = pathlib.Path(folder) / scheme
            place.mkdir()
            results = processes.SimpleQueue()
            worker = processes.Process(target=on_a_desk, args=(take, scheme, place, desk_options, results))
            worker.start()
            worker.join()
            if worker.exitcode != 0:
                sys.exit(f"{name}: no picture")
            pages += results.get()
        join(name, pages)
    print(RESULTS / name)


if __name__ == "__main__":
    RESULTS.mkdir(parents=True, exist_ok=True)
    only = sys.argv[3:]
    scaled = {"QT_SCALE_FACTOR": "1.5"}
    work = {
        "settings-light": lambda n: make(n, settings_pages, ["light"]),
        "settings-dark": lambda n: make(n, settings_pages, ["dark"]),
        "settings-scaled": lambda n: make(n, lambda d, f: settings_pages(d, f, **scaled)[:1]),
        "picker": lambda n: make(n, picker),
        "reset": lambda n: make(n, reset_dialog),
        "chooser": lambda n: make(n, chooser),
        "onboarding": lambda n: make(n, onboarding, trusted=False),
        "menu": lambda n: make(n, menu)}
    for each in only or work:
        work[each](each)
