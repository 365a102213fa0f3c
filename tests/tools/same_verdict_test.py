#!/usr/bin/env python3
"""Plays sessions against faulty devices again and again: the exit status is the same every time.

    same_verdict_test.py CONSOLE SIMULATOR [RUNS]

A device on TCP and an OSD device answer every command twice, which no session expects: `run` and
`osd` end with 1. What they recorded goes as recorded: `replay` ends with 0. Prints how many runs
ended with which status. RUNS is 20; a run on a busy machine of 1,000 is the proof.
"""
import collections
import concurrent.futures
import json
import pathlib
import re
import subprocess
import sys
import tempfile

console, simulator = sys.argv[1:3]
runs = int(sys.argv[3]) if len(sys.argv) > 3 else 20

AT_A_TIME = 8  # most of a run is waiting
LIMIT_S = 60  # of one run; it takes three seconds at most where nothing else runs

DEVICE_SESSION = {"deviceType": "A2", "commands": [{"head": "F1 00 01 16 00 00", "repeat": 2}]}
OSD_DEVICE = "127.9.0.1"
OSD_SESSION = {
    "devices": [OSD_DEVICE],
    "commands": [{"head": "0D 01 00 00 00 00 00 00 00 00 00", "repeat": 2}],
}


class Simulator:
    """A simulator on a free port."""

    def __init__(self, *options):
        self.process = subprocess.Popen([simulator, *options, "--port", "0"], stdout=subprocess.PIPE, text=True)
        line = self.process.stdout.readline()
        self.port = re.search(r"(?::|port )(\d+)\s*$", line).group(1)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.terminate()
        self.process.communicate(timeout=LIMIT_S)


def status_of(*arguments):
    ended = subprocess.run([console, *arguments], capture_output=True, timeout=LIMIT_S, check=False)
    return ended.returncode


def play(arguments, recording):
    """The status of a run, and that of the replay of what it recorded."""
    played = status_of(*arguments, "--quiet", "--record", str(recording))
    replayed = status_of("replay", str(recording))
    recording.unlink()
    return played, replayed


def count(name, arguments, folder):
    """How often which pair of statuses came; prints a row for runs and one for replays."""
    with concurrent.futures.ThreadPoolExecutor(AT_A_TIME) as pool:
        recordings = [folder / f"{name}_{number}.jsonl" for number in range(runs)]
        pairs = list(pool.map(lambda recording: play(arguments, recording), recordings))
    as_claimed = True
    for what, expected, statuses in ((name, 1, [pair[0] for pair in pairs]),
                                     (f"{name}, replayed", 0, [pair[1] for pair in pairs])):
        counts = collections.Counter(statuses)
        others = runs - counts[0] - counts[1]
        print(f"{what:<26}{runs:>6}{counts[0]:>10}{counts[1]:>10}{others:>8}")
        as_claimed = as_claimed and counts[expected] == runs
    return as_claimed


def main():
    print(f"{'answered twice':<26}{'runs':>6}{'status 0':>10}{'status 1':>10}{'others':>8}")
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        session, osd = folder / "session.json", folder / "osd.json"
        session.write_text(json.dumps(DEVICE_SESSION))
        osd.write_text(json.dumps(OSD_SESSION))
        with Simulator("--model", "A2", "--fault", "F1/00=duplicate") as device:
            url = f"tcp://127.0.0.1:{device.port}"
            tcp_same = count("run", ["run", str(session), "--device", url, "--log-dir", name], folder)
        with Simulator("--osd", "1", "--osd-first", OSD_DEVICE, "--fault", f"{OSD_DEVICE}=duplicate") as device:
            osd_same = count("osd", ["osd", str(osd), "--port", device.port], folder)
    return 0 if tcp_same and osd_same else 1


sys.exit(main())
