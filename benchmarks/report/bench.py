"""Runs the benchmark programs and writes docs/performance.md and its plots.

Each figure is a ratio against a floor or a peer that ran at the same time, or in turn with
it in one process. Medians throughout.
"""
import argparse
import json
import os
import pathlib
import statistics
import subprocess
import time

MODBUS_PORT = "15802"
MODELS = ["A2", "A1MAX", "A3", "PVN410MAX", "K250", "PVN410MAX2", "A5"]
SEND_PERIOD_MS = 3.0


def lines_of(output):
    return [json.loads(line) for line in output.splitlines() if line.startswith("{")]


class Bench:
    def __init__(self, options):
        self.programs = pathlib.Path(options.programs)
        self.windows = options.windows
        self.seconds = options.seconds
        self.repetitions = options.repetitions
        self.commands = options.commands

    def start(self, program, *arguments):
        command = [str(self.programs / program), *map(str, arguments)]
        return subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)

    def run(self, program, *arguments):
        process = self.start(program, *arguments)
        output, _ = process.communicate(timeout=900)
        if process.returncode != 0:
            raise SystemExit(f"{program} {' '.join(map(str, arguments))} ended with {process.returncode}")
        return output

    # --- Loops at the same time as their twin -------------------------------------------

    def together(self, *roles):
        """Runs several processes over the same windows; passes and CPU by role, window, loop."""
        begin = time.clock_gettime(time.CLOCK_MONOTONIC) + 1.5
        running = []
        for role in roles:
            if role == "modbus":
                running.append(self.start("bench_modbus", "paced", MODBUS_PORT, begin, self.windows, self.seconds))
            else:
                running.append(self.start("bench_loops", role, begin, self.windows, self.seconds))
        readings = {}
        for role, process in zip(roles, running):
            output, _ = process.communicate(timeout=300)
            for line in lines_of(output):
                readings.setdefault(role, {}).setdefault(line["window"], {})[line["loop"]] = line
        return readings

    def loop_ratios(self, subject, loops, figure):
        """Median over the windows of subject / twin for each loop."""
        ratios = {}
        for loop in loops:
            values = []
            for window, of_twin in subject["twin"].items():
                own = next(reading for role, reading in subject.items() if role not in ("twin", "modbus"))[window]
                if loop in own and loop in of_twin:
                    values.append(figure(own[loop]) / figure(of_twin[loop]))
            ratios[loop] = statistics.median(values)
        return ratios

    # --- Steps --------------------------------------------------------------------------

    def google(self, program):
        output = self.run(program, "--benchmark_format=json", "--benchmark_min_time=0.1",
                          f"--benchmark_repetitions={self.repetitions}",
                          "--benchmark_enable_random_interleaving=true",
                          "--benchmark_report_aggregates_only=true")
        figures = {}
        for entry in json.loads(output[output.index("{"):])["benchmarks"]:
            if entry["aggregate_name"] == "median":
                figures[entry["run_name"]] = entry["cpu_time"]
        return figures

    def osd_passes(self):
        runs = [lines_of(self.run("bench_osd_passes")) for _ in range(3)]
        figures = {}
        for same in zip(*runs):
            merged = dict(same[0])
            for key in ("library_us", "literal_us"):
                if key in merged:
                    merged[key] = statistics.median(run[key] for run in same)
            if "literal_us" in merged:
                merged["ratio"] = statistics.median(run["library_us"] / run["literal_us"] for run in same
                                                    if run["literal_us"] > 0)
            figures[(merged["name"], merged["devices"])] = merged
        return figures

    def host_kit(self):
        raw = self.start("bench_host_kit", "raw", self.commands)
        kit = self.start("bench_host_kit", "kit", self.commands)
        return {line["role"]: line for process in (raw, kit) for line in lines_of(process.communicate(timeout=300)[0])}


def with_loaded_core(measure):
    spinner = subprocess.Popen(["sh", "-c", "while :; do :; done"])
    try:
        return measure()
    finally:
        spinner.kill()
        spinner.wait()


