#!/usr/bin/env python3
"""Measures the whole agent: process start to listening and idle memory, before and after one receipt.

process.py BIN_DIR [RUNS]: starts BIN_DIR/harrowmint-printer-demo, offscreen, with a home directory of its own, RUNS
times; the baseline is a program of the same toolkit that only makes its application object (BIN_DIR/bench_idle)."""
import http.client
import json
import os
import pathlib
import socket
import statistics
import subprocess
import sys
import tempfile
import time
import uuid

PORT = 9100
SAMPLES = pathlib.Path(__file__).resolve().parent.parent / "tests" / "samples"


def connects():
    with socket.socket() as probe:
        return probe.connect_ex(("127.0.0.1", PORT)) == 0


def milliseconds_until(process, condition):
    deadline = time.perf_counter() + 60
    while not condition():
        if time.perf_counter() > deadline:
            sys.exit(f"{process.args[0]} does not listen")
        if process.poll() is not None:
            sys.exit(f"{process.args[0]} ended with status {process.returncode}")
        time.sleep(0.0002)
    return time.perf_counter()


def rss_mb(pid):
    status = pathlib.Path(f"/proc/{pid}/status").read_text()
    return int(next(line for line in status.splitlines() if line.startswith("VmRSS")).split()[1]) / 1024


def post_receipt():
    body = json.loads((SAMPLES / "invoice-60.json").read_text())
    body["printRequestId"] = str(uuid.uuid4())
    connection = http.client.HTTPConnection("127.0.0.1", PORT)
    headers = {"Origin": "https://demo.harrowmint.example", "Content-Type": "application/json"}
    connection.request("POST", "/print", json.dumps(body), headers)
    reply = connection.getresponse()
    text = reply.read()
    assert reply.status == 200, text


def run_agent(program, home):
    # The agent refuses bursts, and remembers them across starts.
    (pathlib.Path(home) / "Library/Application Support/Harrowmint Printer Demo/recent-jobs.json").unlink(missing_ok=True)
    environment = dict(os.environ, HOME=home, QT_QPA_PLATFORM="offscreen")
    begin = time.perf_counter()
    process = subprocess.Popen([program], env=environment, stderr=subprocess.DEVNULL)
    try:
        start = (milliseconds_until(process, connects) - begin) * 1000
        time.sleep(1)
        idle = rss_mb(process.pid)
        post_receipt()
        time.sleep(1)
        return start, idle, rss_mb(process.pid)
    finally:
        process.terminate()
        process.wait()


def run_baseline(program):
    environment = dict(os.environ, QT_QPA_PLATFORM="offscreen")
    begin = time.perf_counter()
    subprocess.run([program], env=environment, check=True)
    return (time.perf_counter() - begin) * 1000


def row(name, values, unit):
    print(f"{name:34} median {statistics.median(values):7.1f} {unit}   "
          f"min {min(values):7.1f}   max {max(values):7.1f}   ({len(values)} runs)")


def main():
    if connects():
        sys.exit("port 9100 is taken; close the other agent")
    binaries = pathlib.Path(sys.argv[1])
    runs = int(sys.argv[2]) if len(sys.argv) > 2 else 15
    with tempfile.TemporaryDirectory() as home:
        run_agent(binaries / "harrowmint-printer-demo", home)  # fills the page cache and writes the first settings
        agents = [run_agent(binaries / "harrowmint-printer-demo", home) for _ in range(runs)]
    baseline = [run_baseline(binaries / "bench_idle") for _ in range(runs)]
    row("start to listening", [a[0] for a in agents], "ms")
    row("baseline: start and end of a bare", baseline, "ms")
    row("idle memory (RSS)", [a[1] for a in agents], "MB")
    row("memory after a 60-item receipt", [a[2] for a in agents], "MB")


main()
