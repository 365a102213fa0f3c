"""serve_schema.py SCHEMA CONSOLE DEVICE-URL: the schema of the documents and the program agree.

Each line that the program takes is good by the schema, each that it refuses is not, and each line that it prints is.
"""
import json
import subprocess
import sys

import jsonschema

HEAD = '"head":"F1 00 01 16 00 00"'
GOOD = [
    '{"do":"command","id":"1",%s}' % HEAD,
    '{"do":"command","id":"2",%s,"data":"01 ff","waitMs":700,"validForMs":0,"replaceKey":"k","urgent":true}' % HEAD,
    '{"do":"cancel","id":"2"}',
    '{"do":"counters"}',
    '{"do":"clear"}',
]
BAD = [
    "[]",
    '{"do":"fly"}',
    '{"do":"clear","id":"1"}',
    '{"do":"cancel"}',
    '{"do":"command","id":"",%s}' % HEAD,
    '{"do":"command","id":"%s",%s}' % ("x" * 129, HEAD),
    '{"do":"command","id":7,%s}' % HEAD,
    '{"do":"command","id":"b"}',
    '{"do":"command","id":"b","head":"F1"}',
    '{"do":"command","id":"b",%s,"waitMs":0}' % HEAD,
    '{"do":"command","id":"b",%s,"waitMs":1.5}' % HEAD,
    '{"do":"command","id":"b",%s,"validForMs":-1}' % HEAD,
    '{"do":"command","id":"b",%s,"urgent":1}' % HEAD,
    '{"do":"command","id":"b",%s,"data":"0"}' % HEAD,
    '{"do":"command","id":"b",%s,"colour":"red"}' % HEAD,
]


def main(schema_file, console, url):
    with open(schema_file, encoding="utf-8") as file:
        schema = json.load(file)
    jsonschema.Draft202012Validator.check_schema(schema)
    request, event = (jsonschema.Draft202012Validator({"$ref": "#/$defs/" + kind, "$defs": schema["$defs"]})
                      for kind in ("request", "event"))
    worker = subprocess.Popen([console, "serve", "--device", url], stdin=subprocess.PIPE, stdout=subprocess.PIPE)
    for line in GOOD + BAD:
        worker.stdin.write(line.encode() + b"\n")
    worker.stdin.flush()
    refused, ended = set(), set()
    for line in worker.stdout:
        said = json.loads(line)
        event.validate(said)
        if said["event"] == "error":
            refused.add(said["line"])
        ended.add(said.get("id") if said["event"] in ("answered", "cancelled", "cleared") else None)
        if len(refused) == len(BAD) and {"1", "2"} <= ended and not worker.stdin.closed:
            worker.stdin.close()
    assert worker.wait() == 0
    for number, line in enumerate(GOOD + BAD, 1):
        assert request.is_valid(json.loads(line)) == (number not in refused), line
        assert (number > len(GOOD)) == (number in refused), line
    print("schema and program agree")


if __name__ == "__main__":
    main(*sys.argv[1:])