def measure_all(bench):
    results = {"machine": {"cores": os.cpu_count(), "load before": round(os.getloadavg()[0], 2)}}
    passes = lambda reading: reading["passes"]
    cpu = lambda reading: reading["cpu_ns"]
    cpu_per_pass = lambda reading: reading["cpu_ns"] / reading["passes"]
    working = ["send", "receive", "osd send"]

    server = bench.start("bench_modbus", "server", MODBUS_PORT)
    server.stdout.readline()
    try:
        busy = bench.together("twin", "busy", "modbus")
        results["pass rate"] = bench.loop_ratios(busy, working, passes)
        results["cpu per pass"] = bench.loop_ratios(busy, working, cpu_per_pass)
        modbus = []
        for window in busy["modbus"]:
            own = busy["busy"][window]
            per_command = cpu_per_pass(own["send"]) + cpu_per_pass(own["receive"])
            modbus.append(per_command / cpu_per_pass(busy["modbus"][window]["modbus"]))
        results["cpu over modbus"] = statistics.median(modbus)
        results["memory"] = lines_of(bench.run("bench_queue_memory", MODBUS_PORT))[0]
        results["modbus flat out"] = lines_of(bench.run("bench_modbus", "flat-out", MODBUS_PORT, 3))[0]
    finally:
        server.kill()

    loaded = with_loaded_core(lambda: bench.together("twin", "busy"))
    results["pass rate loaded"] = bench.loop_ratios(loaded, working, passes)
    idle = bench.together("twin", "idle")
    sums = [sum(map(cpu, idle["idle"][w].values())) / sum(map(cpu, idle["twin"][w].values())) for w in idle["twin"]]
    results["idle cpu"] = statistics.median(sums)
    results["idle share of a core"] = statistics.median(
        sum(map(cpu, idle["idle"][w].values())) / (bench.seconds * 1e9) for w in idle["idle"])
    results["delays"] = {line["name"]: line for line in lines_of(bench.run("bench_delays"))}
    results["reply check"] = bench.google("bench_reply_check")
    results["error log"] = bench.google("bench_error_log")
    results["osd"] = bench.osd_passes()
    results["host kit"] = bench.host_kit()
    return results


# --- The table ------------------------------------------------------------------------------


class Table:
    def __init__(self):
        self.rows = []

    def add(self, number, what, value, goal, meets, note=""):
        verdict = "" if goal is None else ("met" if meets else "**missed**")
        self.rows.append((number, what, value, goal or "none", verdict, note))

    def markdown(self):
        text = "| # | What | Measured | Goal | | Note |\n|---|---|---|---|---|---|\n"
        for row in self.rows:
            text += "| " + " | ".join(map(str, row)) + " |\n"
        return text


def pick_worst(ratios):
    return max(ratios.items(), key=lambda item: item[1])


def add_loops(table, results):
    for loop, ratio in results["pass rate"].items():
        loaded = results["pass rate loaded"][loop]
        table.add(1, f"pass rate of the {loop} loop over the twin's", f"{ratio:.4f}", "≥ 0.995", ratio >= 0.995)
        table.add(1, f"the same with one core loaded, {loop}", f"{loaded:.4f}", "≥ 0.99", loaded >= 0.99)
    ratio = results["idle cpu"]
    table.add(2, "idle CPU of all five loops over the twin's", f"{ratio:.3f}", "≤ 1.10", ratio <= 1.10,
              f"{results['idle share of a core'] * 100:.2f} % of one core")
    for loop in ("send", "receive"):
        ratio = results["cpu per pass"][loop]
        table.add(5, f"CPU per pass of the {loop} loop with one item over the twin's", f"{ratio:.3f}", "≤ 1.10",
                  ratio <= 1.10)
    ratio = results["cpu over modbus"]
    table.add(5, "CPU per command, send plus receive loop, over the paced Modbus client", f"{ratio:.3f}", "≤ 0.9",
              ratio <= 0.9, "the client does its socket's input and output as well")


def add_osd(table, results):
    osd = results["osd"]
    for devices in (1000, 10000):
        row = osd[("osd_idle_pass", devices)]
        table.add(3, f"OSD send pass over {devices} idle devices over the literal step", f"{row['ratio']:.3f}",
                  "≤ 1.05", row["ratio"] <= 1.05, f"{row['library_us']:.0f} µs a pass")
    row = osd[("osd_burst_lock", 1000)]
    table.add(9, "lock held in a burst of 1,000 over the pass with full dates", f"{row['ratio']:.3f}", "≤ 0.15",
              row["ratio"] <= 0.15, f"{row['library_us']:.0f} µs longest wait")
    row = osd[("osd_timeout_pass", 10000)]
    table.add(10, "time-out pass over 10,000 awaiting devices over the copying step", f"{row['ratio']:.3f}", "≤ 0.60",
              row["ratio"] <= 0.60, f"{row['library_us']:.0f} µs a pass")


