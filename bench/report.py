#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 The OndraVexa authors
# SPDX-License-Identifier: BSD-3-Clause
"""Runs all benchmarks of a build directory and writes report.md with its plots.

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

SIZES = (10, 100, 1000, 10000)
DAEMON, FLOOR, NETWORK_FLOOR, DESKTOP = "daemon", "floor", "floor with network", "desktop service"


def run(*command, **options):
    result = subprocess.run([str(word) for word in command], stdout=subprocess.PIPE, text=True, **options)
    if result.returncode != 0:
        sys.exit(f"{command[0]} failed")
    return result.stdout


def say(text):
    print(f"bench: {text}", file=sys.stderr, flush=True)


def figure(value):
    """A number with three digits that say something."""
    if value == 0:
        return "0"
    return f"{value:.0f}" if abs(value) >= 100 else f"{value:.3g}"


def table(head, rows):
    lines = [head, ["---"] * len(head), *rows]
    return "".join("| " + " | ".join(map(str, line)) + " |\n" for line in lines) + "\n"


def percentile(samples, share):
    return sorted(samples)[min(len(samples) - 1, int(len(samples) * share))]


class Bench:
    def __init__(self, build, report):
        self.build, self.report = build, report
        self.report.mkdir(parents=True, exist_ok=True)

    def measure(self):
        # The pages of a program just built would count as dirty.
        os.sync()
        for section in ("start", "process", "bus", "cycle", "traffic"):
            say(section)
            output = run(self.build / "bench/ondravexa-costs", section)
            (self.report / f"{section}.json").write_text(output)
            setattr(self, section, json.loads(output))
        say("parts of a cycle")
        self.parts, self.ratios = self.measure_parts()
        say("instructions")
        self.instructions = {name: self.count_start(program) for name, program in self.programs().items()}
        self.request = self.profile("PositionAdaptor::sendRequest()", "build request/1000")
        self.reply = self.profile("PositionAdaptor::parseReply(QByteArray const&, int)", "handle reply/0")

    def programs(self):
        return {
            FLOOR: self.build / "bench/ondravexa-floor",
            NETWORK_FLOOR: self.build / "bench/ondravexa-floor-network",
            DAEMON: self.build / "src/geoclue-ondravexa-sandboxed",
        }

    def measure_parts(self):
        out = self.report / "parts.json"
        run(self.build / "bench/ondravexa-cycle-parts", "--benchmark_min_time=0.05",
            f"--benchmark_out={out}", "--benchmark_out_format=json", stderr=subprocess.DEVNULL)
        parts, ratios = {}, {}
        floors = {"build request": "JSON writer", "handle reply": "JSON parser"}
        for each in json.loads(out.read_text())["benchmarks"]:
            name, size = each["name"].split("/")[0], int(each["name"].split("/")[1])
            parts[name, size] = each["median_ns"] / 1000
            if name in floors:
                parts[floors[name], size] = each["floor_ns"] / 1000
                ratios[name, size] = each["ratio"]
        return parts, ratios

    def count_start(self, program):
        """Instructions until the program waits for the bus."""
        out = self.report / "callgrind.start"
        script = (f'timeout -s TERM 8 valgrind --tool=callgrind --callgrind-out-file="{out}" "{program}" '
                  '>/dev/null 2>&1 || true')
        self.on_private_bus(script)
        return int(re.search(r"^(?:summary|totals): (\d+)", out.read_text(), re.M).group(1))

    def on_private_bus(self, script):
        directory = self.report / "callgrind"
        settings = directory / "var/lib/geoclue/providers/vexa/settings.conf"
        settings.parent.mkdir(parents=True, exist_ok=True)
        settings.write_text("[settings]\napikey=key\n")
        (directory / "srv/shared/org.ondravexa/geoclue").mkdir(parents=True, exist_ok=True)
        run("dbus-run-session", "--", "sh", "-c",
            f'export DBUS_SYSTEM_BUS_ADDRESS="$DBUS_SESSION_BUS_ADDRESS"; {script}', cwd=directory)

    def profile(self, function, benchmark):
        """Instructions of each function with all that it calls, as a share of those of one function."""
        out = self.report / "callgrind.cycle"
        run("valgrind", "--tool=callgrind", f"--toggle-collect={function}",
            f"--callgrind-out-file={out}", self.build / "bench/ondravexa-cycle-parts",
            f"--benchmark_filter={benchmark}/", "--benchmark_min_time=0.001", stderr=subprocess.DEVNULL)
        costs = {}
        for line in run("callgrind_annotate", "--inclusive=yes", "--threshold=100", out).splitlines():
            found = re.match(r"\s*([\d,]+) \(\s*[\d.]+%\)\s+\S*?:(.*?)( \[.*)?$", line)
            if found and "'" not in found.group(2):
                costs.setdefault(found.group(2), int(found.group(1).replace(",", "")))
        total = costs[function]
        return {name: cost / total for name, cost in costs.items()}

    @staticmethod
    def share(profile, name):
        return max((share for function, share in profile.items() if f"{name}(" in function), default=0)

    def request_instructions(self):
        """Of building a request, as a multiple of the JSON writer's."""
        return (1 - self.share(self.request, "QNetworkAccessManager::post")) / self.share(self.request, "QJsonDocument::toJson")

    def reply_instructions(self):
        """Of handling a reply, as a multiple of the JSON parser's."""
        apart = ("writeCache", "PositionAdaptor::updatePosition", "PositionAdaptor::PositionAcquiring")
        return (1 - sum(self.share(self.reply, name) for name in apart)) / self.share(self.reply, "QJsonDocument::fromJson")

    def start_ratio(self, kind, other):
        return median(self.start[DAEMON][kind]) / median(self.start[other][kind])

    def memory_ratio(self, other):
        memory = self.process["memory"]
        return memory[DAEMON]["privateDirtyKib"] / memory[other]["privateDirtyKib"]

    def targets(self):
        trips = self.bus["roundTrip"]
        idle = self.process["wakeUpsPerMinute"][DAEMON]
        rows = [
            ("start, wall clock, to the floor", self.start_ratio("ms", FLOOR), 1.15),
            ("start, processor time, to the floor", self.start_ratio("processorMs", FLOOR), 1.15),
            ("start, processor time, to the floor with network", self.start_ratio("processorMs", NETWORK_FLOOR), 1.15),
            ("start, wall clock, to the desktop's service", self.start_ratio("ms", DESKTOP), 0.7),
            ("start, processor time, to the desktop's service", self.start_ratio("processorMs", DESKTOP), 0.7),
            ("private dirty memory, to the floor", self.memory_ratio(FLOOR), 1.1),
            ("private dirty memory, to the floor with network", self.memory_ratio(NETWORK_FLOOR), 1.1),
            ("private dirty memory, to the desktop's service", self.memory_ratio(DESKTOP), 0.8),
            ("`GetPosition`, to the floor", median(trips[DAEMON]) / median(trips[FLOOR]), 1.05),
            ("timers due while idle, per minute", idle["timers"], 0),
        ]
        rows.append(("building a request of 1000 entries, to the JSON writer, instructions", self.request_instructions(), 2))
        for size in SIZES:
            rows.append((f"building a request of {size} entries, to the JSON writer",
                         self.ratios["build request", size], 2))
        rows.append(("handling a usual reply, to the JSON parser, instructions", self.reply_instructions(), 2))
        for size in (0, *SIZES):
            rows.append((f"handling a reply with {size} further entries, to the JSON parser",
                         self.ratios["handle reply", size], 2))
        for part in ("build request", "handle reply"):
            growth = self.parts[part, 10000] / self.parts[part, 1000] / 10
            rows.append((f"{part}: growth from 1000 to 10000 entries, to a linear one", growth, 1.25))
        return table(("what", "measured", "target", ""), [
            (what, f"{value:.2f}", f"≤ {limit}", "met" if value <= limit else "**not met**")
            for what, value, limit in rows])

    def machine(self):
        model = re.search(r"model name\s*: (.*)", Path("/proc/cpuinfo").read_text()).group(1)
        return (f"{model}, {os.cpu_count()} processors, Linux {platform.release()}, "
                f"{date.today().isoformat()}, load average {os.getloadavg()[1]:.1f}")

    def start_section(self):
        rows = []
        for name in (FLOOR, NETWORK_FLOOR, DAEMON, DESKTOP):
            each = self.start[name]
            rows.append((name, figure(min(each["ms"])), figure(median(each["ms"])),
                         figure(median(each["processorMs"])),
                         f"{self.instructions[name] / 1e6:.1f}" if name in self.instructions else "",
                         *self.relocations(name)))
        return table(("program", "exec to name, least ms", "median ms", "processor ms (median)",
                      "million instructions", "relocations of the program", "of all its libraries", "bytes of code and data"), rows)

    def relocations(self, name):
        program = self.programs().get(name, Path("/usr/libexec/geoclue"))
        own = sum(" R_" in line for line in run("readelf", "-rW", program).splitlines())
        statistics = subprocess.run([program, *(["--version"] if name == DESKTOP else [])],
                                    env={"LD_DEBUG": "statistics", "DBUS_SYSTEM_BUS_ADDRESS": "unix:path=/nowhere"},
                                    stdout=subprocess.PIPE, stderr=subprocess.STDOUT, cwd=self.report, check=False)
        counts = re.findall(rb"number of (?:relative )?relocations: (\d+)", statistics.stdout)
        size = sum(map(int, run("size", program).splitlines()[1].split()[:2]))
        return own, sum(map(int, counts[:2])), size

    def process_section(self):
        memory = table(("process", "private dirty KiB", "proportional KiB", "threads"), [
            (name, each["privateDirtyKib"], each["proportionalKib"], each["threads"])
            for name, each in self.process["memory"].items()])
        wake_ups = table(("process", "threads woken per minute", "timers due per minute"), [
            (name, figure(each["sleeps"]), figure(each["timers"]))
            for name, each in self.process["wakeUpsPerMinute"].items()])
        return memory + wake_ups

    def bus_section(self):
        trips, cost, rates = (self.bus[key] for key in ("roundTrip", "processorUsPerCall", "callsPerSecond"))
        rows = [(name, figure(median(trips[name]) * 1000), figure(percentile(trips[name], 0.99) * 1000),
                 figure(median(cost[name])), *(figure(median(rates[clients][name])) for clients in ("1", "10", "100")))
                for name in (FLOOR, DAEMON)]
        second = self.bus["secondClient"]
        return table(("program", "`GetPosition`, median µs", "99th percentile µs", "its own processor time, µs per call",
                      "calls per second, 1 client", "10 clients", "100 clients"), rows) + (
            f"From `AddReference` of a second client to its `PositionChanged`: median {figure(median(second) * 1000)} µs, "
            f"99th percentile {figure(percentile(second, 0.99) * 1000)} µs.\n\n")

    def cycle_section(self):
        part = lambda name, size: figure(self.parts[name, size])
        parts = table(("entries", "collect cells", "collect WLANs", "build request", "JSON writer alone", "ratio"), [
            (size, part("collect cells", size), part("collect WLANs", size), part("build request", size),
             part("JSON writer", size), f"{self.ratios['build request', size]:.2f}")
            for size in SIZES])
        replies = table(("further entries", "handle reply", "JSON parser alone", "ratio"), [
            (size, part("handle reply", size), part("JSON parser", size),
             f"{self.ratios['handle reply', size]:.2f}") for size in (0, *SIZES)])
        whole = table(("entries", "tick to last byte sent", "last byte of the reply to `PositionChanged`", "bytes per cycle"), [
            (size, figure(median(self.cycle[str(size)]["sending"]) * 1000),
             figure(median(self.cycle[str(size)]["publishing"]) * 1000),
             figure(self.cycle[str(size)]["requestBytes"])) for size in SIZES])
        return (f"Parts, µs of processor time (median):\n\n{parts}{replies}"
                f"Apart: cache write {part('write cache', 0)} µs, bus signal {part('emit signal', 0)} µs; with the network "
                f"layer's reading of the reply in front, handling it takes {part('finish reply', 0)} µs.\n\n"
                f"Whole daemon, µs on the wall (median):\n\n{whole}![growth](cycle.svg)\n\n{self.profile_section()}")

    def profile_section(self):
        parts = {"collecting the cells": "collectCells", "collecting the WLANs": "collectWlans",
                 "JSON writer": "QJsonDocument::toJson", "posting": "QNetworkAccessManager::post"}
        return "Where the instructions of a request of 1000 entries go:\n\n" + table(
            ("part", "share"), [(part, f"{self.share(self.request, name):.0%}") for part, name in parts.items()])

    def traffic_section(self):
        rows = [(each["phone"], "on" if each["filter"] else "off", "locked" if each["locked"] else "unlocked",
                 each["requests"], each["bytes"], each["connections"]) for each in self.traffic["hours"]]
        return table(("phone", "filter", "lock", "requests per hour", "bytes per hour", "new connections per hour"), rows)

    def plot(self, name, script, data):
        (self.report / f"{name}.dat").write_text("".join(" ".join(map(str, row)) + "\n" for row in data))
        run("gnuplot", "-e", f"set terminal svg size 720,400 background 'white'; set output '{name}.svg'; {script}",
            cwd=self.report)

    def plots(self):
        self.plot("cycle", "set logscale xy; set xlabel 'entries'; set ylabel 'µs'; set key left; plot "
                  + ", ".join(f"'cycle.dat' using 1:{column} with linespoints title '{title}'" for column, title in
                              ((2, "build request"), (3, "JSON writer"), (4, "handle reply"), (5, "JSON parser"),
                               (6, "daemon: tick to last byte"))),
                  [(size, *(self.parts[part, size] for part in ("build request", "JSON writer", "handle reply", "JSON parser")),
                    median(self.cycle[str(size)]["sending"]) * 1000) for size in SIZES])
        names = (FLOOR, NETWORK_FLOOR, DAEMON, DESKTOP)
        self.plot("start", "set style fill solid 0.6; set boxwidth 0.6; set yrange [0:*]; set multiplot layout 1,2; unset key; "
                  "set xtics rotate by -20; set title 'exec to name, processor ms'; plot 'start.dat' using 0:2:xtic(1) with boxes; "
                  "set title 'private dirty KiB'; plot 'start.dat' using 0:3:xtic(1) with boxes; unset multiplot",
                  [(f'"{name}"', median(self.start[name]["processorMs"]),
                    self.process["memory"][name]["privateDirtyKib"]) for name in names])
        self.plot("traffic", "set style fill solid 0.6; set boxwidth 0.6; unset key; set logscale y; set ylabel 'bytes per hour'; "
                  "set xtics rotate by -30 font ',9'; plot [] [100:*] 'traffic.dat' using 0:($2+100):xtic(1) with boxes",
                  [(f'"{each["phone"]}, filter {"on" if each["filter"] else "off"}{", locked" if each["locked"] else ""}"',
                    each["bytes"]) for each in self.traffic["hours"]])

    def write(self):
        self.plots()
        (self.report / "report.md").write_text(
            f"Machine: {self.machine()}.\n\n## Targets\n\n{self.targets()}"
            f"## Start\n\n{self.start_section()}![start and memory](start.svg)\n\n"
            f"## Memory and wake-ups\n\n{self.process_section()}## Bus\n\n{self.bus_section()}"
            f"## Cycle\n\n{self.cycle_section()}## Traffic\n\n{self.traffic_section()}![traffic](traffic.svg)\n")
        say(f"report: {self.report / 'report.md'}")


if __name__ == "__main__":
    bench = Bench(Path(sys.argv[1]).resolve(), Path(sys.argv[2]).resolve())
    bench.measure()
    bench.write()
