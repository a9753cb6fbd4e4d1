#!/usr/bin/env python3
"""Runs every command that README.md shows with its output against the demo agent and compares the output byte for byte
(line ends apart: HTTP's CR LF reads as LF). readme.py BIN_DIR"""
import difflib
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
HEALTH = ["curl", "-s", "--max-time", "2", "http://127.0.0.1:9100/health"]


def examples():
    """(command, output) of each "    $ command" line and what is shown below it."""
    lines = [line[4:] for line in (ROOT / "README.md").read_text(encoding="utf-8").splitlines()
             if line.startswith("    ") or not line]
    command, output = None, []
    for line in lines + ["$ "]:
        if line.startswith("$ "):
            if command:
                yield command, "\n".join(output).strip("\n")
            command, output = line[2:], []
        else:
            output.append(line)


def running():
    return b"running" in subprocess.run(HEALTH, capture_output=True).stdout


def wait_for_agent(agent):
    for _ in range(600):
        if running():
            return
        if agent.poll() is not None:
            sys.exit("the agent ended")
        time.sleep(0.1)
    sys.exit("the agent does not listen")


def check(command, expected):
    result = subprocess.run(["bash", "-c", command], cwd=ROOT, capture_output=True, text=True)
    shown = re.sub("\r\n?", "\n", result.stdout).strip("\n")
    if shown == expected:
        return True
    print(f"$ {command}")
    print("\n".join(difflib.unified_diff(expected.split("\n"), shown.split("\n"), "README.md", "agent", lineterm="")))
    return False


def main():
    if running():
        sys.exit("another agent listens on port 9100; close it to run this test")
    with tempfile.TemporaryDirectory() as home:
        environment = dict(os.environ, HOME=home, QT_QPA_PLATFORM="offscreen")
        agent = subprocess.Popen([f"{sys.argv[1]}/harrowmint-printer-demo"], env=environment)
        try:
            wait_for_agent(agent)
            results = [check(command, output) for command, output in examples()]
        finally:
            agent.terminate()
            agent.wait()
    if not results or not all(results):
        sys.exit(f"{results.count(False)} of {len(results)} examples differ")
    print(f"{len(results)} examples hold")


main()
