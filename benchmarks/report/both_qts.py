"""The same programs built with Qt 5 and with Qt 6, in turn: what the newer Qt costs, and what is the library's share."""
import statistics

HEADING = "## Qt 6 beside Qt 5"

# What disturbs one turn does not reach the median.
TURNS = 3
KNOWN_DEVICES = (1000, 10000)
PAYLOADS = (0, 16, 354, 1457)


def measure_once(bench):
    """What each figure is made of, by the programs of one Qt."""
    server = bench.start("bench_modbus", "server", bench.modbus_port)
    server.stdout.readline()
    try:
        memory = bench.lines("bench_queue_memory", bench.modbus_port)[0]
    finally:
        server.kill()
        server.wait()
    return {
        "loops": bench.together("twin", "idle"),
        "osd": bench.osd_passes(runs=1),
        "reply check": bench.google("bench_reply_check"),
        "memory": memory,
        "error log": bench.google("bench_error_log"),
    }


def idle_cpu(once):
    """Milliseconds a window, of the five idle loops and of the twin's."""
    def per_window(role):
        return statistics.median(sum(loop["cpu_ns"] for loop in window.values()) for window in once["loops"][role].values())
    return per_window("idle") / 1e6, per_window("twin") / 1e6


def osd_pass(devices):
    def figure(once):
        row = once["osd"][("osd_idle_pass", devices)]
        return row["library_us"], row["literal_us"]
    return figure


def reply_check(kind):
    """One reply of each model."""
    def figure(once):
        def of_all_models(chain):
            return sum(time for name, time in once["reply check"].items()
                       if name.startswith(f"{chain}/") and name.endswith(f"/{kind}"))
        return of_all_models("library"), of_all_models("acceptAll")
    return figure


def queued_command(once):
    return once["memory"]["library_bytes"], once["memory"]["record_bytes"]


def queued_command_over_modbus(once):
    return once["memory"]["library_bytes"], once["memory"]["modbus_bytes"]


def error_line(size):
    def figure(once):
        return once["error log"][f"library/{size}"] / 1000, once["error log"][f"withTable/{size}"] / 1000
    return figure


# The number of the benchmark, what is measured, its unit, what its floor is, and the pair of both.
ROWS = [
    (2, "idle CPU of all five loops", "ms a window", "the twin", idle_cpu),
    *((3, f"OSD send pass over {devices} idle devices", "µs", "the literal step", osd_pass(devices))
      for devices in KNOWN_DEVICES),
    (4, "`checkRecvData`, seven predictable replies, one of each model", "ns", "the accept-all chain", reply_check(0)),
    (4, "`checkRecvData`, seven random replies, one of each model", "ns", "the accept-all chain", reply_check(1)),
    (7, "memory of a queued command", "bytes", "the record", queued_command),
    (7, "memory of a queued command", "bytes", "a waiting Modbus request", queued_command_over_modbus),
    *((8, f"`writeErrorLog`, {size} bytes", "µs", "the same calls with a table", error_line(size)) for size in PAYLOADS),
]


def measure(of_qt5, of_qt6):
    """The turns of both: for each row a list of pairs, by Qt. The one that is first in a turn is second in the next."""
    benches = {5: of_qt5, 6: of_qt6}
    results = {"pairs": {5: [], 6: []}, "versions": {}}
    for turn in range(TURNS):
        for qt in sorted(benches, reverse=turn % 2 == 1):
            once = measure_once(benches[qt])
            results["pairs"][qt].append([figure(once) for *_, figure in ROWS])
            results["versions"][qt] = once["memory"]["qt"]
    return results


def section(results, machine):
    versions = results["versions"]
    text = f"{HEADING}\n\n"
    text += (f"The same programs built with Qt {versions[5]} and with Qt {versions[6]}, in turn, {TURNS} times each; "
             "medians. A floor is built with the same Qt as what stands on it, so a ratio to the floor tells of the "
             "library, and the last column of the library and of Qt.\n\n")
    text += machine
    text += "| # | What | Qt 5 | Qt 6 | Floor | Qt 5 : floor | Qt 6 : floor | Qt 6 : Qt 5 |\n"
    text += "|---|---|---:|---:|---|---:|---:|---:|\n"
    for row, (number, what, unit, floor, _) in enumerate(ROWS):
        values, over_floor = {}, {}
        for qt in (5, 6):
            pairs = [turn[row] for turn in results["pairs"][qt]]
            values[qt] = statistics.median(value for value, _ in pairs)
            over_floor[qt] = statistics.median(value / lowest for value, lowest in pairs)
        text += (f"| {number} | {what} | {values[5]:.4g} {unit} | {values[6]:.4g} {unit} | {floor} | "
                 f"{over_floor[5]:.3f} | {over_floor[6]:.3f} | {values[6] / values[5]:.3f} |\n")
    return text


def with_section(page, new_section):
    """The page with this section in place of the one that it had, or behind everything."""
    before, found, behind = page.partition(f"\n{HEADING}\n")
    if not found:
        return f"{page.rstrip()}\n\n{new_section}"
    _, next_heading, rest = behind.partition("\n## ")
    return f"{before}\n{new_section}{next_heading}{rest}"
