#!/usr/bin/env python3
"""Checks the JSON Schemas of tools/schemas against what the programs write and accept.

    schemas_test.py TREE CONSOLE

Every example and recording of the tree fits its schema, what the console prints with --json and
--record does, and of files that the readers refuse the schemas refuse the same. Ends with 77,
which means "skipped", where python3-jsonschema is missing.
"""
import json
import pathlib
import re
import subprocess
import sys
import tempfile

try:
    import jsonschema
except ImportError:
    print("skipped: python3-jsonschema is not installed")
    sys.exit(77)

tree, console = pathlib.Path(sys.argv[1]), sys.argv[2]
findings = []


def schema(name):
    text = json.loads((tree / "tools/schemas" / f"{name}.schema.json").read_text())
    jsonschema.Draft7Validator.check_schema(text)
    return jsonschema.Draft7Validator(text)


def expect(name, value, what, fits=True):
    problems = [error.message for error in schema(name).iter_errors(value)]
    if fits and problems:
        findings.append(f"{what} does not fit {name}: {problems[0][:200]}")
    if not fits and not problems:
        findings.append(f"{what} fits {name}")


def kind_of(session):
    if set(session) == {"faults"}:
        return "fault_script"
    return "osd_session" if "devices" in session else "session"


def run(*arguments):
    return subprocess.run([console, *arguments], capture_output=True, text=True, timeout=60, check=False)


def check_examples():
    for path in sorted((tree / "examples/sessions").glob("*.json")):
        session = json.loads(path.read_text())
        expect(kind_of(session), session, path.name)
    for path in sorted((tree / "examples/devices").glob("*.json")):
        expect("device_file", json.loads(path.read_text()), path.name)
    expect("gateway", json.loads((tree / "examples/gateway/gateway.json").read_text()), "the gateway's example")
    for path in sorted((tree / "tests/data/recordings").glob("*.jsonl")):
        for number, line in enumerate(path.read_text().splitlines(), 1):
            expect("recording_line", json.loads(line), f"{path.name}:{number}")


def check_what_the_console_writes(folder):
    session = folder / "session.json"
    session.write_text(json.dumps({"deviceType": "A2", "commands": [{"head": "F1 08 03 62 01 00", "repeat": 2}]}))
    recording = folder / "recording.jsonl"
    # Nobody listens there: the run is told all the same, from its start to its summary.
    told = run("run", str(session), "--device", "tcp://127.0.0.1:1", "--json", "--record", str(recording))
    lines = told.stdout.splitlines()
    if len(lines) < 4:
        findings.append(f"--json printed {len(lines)} lines")
    for line in lines:
        expect("json_line", json.loads(line), line[:60])
    for line in recording.read_text().splitlines():
        expect("recording_line", json.loads(line), line[:60])


def check_what_is_refused(folder):
    good = {"deviceType": "A2", "commands": [{"head": "F1 08 03 62 01 00"}]}
    osd = {"devices": ["127.1.0.1"], "commands": [{"head": "0D 01 00 00 00 00 00 00 00 00 00"}]}
    bad = {
        "no commands": {"deviceType": "A2"},
        "an unknown key": {**good, "speed": 3},
        "a short head": {**good, "commands": [{"head": "F1"}]},
        "a wait of nothing": {**good, "defaultWaitMs": 0},
        "an unknown event": {**good, "commands": [{"head": "F1 08 03 62 01 00", "expect": {"events": ["gone"]}}]},
    }
    expect("session", good, "a session")
    expect("osd_session", osd, "an OSD session")
    expect("osd_session", {**osd, "port": 0}, "port 0", fits=False)
    for what, session in bad.items():
        expect("session", session, what, fits=False)
        path = folder / "bad.json"
        path.write_text(json.dumps(session))
        if run("run", str(path), "--device", "tcp://127.0.0.1:1").returncode != 2:
            findings.append(f"the console takes {what}")
    expect("fault_script", {"faults": [{"fault": "slience"}]}, "an unknown fault", fits=False)
    expect("gateway", {"site": "hall"}, "a gateway without devices", fits=False)
    expect("gateway", {"site": "a/b", "osd": {}}, "a site that is no level of a topic", fits=False)
    expect("device_file", {"devices": [{"model": "A2"}]}, "a device that listens nowhere", fits=False)
    expect("recording_line", {"event": "danced"}, "an unknown line", fits=False)


def check_faults():
    """A fault that the simulator knows and the schema does not would be refused in silence."""
    header = (tree / "testkit/include/testkit/fault_kind.h").read_text()
    enumerators = re.search(r"enum class FaultKind \{(.*?)\};", header, re.DOTALL).group(1)
    names = {name[0].lower() + name[1:] for name in re.findall(r"^\s*([A-Z]\w+),", enumerators, re.MULTILINE)}
    text = json.loads((tree / "tools/schemas/fault_script.schema.json").read_text())
    listed = set(text["properties"]["faults"]["items"]["properties"]["fault"]["enum"])
    if names != listed:
        findings.append(f"the simulator and the schema do not know the same faults: {sorted(names ^ listed)}")


with tempfile.TemporaryDirectory() as name:
    check_examples()
    check_what_the_console_writes(pathlib.Path(name))
    check_what_is_refused(pathlib.Path(name))
    check_faults()
for finding in findings:
    print(finding, file=sys.stderr)
print(f"{len(findings)} findings")
sys.exit(1 if findings else 0)
