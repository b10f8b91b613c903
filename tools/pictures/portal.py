"""portal.py SCHEME: a desktop's portal that knows one setting, whether it is "light" or "dark"."""

import sys

import dbus
import dbus.mainloop.glib
import dbus.service
from gi.repository import GLib

NUMBER = {"dark": 1, "light": 2}[sys.argv[1]]


class Settings(dbus.service.Object):
    @dbus.service.method("org.freedesktop.portal.Settings", in_signature="ss", out_signature="v")
    def Read(self, group, key):
        if (group, key) != ("org.freedesktop.appearance", "color-scheme"):
            raise dbus.DBusException(name="org.freedesktop.portal.Error.NotFound")
        return dbus.UInt32(NUMBER, variant_level=1)


dbus.mainloop.glib.DBusGMainLoop(set_as_default=True)
name = dbus.service.BusName("org.freedesktop.portal.Desktop", dbus.SessionBus())
settings = Settings(name, "/org/freedesktop/portal/desktop")
GLib.MainLoop().run()
