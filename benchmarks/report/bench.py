"""Runs the benchmark programs and writes docs/performance.md and its plots.

Each figure is a ratio against a floor or a peer that ran at the same time, or in turn with
it in one process. Medians throughout. All of it takes about ten minutes, the builds not
counted, and refuses to begin while other programs keep the machine busy.
"""
import argparse
import json
import os
import pathlib
import resource
import socket
import statistics
import subprocess
import sys
import time

import both_qts

MODELS = ["A2", "A1MAX", "A3", "PVN410MAX", "K250", "PVN410MAX2", "A5"]
SEND_PERIOD_MS = 3.0
WORKING = ["send", "receive", "osd send"]
RUNS_WITH_LOG = 7
KNOWN_DEVICES = (1000, 10000)

# Each takes a minute at most on an idle machine.
LONGEST_STEP_SECONDS = 240

# Above this share of the processors, other programs move the figures.
BUSY_AT_MOST = 0.10
CALM_WITHIN_SECONDS = 60


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return str(probe.getsockname()[1])


class Processors:
    """How busy all processors were since this object was made, and how much of that was others."""

    def __init__(self):
        self.total, self.idle = self.jiffies()
        self.own = self.own_seconds()

    @staticmethod
    def jiffies():
        with open("/proc/stat", encoding="ascii") as stat:
            fields = [int(field) for field in stat.readline().split()[1:9]]
        return sum(fields), fields[3] + fields[4]

    @staticmethod
    def own_seconds():
        usages = [resource.getrusage(who) for who in (resource.RUSAGE_SELF, resource.RUSAGE_CHILDREN)]
        return sum(usage.ru_utime + usage.ru_stime for usage in usages)

    def share_of_others(self):
        total, idle = self.jiffies()
        elapsed = max(1, total - self.total)
        busy = elapsed - (idle - self.idle)
        own = (self.own_seconds() - self.own) * os.sysconf("SC_CLK_TCK")
        return max(0.0, (busy - own) / elapsed)


def wait_for_calm(even_if_loaded):
    """The share of the processors that others take; ends the program if it does not fall."""
    give_up = time.monotonic() + CALM_WITHIN_SECONDS
    while True:
        processors = Processors()
        time.sleep(3)
        share = processors.share_of_others()
        if share <= BUSY_AT_MOST or even_if_loaded:
            return share
        if time.monotonic() > give_up:
            raise SystemExit(f"error: other programs take {share * 100:.0f} % of the processors, and the figures are "
                             f"worth something at {BUSY_AT_MOST * 100:.0f} % at most; stop them, or give "
                             "--even-if-loaded for figures that are marked as such")
        print(f"other programs take {share * 100:.0f} % of the processors; waiting", file=sys.stderr)


def lines_of(output):
    return [json.loads(line) for line in output.splitlines() if line.startswith("{")]


