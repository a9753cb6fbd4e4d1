"""The desktops on which the whole agent is measured, each with a virtual display and buses of its own."""
import contextlib
import os
import pathlib
import select
import socket
import subprocess
import sys
import tempfile
import threading


@contextlib.contextmanager
def program(command, **options):
    """A program that says one line when it is ready; gives that line."""
    process = subprocess.Popen(command, stdout=subprocess.PIPE, text=True, **options)
    try:
        ready, _, _ = select.select([process.stdout], [], [], 60)
        line = process.stdout.readline().strip() if ready else ""
        if not line:
            sys.exit(f"{command[0]} does not start")
        yield line
    finally:
        process.terminate()
        process.wait()


@contextlib.contextmanager
def display():
    with program(["Xvfb", "-displayfd", "1", "-screen", "0", "1280x800x24", "-nolisten", "tcp", "-noreset"],
                 stderr=subprocess.DEVNULL) as number:
        yield {"QT_QPA_PLATFORM": "xcb", "DISPLAY": ":" + number}


def buses(address):
    return {"DBUS_SESSION_BUS_ADDRESS": address, "DBUS_SYSTEM_BUS_ADDRESS": address}


@contextlib.contextmanager
def mute_bus(directory):
    """Accepts every connection and never says a word."""
    path = str(pathlib.Path(directory) / "mute")
    listener = socket.socket(socket.AF_UNIX)
    listener.bind(path)
    listener.listen(16)
    kept = []

    def accept_all():
        with contextlib.suppress(OSError):
            while True:
                kept.append(listener.accept()[0])

    thread = threading.Thread(target=accept_all, daemon=True)
    thread.start()
    try:
        yield "unix:path=" + path
    finally:
        listener.shutdown(socket.SHUT_RDWR)
        thread.join()
        listener.close()
        for each in kept:
            each.close()


@contextlib.contextmanager
def desktop(name, binaries, home):
    """The environment of an agent on the desktop of this name; `home` is its user's home directory."""
    runtime = pathlib.Path(home) / "run"
    runtime.mkdir(mode=0o700, exist_ok=True)
    plain = {key: value for key, value in os.environ.items() if not key.startswith(("DBUS_", "DISPLAY", "WAYLAND_"))}
    plain |= {"HOME": home, "XDG_RUNTIME_DIR": str(runtime), "QT_QPA_PLATFORM": "offscreen"}
    with contextlib.ExitStack() as stack, tempfile.TemporaryDirectory() as own:
        nowhere = buses("unix:path=" + own + "/none")
        if name == "offscreen, no bus":
            yield plain | nowhere
            return
        plain |= stack.enter_context(display())
        if name == "no bus":
            yield plain | nowhere
        elif name == "mute buses":
            yield plain | buses(stack.enter_context(mute_bus(own)))
        else:
            bus = stack.enter_context(program(["dbus-daemon", "--session", "--nofork", "--print-address"]))
            if name == "tray and logind":
                stack.enter_context(program([str(pathlib.Path(binaries) / "bench_desktop"), bus]))
            yield plain | buses(bus)


NAMES = ["offscreen, no bus", "tray and logind", "no tray, no logind", "no bus", "mute buses"]
