#!/usr/bin/env python3
"""Measures the whole agent, on each desktop of desktops.py: process start to listening, how long a page waits for a
60-item receipt, memory before and after it, and wake-ups with the window hidden.

process.py BIN_DIR [RUNS [SECONDS [DESKTOP...]]]: starts BIN_DIR/harrowmint-printer-demo, with a home directory of its own, RUNS times a
desktop, and then watches one agent on some of them for SECONDS (0: not at all) once it has settled. The baseline is a program
of the same toolkit that only makes its application object (BIN_DIR/bench_idle)."""
import contextlib
import http.client
import json
import pathlib
import socket
import statistics
import subprocess
import sys
import tempfile
import time
import uuid

import desktops

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


def wake_ups(pid):
    """How often its threads have gone to sleep so far: each time something has woken them."""
    count = 0
    for status in pathlib.Path(f"/proc/{pid}/task").glob("*/status"):
        lines = status.read_text().splitlines()
        count += int(next(line for line in lines if line.startswith("voluntary_ctxt_switches")).split()[1])
    return count


@contextlib.contextmanager
def agent(program, environment):
    """An agent whose window stays hidden, and how many milliseconds it took to listen."""
    # The agent refuses bursts, and remembers them across starts.
    data = pathlib.Path(environment["HOME"]) / "Library/Application Support/Harrowmint Printer Demo"
    (data / "recent-jobs.json").unlink(missing_ok=True)
    begin = time.perf_counter()
    process = subprocess.Popen([program, "usb", "--background"], env=environment, stderr=subprocess.DEVNULL)
    try:
        yield process, (milliseconds_until(process, connects) - begin) * 1000
    finally:
        process.terminate()
        process.wait()


def run_agent(program, environment):
    with agent(program, environment) as (process, start):
        time.sleep(1)
        idle = rss_mb(process.pid)
        begin = time.perf_counter()
        post_receipt()
        answer = (time.perf_counter() - begin) * 1000
        time.sleep(1)
        return start, answer, idle, rss_mb(process.pid)


def watch_agent(program, environment, settling, seconds):
    with agent(program, environment) as (process, _):
        post_receipt()
        time.sleep(settling)
        before = wake_ups(process.pid)
        time.sleep(seconds)
        return wake_ups(process.pid) - before


def run_baseline(program, environment):
    begin = time.perf_counter()
    subprocess.run([program], env=environment, check=True)
    return (time.perf_counter() - begin) * 1000


def row(name, values, unit):
    print(f"  {name:40} median {statistics.median(values):7.1f} {unit}   "
          f"min {min(values):7.1f}   max {max(values):7.1f}   ({len(values)} runs)", flush=True)


# Where wake-ups are counted, and how many seconds it takes until nothing is looked for any more: a bus that is not there
# is given up after about two minutes, a mute one a little later.
SETTLING = {"tray and logind": 15, "no bus": 135, "mute buses": 175}


def measure(name, binaries, runs, seconds):
    print(name)
    program = binaries / "harrowmint-printer-demo"
    with tempfile.TemporaryDirectory() as home, desktops.desktop(name, binaries, home) as environment:
        run_agent(program, environment)  # fills the page cache and writes the first settings
        agents = [run_agent(program, environment) for _ in range(runs)]
        row("baseline: start and end of a bare", [run_baseline(binaries / "bench_idle", environment) for _ in agents], "ms")
        row("start to listening", [a[0] for a in agents], "ms")
        row("a receipt, from request to answer", [a[1] for a in agents], "ms")
        row("idle memory (RSS)", [a[2] for a in agents], "MB")
        row("memory after a 60-item receipt", [a[3] for a in agents], "MB")
        if seconds and name in SETTLING:
            count = watch_agent(program, environment, SETTLING[name], seconds)
            print(f"  wake-ups in {seconds} s, hidden and settled: {count}", flush=True)


def main():
    if connects():
        sys.exit("port 9100 is taken; close the other agent")
    binaries = pathlib.Path(sys.argv[1]).resolve()
    runs = int(sys.argv[2]) if len(sys.argv) > 2 else 15
    seconds = int(sys.argv[3]) if len(sys.argv) > 3 else 60
    for name in sys.argv[4:] or desktops.NAMES:
        measure(name, binaries, runs, seconds)


main()