def add_steps(table, results):
    figures = results["reply check"]
    for kind, name in ((0, "predictable"), (1, "random")):
        ratios = {MODELS[m]: figures[f"library/{m}/{kind}"] / figures[f"acceptAll/{m}/{kind}"]
                  for m in range(len(MODELS))}
        model, ratio = pick_worst(ratios)
        table.add(4, f"`checkRecvData` over an accept-all chain, {name} replies", f"{ratio:.3f}", "≤ 1.10",
                  ratio <= 1.10, f"the worst model, {model}; the best {min(ratios.values()):.3f}")
    for road in ("device", "osd"):
        row = results["delays"][f"{road}_delay"]
        for figure in ("mean", "p99"):
            ratio = row[f"library_{figure}_us"] / row[f"twin_{figure}_us"]
            table.add(6, f"enqueue to announcement, {road}, {figure}, over the twin's", f"{ratio:.3f}", "≤ 1.03",
                      ratio <= 1.03, f"{row[f'library_{figure}_us'] / 1000:.2f} ms")
    row = results["memory"]
    ratio = row["library_bytes"] / row["record_bytes"]
    table.add(7, "memory per queued command over the record's size", f"{ratio:.3f}", "≤ 1.10", ratio <= 1.10,
              f"{row['library_bytes']:.0f} bytes")
    ratio = row["library_bytes"] / row["modbus_bytes"]
    table.add(7, "the same over a waiting Modbus request", f"{ratio:.3f}", "≤ 0.06", ratio <= 0.06)
    figures = results["error log"]
    for size in (0, 16, 354, 1457):
        ratio = figures[f"library/{size}"] / figures[f"withTable/{size}"]
        table.add(8, f"`writeErrorLog`, {size} bytes, over the same calls with a table", f"{ratio:.3f}", "≤ 1.08",
                  ratio <= 1.08)
    ratio = figures["withArg/354"] / figures["library/354"]
    table.add(8, "line rate over formatting byte by byte, 354 bytes", f"{ratio:.2f}", "≥ 2", ratio >= 2)
    row = results["delays"]["resend_precision"]
    ratio = row["library_ms"] / row["twin_ms"]
    table.add(11, "200 passes to the resend over 200 of the twin", f"{ratio:.4f}", "0.99 to 1.01",
              0.99 <= ratio <= 1.01)
    kit = results["host kit"]
    added = (kit["kit"]["delay_p99_us"] - kit["raw"]["delay_p99_us"]) / 1000
    table.add(12, "delay p99 that the host kit adds, in ms", f"{added:.3f}", "≤ 1", added <= 1)
    ratio = kit["kit"]["cpu_us"] / kit["raw"]["cpu_us"]
    table.add(12, "CPU per command, host kit over the raw library with a socket", f"{ratio:.2f}", "≤ 2", ratio <= 2)


def devices_for(points, limit_us):
    """Where the straight line between the measured points meets the limit."""
    for (low, low_us), (high, high_us) in zip(points, points[1:]):
        if low_us <= limit_us <= high_us:
            return int(low + (high - low) * (limit_us - low_us) / (high_us - low_us))
    return points[-1][0]


def growth_text(results):
    osd = results["osd"]
    idle = sorted((n, row["library_us"]) for (name, n), row in osd.items() if name == "osd_idle_pass")
    counts = sorted(n for name, n in osd if name == "osd_enqueue")
    text = "| devices | enqueue, µs | idle send pass, µs | time-out pass, µs |\n|---|---|---|---|\n"
    for n in counts:
        cells = [osd[(name, n)]["library_us"] for name in ("osd_enqueue", "osd_idle_pass", "osd_timeout_pass")]
        text += f"| {n} | " + " | ".join(f"{cell:.2f}" for cell in cells) + " |\n"
    half = devices_for(idle, SEND_PERIOD_MS * 1000 / 2)
    whole = devices_for(idle, SEND_PERIOD_MS * 1000)
    text += (f"\nAn idle send pass fills half of the 3 ms period at about {half} devices, and all of it at about "
             f"{whole}: beyond that the loop still serves everybody, but less often.\n")
    text += "\nThe loop's pass rate over the twin's follows from that: a pass lasts its sleep and its work.\n"
    for n in (1000, 10000):
        work_ms = osd[("osd_idle_pass", n)]["library_us"] / 1000
        text += f"With {n} idle devices it is about {SEND_PERIOD_MS / (SEND_PERIOD_MS + work_ms):.2f}.\n"
    return text, counts


