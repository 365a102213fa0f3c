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


def enumerators_of(header, enum):
    inside = re.search(rf"enum class {enum} \{{(.*?)\}};", (tree / header).read_text(), re.DOTALL).group(1)
    return {name[0].lower() + name[1:] for name in re.findall(r"[A-Z]\w+", re.sub("///.*", "", inside))}


def values_in(schema, key):
    """What stands under a key, wherever that is."""
    if isinstance(schema, list):
        return [value for each in schema for value in values_in(each, key)]
    if isinstance(schema, dict):
        here = [schema[key]] if key in schema else []
        return here + [value for each in schema.values() for value in values_in(each, key)]
    return []


def check_faults():
    """A fault that the simulator knows and a schema does not would be refused in silence."""
    names = enumerators_of("testkit/include/testkit/fault_kind.h", "FaultKind")
    for schema_name, lists in {"fault_script": 1, "device_file": 3}.items():
        text = json.loads((tree / f"tools/schemas/{schema_name}.schema.json").read_text())
        listed = [set(each) for each in values_in(text, "enum") if "silence" in each]
        if listed != [names] * lists:
            differing = sorted(set().union(*(names ^ each for each in listed)))
            findings.append(f"the simulator and {schema_name} do not know the same faults: {differing}")


def check_schemes():
    """The same of a kind of link, and of what a simulated device listens on."""
    factory = (tree / "host/src/link/link_factory.cpp").read_text()
    links = re.findall(r'^ +\{"([a-z]+)", "[a-z]+:', factory, re.MULTILINE)
    listens = enumerators_of("tools/biz_simulator/address/listen_address.h", "Scheme")
    for schema_name, schemes in {"gateway": links, "device_file": listens}.items():
        text = json.loads((tree / f"tools/schemas/{schema_name}.schema.json").read_text())
        patterns = [each for each in values_in(text, "pattern") if isinstance(each, str) and "tcp" in each]
        for scheme in schemes:
            if not patterns or not all(re.match(pattern, f"{scheme}:") for pattern in patterns):
                findings.append(f"{schema_name} does not know {scheme}:")


with tempfile.TemporaryDirectory() as name:
    check_examples()
    check_what_the_console_writes(pathlib.Path(name))
    check_what_is_refused(pathlib.Path(name))
    check_faults()
    check_schemes()
for finding in findings:
    print(finding, file=sys.stderr)
print(f"{len(findings)} findings")
sys.exit(1 if findings else 0)