class Bench:
    def __init__(self, programs, options, turns=1):
        self.programs = pathlib.Path(programs)
        self.windows = max(1, options.windows // turns)
        self.seconds = options.seconds
        self.repetitions = max(1, options.repetitions // turns)
        self.commands = options.commands
        self.modbus_port = free_port()

    def start(self, program, *arguments):
        command = [str(self.programs / program), *map(str, arguments)]
        return subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)

    def output_of(self, process):
        """What a process prints; ends the program if it fails or does not come to an end."""
        try:
            output, _ = process.communicate(timeout=LONGEST_STEP_SECONDS)
        except subprocess.TimeoutExpired:
            process.kill()
            process.wait()
            raise SystemExit(f"error: {' '.join(process.args)} took longer than {LONGEST_STEP_SECONDS} s") from None
        if process.returncode != 0:
            raise SystemExit(f"error: {' '.join(process.args)} ended with {process.returncode}")
        return output

    def run(self, program, *arguments):
        return self.output_of(self.start(program, *arguments))

    def lines(self, program, *arguments):
        return lines_of(self.run(program, *arguments))

    # --- Loops at the same time as their twin -------------------------------------------

    def together(self, *roles, timed=False):
        """Runs several processes over the same windows; passes and CPU by role, window, loop."""
        begin = time.clock_gettime(time.CLOCK_MONOTONIC) + 1.5
        windows = [begin, self.windows, self.seconds]
        running = []
        for role in roles:
            if role == "modbus":
                running.append(self.start("bench_modbus", "paced", self.modbus_port, *windows))
            else:
                running.append(self.start("bench_loops", role, *windows, *(["work"] if timed else [])))
        readings = {}
        for role, process in zip(roles, running):
            for line in lines_of(self.output_of(process)):
                readings.setdefault(role, {}).setdefault(line["window"], {})[line["loop"]] = line
        for role in roles:
            if role not in readings:
                raise SystemExit(f"error: the process of the role {role} printed nothing")
        return readings

    @staticmethod
    def over_twin(readings, role, loops, figure):
        """Median over the windows of role / twin for each loop."""
        return {loop: statistics.median(figure(readings[role][window][loop]) / figure(of_twin[loop])
                                        for window, of_twin in readings["twin"].items())
                for loop in loops}

    # --- Steps --------------------------------------------------------------------------

    def google(self, program):
        # Many short turns: what disturbs one of them does not reach the median.
        output = self.run(program, "--benchmark_format=json", "--benchmark_min_time=0.02",
                          f"--benchmark_repetitions={self.repetitions}",
                          "--benchmark_enable_random_interleaving=true",
                          "--benchmark_report_aggregates_only=true")
        figures = {}
        for entry in json.loads(output[output.index("{"):])["benchmarks"]:
            if entry["aggregate_name"] == "median":
                figures[entry["run_name"]] = entry["cpu_time"]
        return figures

    def osd_passes(self, runs=3):
        runs = [self.lines("bench_osd_passes") for _ in range(runs)]
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
        """Raw host and kit at the same time, back to back and then with the gate, by mode and role."""
        figures = {}
        for mode in ("pipelined", "gated"):
            processes = [self.start("bench_host_kit", role, mode, self.commands) for role in ("raw", "kit")]
            figures[mode] = {line["role"]: line for process in processes for line in lines_of(self.output_of(process))}
        return figures

    def event_log(self):
        """What an event log in a file adds to the processor time of a command, as a ratio; kit and log side by side."""
        ratios = []
        for _ in range(RUNS_WITH_LOG):
            processes = [self.start("bench_host_kit", role, "gated", self.commands // 3) for role in ("kit", "log")]
            kit, log = (lines_of(self.output_of(process))[0]["cpu_us"] for process in processes)
            ratios.append(log / kit)
        return statistics.median(ratios)


def with_loaded_core(measure):
    spinner = subprocess.Popen(["sh", "-c", "while :; do :; done"])
    try:
        return measure()
    finally:
        spinner.kill()
        spinner.wait()


def passes(reading):
    return reading["passes"]


def cpu(reading):
    return reading["cpu_ns"]


def cpu_per_pass(reading):
    return reading["cpu_ns"] / reading["passes"]


def median_of(readings, loop, figure):
    return statistics.median(figure(window[loop]) for window in readings.values())


def measure_busy(bench, results):
    """What needs the Modbus server: one item a pass, and the memory of waiting requests."""
    server = bench.start("bench_modbus", "server", bench.modbus_port)
    server.stdout.readline()
    try:
        busy = bench.together("twin", "busy", "modbus")
        results["pass rate"] = bench.over_twin(busy, "busy", WORKING, passes)
        results["cpu over modbus"] = statistics.median(
            (cpu_per_pass(own["send"]) + cpu_per_pass(own["receive"])) / cpu_per_pass(busy["modbus"][window]["modbus"])
            for window, own in busy["busy"].items())
        results["memory"] = bench.lines("bench_queue_memory", bench.modbus_port)[0]
        results["modbus flat out"] = bench.lines("bench_modbus", "flat-out", bench.modbus_port, 3)[0]
    finally:
        server.kill()
        server.wait()


def measure_items(bench, results):
    """What one item costs a loop, against no item and against the plainest loop for it."""
    items = bench.together("twin", "busy", "plain")
    results["cpu per pass"] = bench.over_twin(items, "busy", ["send", "receive"], cpu_per_pass)
    results["cpu per plain pass"] = bench.over_twin(items, "plain", ["send", "receive"], cpu_per_pass)
    results["twin us"] = {loop: median_of(items["twin"], loop, cpu_per_pass) / 1000 for loop in ("send", "receive")}
    timed = bench.together("twin", "busy", "plain", timed=True)
    results["work ns"] = {role: {loop: median_of(timed[role], loop, lambda reading: reading["work_ns"])
                                 for loop in ("send", "receive")} for role in ("twin", "busy", "plain")}
    results["warm ns"] = {line["name"]: line["pass_ns"] for line in bench.lines("bench_device_passes")}


def measure_idle(bench, results):
    idle = bench.together("twin", "idle")
    sums = [sum(map(cpu, idle["idle"][w].values())) / sum(map(cpu, idle["twin"][w].values())) for w in idle["twin"]]
    results["idle cpu"] = statistics.median(sums)
    results["idle share of a core"] = statistics.median(
        sum(map(cpu, idle["idle"][w].values())) / (bench.seconds * 1e9) for w in idle["idle"])
    roles = [f"osd-idle-{devices}" for devices in KNOWN_DEVICES]
    known = bench.together("twin", *roles)
    results["pass rate with devices"] = {devices: bench.over_twin(known, role, ["osd send"], passes)["osd send"]
                                         for devices, role in zip(KNOWN_DEVICES, roles)}


def measure_loaded(bench, results):
    loaded = with_loaded_core(lambda: bench.together("twin", "busy"))
    results["pass rate loaded"] = bench.over_twin(loaded, "busy", WORKING, passes)


def measure_delays(bench, results):
    results["delays"] = {line["name"]: line for line in bench.lines("bench_delays")}


def run_steps(steps, even_if_loaded):
    """How calm the machine was meanwhile."""
    machine = {"cores": os.cpu_count(), "others before": wait_for_calm(even_if_loaded), "load before": os.getloadavg()[0]}
    during = Processors()
    began = time.monotonic()
    for number, (name, step) in enumerate(steps.items(), 1):
        print(f"{time.monotonic() - began:4.0f} s: {number} of {len(steps)}, {name}", file=sys.stderr)
        step()
    machine["others during"] = during.share_of_others()
    machine["minutes"] = (time.monotonic() - began) / 60
    return machine


def measure_all(bench, even_if_loaded):
    results = {}
    steps = {
        "loops with one item a pass, and Modbus": lambda: measure_busy(bench, results),
        "the cost of one item": lambda: measure_items(bench, results),
        "loops beside a loaded core": lambda: measure_loaded(bench, results),
        "idle loops, and loops with many devices": lambda: measure_idle(bench, results),
        "delays and resend": lambda: measure_delays(bench, results),
        "judging replies": lambda: results.update({"reply check": bench.google("bench_reply_check")}),
        "error log": lambda: results.update({"error log": bench.google("bench_error_log")}),
        "OSD passes": lambda: results.update({"osd": bench.osd_passes()}),
        "host kit": lambda: results.update({"host kit": bench.host_kit()}),
        "event log": lambda: results.update({"event log": bench.event_log()}),
        "enqueuing in the host kit": lambda: results.update({"host enqueue": bench.lines("bench_host_enqueue")[0]}),
    }
    results["machine"] = run_steps(steps, even_if_loaded)
    return results


def section_of_both_qts(options):
    benches = [Bench(programs, options, both_qts.TURNS) for programs in (options.programs, options.qt6_programs)]
    results = {}
    machine = run_steps({"Qt 6 beside Qt 5": lambda: results.update(both_qts.measure(*benches))}, options.even_if_loaded)
    return both_qts.section(results, machine_text(machine))


# --- The table ------------------------------------------------------------------------------


class Table:
    """Rows of figures; a goal is a limit on one side, and once it is met the next one is named."""

    def __init__(self):
        self.rows = []

    def at_most(self, number, what, value, goal, next_goal, digits=3, note=""):
        self.add(number, what, f"{value:.{digits}f}", f"≤ {goal:g}", value <= goal,
                 f"≤ {next_goal:g}" + (", met" if value <= next_goal else ""), note)

    def at_least(self, number, what, value, goal, next_goal, digits=3, note=""):
        self.add(number, what, f"{value:.{digits}f}", f"≥ {goal:g}", value >= goal,
                 f"≥ {next_goal:g}" + (", met" if value >= next_goal else ""), note)

    def add(self, number, what, value, goal, is_met, next_goal, note=""):
        self.rows.append((number, what, value, goal, "met" if is_met else "**missed**", next_goal if is_met else "",
                          note))

    def report(self, number, what, value, note=""):
        self.rows.append((number, what, value, "none", "", "", note))

    def markdown(self):
        text = "| # | What | Measured | Goal | | Next | Note |\n|---|---|---|---|---|---|---|\n"
        for row in sorted(self.rows, key=lambda row: row[0]):
            text += "| " + " | ".join(map(str, row)) + " |\n"
        return text


def pick_worst(ratios):
    return max(ratios.items(), key=lambda item: item[1])


def add_loops(table, results):
    for loop in WORKING:
        table.at_least(1, f"pass rate of the {loop} loop over the twin's", results["pass rate"][loop], 0.995, 0.999, 4)
        table.at_least(1, f"the same with one core loaded, {loop}", results["pass rate loaded"][loop], 0.99, 0.995, 4)
    for devices, ratio in results["pass rate with devices"].items():
        table.report(1, f"pass rate of the osd send loop with {devices} idle devices over the twin's", f"{ratio:.3f}",
                     "a pass lasts its sleep and its work")
    table.at_most(2, "idle CPU of all five loops over the twin's", results["idle cpu"], 1.10, 1.02,
                  note=f"{results['idle share of a core'] * 100:.2f} % of one core")


def add_items(table, results):
    work = results["work ns"]
    for loop in ("send", "receive"):
        table.at_most(5, f"CPU per pass of the {loop} loop with one item over the twin's",
                      results["cpu per pass"][loop], 1.10, 1.05,
                      note=f"the plainest loop that takes one item: {results['cpu per plain pass'][loop]:.3f}")
        own, plain = (work[role][loop] - work["twin"][loop] for role in ("busy", "plain"))
        table.at_most(5, f"one item in the {loop} loop over the plainest loop's", own / plain, 1.05, 0.90,
                      note=f"{own / 1000:.1f} µs between two sleeps, {results['warm ns'][loop] / 1000:.2f} µs without "
                           f"sleeps; a pass of the twin {results['twin us'][loop]:.1f} µs")
    table.at_most(5, "CPU per command, send plus receive loop, over the paced Modbus client",
                  results["cpu over modbus"], 0.9, 0.1, note="the client does its socket's input and output as well")


def add_osd(table, results):
    osd = results["osd"]
    for devices in KNOWN_DEVICES:
        row = osd[("osd_idle_pass", devices)]
        table.at_most(3, f"OSD send pass over {devices} idle devices over the literal step", row["ratio"], 1.05, 0.85,
                      note=f"{row['library_us']:.0f} µs a pass")
    row = osd[("osd_burst_lock", 1000)]
    table.at_most(9, "lock held in a burst of 1,000 over the pass with full dates", row["ratio"], 0.15, 0.06,
                  note=f"{row['library_us']:.0f} µs longest wait")
    row = osd[("osd_timeout_pass", 10000)]
    table.at_most(10, "time-out pass over 10,000 awaiting devices over the copying step", row["ratio"], 0.60, 0.50,
                  note=f"{row['library_us']:.0f} µs a pass")


def add_reply_check(table, figures):
    for kind, name in ((0, "predictable"), (1, "random")):
        ratios = {MODELS[m]: figures[f"library/{m}/{kind}"] / figures[f"acceptAll/{m}/{kind}"]
                  for m in range(len(MODELS))}
        model, ratio = pick_worst(ratios)
        table.at_most(4, f"`checkRecvData` over an accept-all chain, {name} replies", ratio, 1.10, 1.05,
                      note=f"the worst model, {model}; the best {min(ratios.values()):.3f}")


def add_error_log(table, figures):
    for size in (0, 16, 354, 1457):
        table.at_most(8, f"`writeErrorLog`, {size} bytes, over the same calls with a table",
                      figures[f"library/{size}"] / figures[f"withTable/{size}"], 1.08, 1.0)
    table.at_least(8, "line rate over formatting byte by byte, 354 bytes",
                   figures["withArg/354"] / figures["library/354"], 2, 2.5, 2)


def add_steps(table, results):
    add_reply_check(table, results["reply check"])
    add_error_log(table, results["error log"])
    for road in ("device", "osd"):
        row = results["delays"][f"{road}_delay"]
        for figure in ("mean", "p99"):
            table.at_most(6, f"enqueue to announcement, {road}, {figure}, over the twin's",
                          row[f"library_{figure}_us"] / row[f"twin_{figure}_us"], 1.03, 1.01,
                          note=f"{row[f'library_{figure}_us'] / 1000:.2f} ms")
    row = results["memory"]
    table.at_most(7, "memory per queued command over the record's size", row["library_bytes"] / row["record_bytes"],
                  1.10, 1.06, note=f"{row['library_bytes']:.0f} bytes")
    table.at_most(7, "the same over a waiting Modbus request", row["library_bytes"] / row["modbus_bytes"], 0.06, 0.05)
    row = results["delays"]["resend_precision"]
    ratio = row["library_ms"] / row["twin_ms"]
    table.add(11, "200 passes to the resend over 200 of the twin", f"{ratio:.4f}", "0.99 to 1.01",
              0.99 <= ratio <= 1.01, "0.997 to 1.003")
    raw, kit = (results["host kit"]["pipelined"][role] for role in ("raw", "kit"))
    table.at_most(12, "delay p99 that the host kit adds, in ms", (kit["delay_p99_us"] - raw["delay_p99_us"]) / 1000,
                  1, 0.1)
    table.at_most(12, "CPU per command, host kit over the raw library with a socket", kit["cpu_us"] / raw["cpu_us"],
                  2.1, 1.5, 2, f"{kit['cpu_us']:.0f} µs and {raw['cpu_us']:.0f} µs")
    raw, kit = (results["host kit"]["gated"][role]["answered_per_second"] for role in ("raw", "kit"))
    table.at_least(14, "answered commands a second with the gate, host kit over the raw library with a socket",
                   kit / raw, 0.99, 0.999, note=f"{kit:.1f} a second")
    row = results["host enqueue"]
    table.at_most(15, "enqueue in the host kit at a million waiting over ten waiting", row["many_ns"] / row["few_ns"],
                  1.5, 1.1, 2, f"{row['many_ns']:.0f} ns and {row['few_ns']:.0f} ns")
    table.at_most(16, "CPU per command, host kit with an event log in a file over without", results["event log"], 1.1, 1.05,
                  2)


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
- the *plainest loop*: a loop that takes one item a pass under a lock, accepts it and emits the
  library's signals, and does nothing else;
- the *literal step*: the plainest code for the same step, on the same tables;
- the *accept-all chain*: the calls of a checker with the same copies of the record, and no rule.
  Figure 4 leaves out one reply, whose refusal also writes a debug line;
- the *peer*: Qt SerialBus' `QModbusTcpClient` against a `QModbusTcpServer` on loopback.

To repeat all of it: `scripts/bench`. To repeat one figure, run its program under
`build/bench/benchmarks/` (`bench_loops` and `bench_modbus` for 1, 2 and 5, `bench_device_passes` for
the passes without sleeps of 5, `bench_osd_passes` for 3, 9, 10 and 13, `bench_reply_check` for 4,
`bench_delays` for 6 and 11, `bench_queue_memory` for 7, `bench_error_log` for 8, `bench_host_kit`
for 12, 14 and 16, `bench_host_enqueue` for 15). *Next* is the goal that follows one that is met.

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


def machine_text(machine):
    text = (f"Measured on {machine['cores']} cores. Other programs took {machine['others during'] * 100:.0f} % of the "
            "processors meanwhile.\n\n")
    if max(machine["others before"], machine["others during"]) > BUSY_AT_MOST:
        text += ("**The machine was busy with other programs: these figures are too rough to be judged by, and are "
                 "to be measured again.**\n\n")
    return text


def write_page(results, of_both_qts, docs):
    table = Table()
    add_loops(table, results)
    add_items(table, results)
    add_osd(table, results)
    add_steps(table, results)
    growth, counts = growth_text(results)
    plot_growth(results, counts, docs)
    page = INTRODUCTION + machine_text(results["machine"])
    page += table.markdown()
    page += "\n## Growth with the number of devices (13)\n\n" + growth
    page += "\n![Growth with the number of devices](performance_growth.svg)\n"
    page += honest_text(results)
    notes = docs / "performance_notes.md"
    if notes.exists():
        page += "\nWhat stands behind figures that miss their goal: [notes](performance_notes.md).\n"
    (docs / "performance.md").write_text(both_qts.with_section(page, of_both_qts))
    print(table.markdown())
    print(growth)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--programs", required=True, help="folder of the benchmark programs")
    parser.add_argument("--qt6-programs", required=True, help="folder of the same programs built with Qt 6")
    parser.add_argument("--docs", required=True, help="folder that gets performance.md")
    parser.add_argument("--windows", type=int, default=15, help="windows of each measurement of loops")
    parser.add_argument("--seconds", type=float, default=2.0, help="length of a window")
    parser.add_argument("--repetitions", type=int, default=41, help="repetitions of each step")
    parser.add_argument("--commands", type=int, default=1500, help="commands through the host kit")
    parser.add_argument("--even-if-loaded", action="store_true",
                        help="measure on a busy machine too, and say so on the page")
    parser.add_argument("--only-qts", action="store_true",
                        help="measure Qt 6 beside Qt 5, and renew that part of the page alone")
    options = parser.parse_args()
    docs = pathlib.Path(options.docs)
    if options.only_qts:
        page = docs / "performance.md"
        page.write_text(both_qts.with_section(page.read_text(), section_of_both_qts(options)))
    else:
        results = measure_all(Bench(options.programs, options), options.even_if_loaded)
        write_page(results, section_of_both_qts(options), docs)


if __name__ == "__main__":
    main()
