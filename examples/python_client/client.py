#!/usr/bin/env python3
"""Drives a display device from another language: `biz_console serve` takes commands as lines of JSON and tells what
becomes of them. docs/serve.md has both vocabularies. Needs the Python standard library only.

    client.py --device tcp://127.0.0.1:15700 --model A2 "F1 00 01 16 00 00" "F1 05 00 00 00 00"
"""
import argparse
import json
import queue
import subprocess
import sys
import threading

ENDS = {"answered", "gaveUp", "cleared", "skipped", "stopped", "released", "expired", "superseded", "cancelled",
        "unreachable", "interrupted"}


class Client:
    """A device and its worker. Commands may be given from any thread; each ends exactly once."""

    def __init__(self, arguments, program="biz_console", on_event=lambda event: None):
        self._worker = subprocess.Popen([program, "serve", *arguments], stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        self._on_event = on_event
        self._lock = threading.Lock()
        self._last_id = 0
        self._waiting = {}  # by id: where its end goes
        self._written = set()  # ids that the worker may have written
        self._reader = threading.Thread(target=self._read, daemon=True)
        self._reader.start()

    def give(self, head, **options):
        """Queues a command and returns at once; its end comes out of the queue that this returns."""
        end = queue.Queue(1)
        with self._lock:
            self._last_id += 1
            self._waiting[str(self._last_id)] = end
            command = {"do": "command", "id": str(self._last_id), "head": head, **options}
            try:
                self._worker.stdin.write(json.dumps(command).encode() + b"\n")
                self._worker.stdin.flush()
            except (BrokenPipeError, ValueError):
                self._end(command["id"], {"event": "interrupted", "reason": "the worker has ended", "attempts": 0})
        return end

    def command(self, head, **options):
        """Gives a command and waits for its end."""
        return self.give(head, **options).get()

    def close(self):
        """The end of its input is the end of the worker, within a second; what is pending ends as stopped."""
        self._worker.stdin.close()
        self._reader.join()
        return self._worker.wait()

    def _read(self):
        for line in self._worker.stdout:
            event = json.loads(line)
            with self._lock:
                if event["event"] == "writing":
                    self._written.add(event["id"])
                elif event["event"] in ENDS or (event["event"] == "error" and "id" in event):
                    self._end(event["id"], event)
            self._on_event(event)
        with self._lock:
            for id in list(self._waiting):
                why = "may have been written" if id in self._written else "was not written"
                self._end(id, {"event": "interrupted", "reason": "the worker ended; the command " + why,
                               "attempts": int(id in self._written)})

    def _end(self, id, event):
        self._written.discard(id)
        end = self._waiting.pop(id, None)
        if end is not None:
            end.put(event)


def main():
    parser = argparse.ArgumentParser(description="Gives commands to a device, one after the other.")
    parser.add_argument("--program", default="biz_console")
    parser.add_argument("--device", required=True)
    parser.add_argument("--model")
    parser.add_argument("heads", nargs="+", metavar="HEAD")
    asked = parser.parse_args()
    client = Client(["--device", asked.device] + (["--model", asked.model] if asked.model else []), asked.program)
    all_answered = True
    for head in asked.heads:
        end = client.command(head)
        print(f"{end['event']}: {end['reason']}", end.get("data", ""))
        all_answered = all_answered and end["event"] == "answered"
    client.close()
    return 0 if all_answered else 1


if __name__ == "__main__":
    sys.exit(main())
