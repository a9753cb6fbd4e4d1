#!/usr/bin/env python3
"""Checks the macOS bundle's parts as far as that goes without a Mac. Argument: the program that draws the icon set."""
import pathlib
import plistlib
import struct
import subprocess
import sys
import tempfile
import unittest

MACOS = pathlib.Path(__file__).resolve().parent.parent.parent / "packaging/macos"
ICONSET = sys.argv.pop(1)


def png_size(path):
    header = path.read_bytes()[:24]
    assert header[:8] == b"\x89PNG\r\n\x1a\n", f"{path} is no PNG"
    return struct.unpack(">II", header[16:24])


class Bundle(unittest.TestCase):
    def setUp(self):
        self.scratch = tempfile.TemporaryDirectory()
        self.folder = pathlib.Path(self.scratch.name)
        self.addCleanup(self.scratch.cleanup)

    def info(self):
        text = (MACOS / "Info.plist.in").read_text(encoding="utf-8")
        for name, value in (("PROJECT_VERSION", "1.2.3"), ("CMAKE_OSX_DEPLOYMENT_TARGET", "12.0")):
            text = text.replace(f"@{name}@", value)
        return plistlib.loads(text.encode())

    def make_app(self):
        app = self.folder / "Harrowmint Printer.app"
        for path in ("MacOS/Harrowmint Printer", "Frameworks/QtCore.framework/Versions/A/QtCore",
                     "Frameworks/libqrencode.4.dylib", "PlugIns/platforms/libqcocoa.dylib"):
            (app / "Contents" / path).parent.mkdir(parents=True, exist_ok=True)
            (app / "Contents" / path).touch()
        return app

    def sign(self, *arguments):
        return subprocess.run([MACOS / "sign-and-notarise", "--dry-run", *arguments], capture_output=True, text=True)

    def test_names_the_product_and_what_it_needs(self):
        info = self.info()
        self.assertEqual(info["CFBundleIdentifier"], "com.harrowmint.printer")
        self.assertEqual(info["CFBundleShortVersionString"], "1.2.3")
        self.assertEqual(info["LSMinimumSystemVersion"], "12.0")
        self.assertTrue(info["NSBluetoothAlwaysUsageDescription"])
        self.assertFalse(info["LSUIElement"], "it has a Dock icon")
        self.assertFalse(info["NSSupportsSuddenTermination"])
        self.assertNotIn("@", str(info), "every placeholder is filled")

    def test_names_the_files_that_the_bundle_is_made_of(self):
        recipe = (MACOS / "Bundle.cmake").read_text(encoding="utf-8")
        self.assertIn(f'OUTPUT_NAME "{self.info()["CFBundleExecutable"]}"', recipe)
        self.assertIn(f'{self.info()["CFBundleIconFile"]}.icns', recipe)

    def test_asks_for_bluetooth_and_nothing_else(self):
        entitlements = plistlib.loads((MACOS / "HarrowmintPrinter.entitlements").read_bytes())
        self.assertEqual(entitlements, {"com.apple.security.device.bluetooth": True})

    def test_has_every_picture_of_an_icon_set_in_its_size(self):
        iconset = self.folder / "Test.iconset"
        subprocess.run([ICONSET, iconset], check=True)
        expected = {}
        for points in (16, 32, 128, 256, 512):
            expected[f"icon_{points}x{points}.png"] = (points, points)
            expected[f"icon_{points}x{points}@2x.png"] = (2 * points, 2 * points)
        self.assertEqual({path.name: png_size(path) for path in iconset.iterdir()}, expected)

    def test_is_signed_from_the_inside_out_then_notarised_then_stapled(self):
        app = self.make_app()
        made = self.sign("--identity", "Developer ID Application: A (B)", "--profile", "notary", app)
        self.assertEqual(made.returncode, 0, made.stderr)
        order = ["libqrencode.4.dylib", "libqcocoa.dylib", "QtCore.framework", "HarrowmintPrinter.entitlements",
                 "--verify", "ditto", "notarytool submit", "stapler staple", "spctl", "ditto"]
        lines = made.stdout.splitlines()
        self.assertEqual(len(lines), len(order), made.stdout)
        for line, word in zip(lines, order):
            self.assertIn(word, line)
        for line in lines[:4]:
            self.assertIn("--options runtime", line)
            self.assertIn("--timestamp", line)

    def test_is_only_signed_and_verified_without_a_profile(self):
        made = self.sign("--identity", "-", self.make_app())
        self.assertEqual(made.returncode, 0, made.stderr)
        self.assertNotIn("notarytool", made.stdout)
        self.assertNotIn("--timestamp", made.stdout)
        self.assertIn("--verify", made.stdout.splitlines()[-1])

    def test_is_not_signed_without_an_identity_or_a_bundle(self):
        self.assertEqual(self.sign(self.make_app()).returncode, 2)
        self.assertEqual(self.sign("--identity", "-", self.folder / "nothing").returncode, 2)


if __name__ == "__main__":
    unittest.main()
