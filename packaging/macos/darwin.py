"""What CMake selects when it configures for Darwin, found out on another system."""
import json
import pathlib
import subprocess

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
TOOLCHAIN = ROOT / "cmake/toolchains/macos-sources.cmake"


def compile_commands(build, tests=False):
    """Configures into the folder `build`; returns the compile commands of this project's own files, by path."""
    made = subprocess.run(
        ["cmake", "-S", ROOT, "-B", build, "-G", "Ninja", f"-DCMAKE_TOOLCHAIN_FILE={TOOLCHAIN}",
         f"-DHARROWMINT_TESTS={'ON' if tests else 'OFF'}"], capture_output=True, text=True)
    if made.returncode != 0:
        raise SystemExit(f"cmake does not configure for Darwin:\n{made.stdout}{made.stderr}")
    entries = json.loads((pathlib.Path(build) / "compile_commands.json").read_text(encoding="utf-8"))
    commands = {}
    for entry in entries:
        path = pathlib.Path(entry["file"])
        # What the build would generate is not there.
        if path.is_relative_to(ROOT) and not path.is_relative_to(build):
            commands[path.relative_to(ROOT)] = entry["command"]
    return dict(sorted(commands.items()))
