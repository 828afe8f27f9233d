#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 The OndraVexa authors
# SPDX-License-Identifier: BSD-3-Clause
"""Runs the benchmarks of a build directory and writes report.md.

usage: report.py BUILD_DIRECTORY REPORT_DIRECTORY
"""

import json
import os
import platform
import re
import subprocess
import sys
from datetime import date
from pathlib import Path
from statistics import median

DAEMON, FLOOR, DESKTOP = "daemon", "floor", "desktop's service"
POSITION = "daemon after the first position"
WALL_MS, PROCESSOR_MS = 1, 2  # columns of process.json's starts
REPETITIONS = 31


def measure(build, report, name, *arguments):
    print(f"bench: {name}", file=sys.stderr, flush=True)
    program = build / f"bench/ondravexa-bench-{name}"
    output = subprocess.run([program, *arguments], stdout=subprocess.PIPE, text=True, check=True).stdout
    (report / f"{name}.json").write_text(output)
    return json.loads(output)


def medians(build, report, name, unit):
    """Of programs that use Google Benchmark: microseconds by the name of the benchmark, which take turns."""
    result = measure(build, report, name, "--benchmark_format=json", "--benchmark_min_time=0.05",
                     f"--benchmark_repetitions={REPETITIONS}", "--benchmark_enable_random_interleaving=true")
    for each in result["benchmarks"]:
        if each.get("error_occurred"):
            sys.exit(f"{each['name']}: {each['error_message']}")
    return {each["run_name"].replace("/real_time", ""): each[unit] / 1000
            for each in result["benchmarks"] if each.get("aggregate_name") == "median"}


def figure(value):
    return f"{value:.0f}" if value >= 100 or value == int(value) else f"{value:.3g}"


def table(*lines):
    head, *rows = lines
    return "".join("| " + " | ".join(map(str, line)) + " |\n" for line in (head, ["---"] * len(head), *rows)) + "\n"


def start_time(process, name, column):
    return median(row[column] for row in process["start"] if row[0] == name)


def targets(process, calls, cycle):
    def start(column, other):
        return start_time(process, DAEMON, column) / start_time(process, other, column)

    def memory(program, other):
        return process["memory"][program]["private"] / process["memory"][other]["private"]

    instructions = process["instructions"]
    rows = [
        ("start, instructions, to the floor", instructions[DAEMON] / instructions[FLOOR], 1.15),
        ("start, processor time, to the floor", start(PROCESSOR_MS, FLOOR), 1.15),
        ("private memory once started, to the floor", memory(DAEMON, FLOOR), 1.1),
        ("private memory after a position, to the floor", memory(POSITION, FLOOR), 1.1),
        ("wake-ups per minute while idle", process["wakeUps"]["idle"][DAEMON], 0),
        ("`GetStatus`, to the floor's call that does nothing", calls["daemon: GetStatus"] / calls["floor: Nothing"], 1.05),
        ("`GetPosition`, to the floor's", calls["daemon: GetPosition"] / calls["floor: GetPosition"], 1.05),
        ("building a request of 20 entries, to the JSON writer", cycle["buildRequest/20"] / cycle["jsonWriter/20"], 3),
        ("building a request of 1000 entries, to the JSON writer", cycle["buildRequest/1000"] / cycle["jsonWriter/1000"], 3),
        ("reading a reply, to the JSON parser", cycle["readReply/0"] / cycle["jsonParser/0"], 2),
        ("reading a reply with 1000 more entries, to the JSON parser", cycle["readReply/1000"] / cycle["jsonParser/1000"], 2),
    ]
    if DESKTOP in process["instructions"]:
        rows += [
            ("start, wall clock, to the desktop's service", start(WALL_MS, DESKTOP), 0.7),
            ("start, processor time, to the desktop's service", start(PROCESSOR_MS, DESKTOP), 0.7),
            ("private memory once started, to the desktop's service", memory(DAEMON, DESKTOP), 0.8),
            ("private memory after a position, to the desktop's service", memory(POSITION, DESKTOP), 0.8),
        ]
    return table(("what", "measured", "target", ""), *(
        (what, f"{value:.2f}", f"≤ {limit}", "met" if value <= limit else "**not met**") for what, value, limit in rows))


def processes(process):
    rows = []
    for name, memory in sorted(process["memory"].items(), key=lambda item: item[1]["private"]):
        started = ("", "", "", "")
        if name in process["instructions"]:
            started = map(figure, (start_time(process, name, WALL_MS), start_time(process, name, PROCESSOR_MS),
                                   process["instructions"][name] / 1e6, process["wakeUps"]["idle"][name]))
        rows.append((name, *started, memory["private"], memory["proportional"]))
    polling, requests = process["wakeUps"]["polling"], process["wakeUps"]["requests"]
    return table(("program", "start, ms", "processor, ms", "million instructions",
                  "idle wake-ups per minute", "private KiB", "proportional KiB"), *rows) + table(
        ("daemon with a client", "requests per minute", "wake-ups per minute"),
        *((name, figure(requests[name]), figure(polling[name])) for name in polling))


def cycles(cycle):
    rows = [(work, size, figure(cycle[f"{name}/{size}"]), figure(cycle[f"{floor}/{size}"]))
            for work, name, floor, sizes in (("building a request", "buildRequest", "jsonWriter", (20, 1000)),
                                             ("reading a reply", "readReply", "jsonParser", (0, 1000)))
            for size in sizes]
    return table(("work", "entries", "µs", "JSON writer or parser alone, µs"), *rows)


def machine():
    model = re.search(r"model name\s*: (.*)", Path("/proc/cpuinfo").read_text()).group(1)
    return (f"{model}, {os.cpu_count()} processors, Linux {platform.release()}, {date.today().isoformat()}, "
            f"load average {os.getloadavg()[0]:.1f} before")


def main(build, report):
    report.mkdir(parents=True, exist_ok=True)
    # The pages of a program just built would count as dirty.
    os.sync()
    header = f"Machine: {machine()}, "
    cycle = medians(build, report, "cycle", "cpu_time")
    calls = medians(build, report, "bus", "real_time")
    process = measure(build, report, "process")
    traffic = [(name, *sizes) for name, sizes in process["bytes"].items()]
    (report / "report.md").write_text(
        f"{header}{os.getloadavg()[0]:.1f} after.\n\n## Targets\n\n{targets(process, calls, cycle)}"
        f"## Processes\n\n{processes(process)}"
        f"## Calls\n\n{table(('call', 'µs'), *((name, figure(us)) for name, us in sorted(calls.items())))}"
        f"## A cycle\n\n{cycles(cycle)}"
        f"{table(('bytes of a cycle', 'head', 'body', 'the same body without blanks'), *traffic)}")
    print(f"bench: report: {report / 'report.md'}", file=sys.stderr)


if __name__ == "__main__":
    main(Path(sys.argv[1]).resolve(), Path(sys.argv[2]).resolve())
