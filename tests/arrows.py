#!/usr/bin/env python3
"""Checks that includes follow the dependency arrows between the folders of src/, and that sockets and widgets stay in
their rooms. Prints each breach; exit status 1 when there is one."""
import pathlib
import re
import sys

MAY_KNOW = {
    "base": set(),
    "settings": {"base"},
    "server": {"settings", "base"},
    "documents": {"settings", "base"},
    "guard": {"settings", "base"},
    "render": {"documents", "base"},
    "transports": {"settings", "documents", "base"},
    "app": {"transports", "render", "guard", "documents", "settings", "server", "base"},
}
ONE_FILE_ONLY = {"asio": "src/server/PrinterServerImplementation.h", "simdjson": "src/base/JSONDocument.cpp",
                 "libusb": "src/transports/linux/usb-backend/LibusbDevice.cpp"}
ROOT = pathlib.Path(__file__).resolve().parent.parent


def breaches():
    for path in sorted((ROOT / "src").rglob("*")):
        if path.suffix not in {".h", ".cpp", ".mm"}:
            continue
        name = path.relative_to(ROOT).as_posix()
        folder = name.split("/")[1]
        for include in re.findall(r'^\s*#\s*include\s*[<"]([^>"]+)', path.read_text(encoding="utf-8"), re.M):
            target = include.split("/")[0]
            if target in MAY_KNOW and "/" in include and target != folder and target not in MAY_KNOW[folder]:
                yield f"{name}: {folder} may not know {include}"
            if folder == "app" and name.startswith("src/app/window/") and re.match(r"app/(?!window/)", include):
                yield f"{name}: the window may not know {include}"
            for library, only in ONE_FILE_ONLY.items():
                if re.match(rf"{library}(\.h(pp)?$|/)", include) and name != only:
                    yield f"{name}: {include} belongs in {only} alone"
            if re.match(r"Q(Tcp|Udp|LocalServer|LocalSocket|Widget|MainWindow|Dialog|Application$)", include) and folder != "app":
                yield f"{name}: {include} has no place in {folder}"


found = list(breaches())
print("\n".join(found) or "The arrows hold.")
sys.exit(1 if found else 0)
