#!/usr/bin/python3
"""advertise_again.py ADAPTER NAME: a printer's advertisement, told of again and again.

A printer on the air repeats its advertisement several times a second while nobody holds its link. A virtual controller
reports it once, in the moment when a search begins, and the kernel drops what it hears before it has taken note of the
search: then the printer is not found until the search begins anew, 10 s later. So this program advertises a second
time, for a moment, twice a second.
"""
import sys

import dbus
import dbus.mainloop.glib
import dbus.service
from gi.repository import GLib

PROPERTIES = 'org.freedesktop.DBus.Properties'
ADVERTISEMENT = 'org.bluez.LEAdvertisement1'
PATH = '/again'
SHOWN, HIDDEN = 100, 400  # milliseconds

adapter, name = '/org/bluez/' + sys.argv[1], sys.argv[2]
dbus.mainloop.glib.DBusGMainLoop(set_as_default=True)
bus = dbus.SystemBus()


class Advertisement(dbus.service.Object):
    @dbus.service.method(PROPERTIES, in_signature='s', out_signature='a{sv}')
    def GetAll(self, _interface):
        return {'Type': 'peripheral', 'LocalName': name, 'Discoverable': dbus.Boolean(True)}

    @dbus.service.method(ADVERTISEMENT)
    def Release(self):
        pass


def is_connected():
    objects = dbus.Interface(bus.get_object('org.bluez', '/'), 'org.freedesktop.DBus.ObjectManager').GetManagedObjects()
    return any(path.startswith(adapter + '/') and interfaces.get('org.bluez.Device1', {}).get('Connected')
               for path, interfaces in objects.items())


def show():
    try:
        if not is_connected():
            manager('RegisterAdvertisement', (PATH, {}), lambda: GLib.timeout_add(SHOWN, hide))
            return
    except dbus.DBusException:
        pass  # bluetoothd comes again, or this program is ended
    later()


def hide():
    try:
        manager('UnregisterAdvertisement', (PATH,), later)
    except dbus.DBusException:
        later()


def later(error=None):
    already_shown = error is not None and error.get_dbus_name() == 'org.bluez.Error.AlreadyExists'
    GLib.timeout_add(HIDDEN, hide if already_shown else show)


def manager(method, arguments, then):
    interface = dbus.Interface(bus.get_object('org.bluez', adapter), 'org.bluez.LEAdvertisingManager1')
    interface.get_dbus_method(method)(*arguments, reply_handler=then, error_handler=later)


_advertisement = Advertisement(bus, PATH)
show()
GLib.MainLoop().run()