def plot_growth(results, counts, docs):
    osd = results["osd"]
    data = "\n".join(
        f"{n} " + " ".join(f"{osd[(name, n)]['library_us']}" for name in
                           ("osd_enqueue", "osd_idle_pass", "osd_timeout_pass")) for n in counts)
    target = docs / "performance_growth.svg"
    script = f"""
set terminal svg size 720,420 background rgb 'white'
set output '{target}'
set logscale xy
set xlabel 'known devices'
set ylabel 'microseconds'
set key left top
set grid
$data << EOD
{data}
EOD
plot 3000 title 'the 3 ms period' with lines dashtype 2 linecolor rgb 'gray', \\
     $data using 1:2 title 'addToSendQueue' with linespoints, \\
     $data using 1:3 title 'idle send pass' with linespoints, \\
     $data using 1:4 title 'time-out pass, all awaiting' with linespoints
"""
    subprocess.run(["gnuplot"], input=script, text=True, check=True)


INTRODUCTION = """# Performance

`scripts/bench` measured every figure below and wrote this page. Timings differ from machine to
machine and from minute to minute, so each figure is a ratio against something that ran at the
same time, or in turn with it in one process:

- the *twin*: a process whose five threads only sleep, with the periods of the library's loops;
- the *literal step*: the plainest code for the same step, on the same tables;
- the *peer*: Qt SerialBus' `QModbusTcpClient` against a `QModbusTcpServer` on loopback.

To repeat all of it: `scripts/bench`. To repeat one figure, run its program under
`build/bench/benchmarks/` (`bench_loops` and `bench_modbus` for 1, 2 and 5, `bench_osd_passes` for 3,
9, 10 and 13, `bench_reply_check` for 4, `bench_delays` for 6 and 11, `bench_queue_memory` for 7,
`bench_error_log` for 8, `bench_host_kit` for 12).

"""


def honest_text(results):
    modbus = results["modbus flat out"]
    delay = results["delays"]["device_delay"]["library_mean_us"]
    return f"""
## Where polling loses

The loops look for work at fixed periods. That is their contract with the devices, which must not
be sent to faster, and it has its price against an event-driven client that sends as soon as the
last reply is there:

| | this library | Modbus client, flat out |
|---|---|---|
| commands a second, one connection | 100 at most, by the 10 ms period | {modbus['requests_per_second']:.0f} |
| delay | {delay / 1000:.2f} ms on average from enqueue to announcement | {modbus['mean_delay_us'] / 1000:.2f} ms from request to reply |
| idle CPU | {results['idle share of a core'] * 100:.2f} % of a core for the five loops | none: it sleeps until something happens |
"""


def write_page(results, docs):
    table = Table()
    add_loops(table, results)
    add_osd(table, results)
    add_steps(table, results)
    table.rows.sort(key=lambda row: row[0])
    growth, counts = growth_text(results)
    plot_growth(results, counts, docs)
    machine = results["machine"]
    page = INTRODUCTION
    page += f"Measured on {machine['cores']} cores, load average {machine['load before']} before the run.\n\n"
    page += table.markdown()
    page += "\n## Growth with the number of devices (13)\n\n" + growth
    page += "\n![Growth with the number of devices](performance_growth.svg)\n"
    page += honest_text(results)
    notes = docs / "performance_notes.md"
    if notes.exists():
        page += "\nWhat stands behind figures that miss their goal: [notes](performance_notes.md).\n"
    (docs / "performance.md").write_text(page)
    print(table.markdown())
    print(growth)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--programs", required=True, help="folder of the benchmark programs")
    parser.add_argument("--docs", required=True, help="folder that gets performance.md")
    parser.add_argument("--windows", type=int, default=9, help="windows of each measurement of loops")
    parser.add_argument("--seconds", type=float, default=3.0, help="length of a window")
    parser.add_argument("--repetitions", type=int, default=11, help="repetitions of each step")
    parser.add_argument("--commands", type=int, default=1500, help="commands through the host kit")
    options = parser.parse_args()
    write_page(measure_all(Bench(options)), pathlib.Path(options.docs))


if __name__ == "__main__":
    main()
