#!/usr/bin/env python3
"""Runs the benchmark programs of a build and prints what they found as tables.

    report.py BUILD [--into DOCUMENT]

Instructions are counted by callgrind and come out alike on every run, however busy the machine is.  Times are the
least of several runs.  With --into the tables also go into a document, between its markers.
"""
import argparse
import json
import math
import os
import re
import resource
import shutil
import statistics
import subprocess
import sys
import tempfile
from pathlib import Path

import callgrind

BEFORE = json.loads((Path(__file__).parent / "before.json").read_text())
MARKERS = ("<!-- made by ./bench --table -->", "<!-- end -->")
FIELDS = ("1 bit", "8 single bits", "32 single bits", "a run of 16", "two runs of 16", "8 single bits and two runs",
          "32 single bits in seven groups")
COMMANDS = ("--version", "list", "show cp_9A12_0101", "run cp_9A11_0101 --unit cpu:0.0")
KINDS = {
    "cp_9A10_0101": "register dump", "cp_9ACA_0101": "check bits", "cp_9AC5_0101": "array behind rings",
    "cp_9AF1_0101": "clock", "cpj_A300_0101": "long macro", "cpj_A303_0101": "memory port", "ma_9009_0101": "polling",
    "ma_9067_0101": "DIMM registers", "sc_93C0_0101": "table RAM", "xb_9408_0101": "crossbar dump",
}


def times(program):
    """The least time of each benchmark in nanoseconds, by its name, and its user counters."""
    command = [program, "--benchmark_format=json", "--benchmark_repetitions=15", "--benchmark_min_time=0.01",
               "--benchmark_enable_random_interleaving=true"]
    output = subprocess.run(command, stdout=subprocess.PIPE, text=True, check=True).stdout
    unit = {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}
    found = {}
    for row in json.loads(output)["benchmarks"]:
        if row.get("error_occurred"):
            sys.exit(f"report.py: {row['name']}: {row['error_message']}")
        if row["run_type"] == "iteration":
            measured = "real_time" if re.search("real_time|manual_time", row["name"]) else "cpu_time"
            time = row[measured] * unit[row["time_unit"]]
            if time < found.get(row["run_name"], (math.inf,))[0]:
                found[row["run_name"]] = (time, row.get("accesses"))
    return found


def number(value, digits=0):
    return f"{value:,.{digits}f}"


def table(header, rows):
    """A Markdown table: text to the left, numbers to the right."""
    rows = [[str(cell) for cell in row] for row in rows]
    widths = [max(len(row[i]) for row in [header, *rows]) for i in range(len(header))]
    right = [all(re.match(r"[\d(–-]", row[i]) for row in rows) for i in range(len(header))]

    def line(cells):
        return "| " + " | ".join(cell.rjust(w) if r else cell.ljust(w)
                                 for cell, w, r in zip(cells, widths, right)) + " |"
    rule = "|" + "|".join("-" * (w + 1) + (":" if r else "-") for w, r in zip(widths, right)) + "|"
    return "\n".join([line(header), rule, *map(line, rows)])


def fields(build):
    counts, time = callgrind.counts(build / "bin/field_benchmark"), times(build / "bin/field_benchmark")

    def instructions(name):
        return counts[name].total / 100

    rows = []
    for field in FIELDS:
        for way in ("put", "get"):
            name = f"{way} {field} primitives"
            ns = {other: time[f"{way} {field} {other}"][0] for other in ("primitives", "bit loop", "bitset")}
            rows.append([f"{way} {field}", number(instructions(name)), number(BEFORE[name]),
                         *(number(value, 1) for value in ns.values()), number(ns["primitives"] / ns["bitset"], 2)])
    limit = []
    for way in ("put", "get"):
        ours, least = (time[f"{way} {name}"][0] for name in ("inside", "funnel shift"))
        counted = [instructions(f"{way} {name}") for name in ("inside", "funnel shift")]
        limit.append([f"{way} 32 bits", *(number(c) for c in counted), number(counted[0] / counted[1], 2),
                      number(ours, 1), number(least, 1), number(ours / least, 2)])
    return ("### Fields of scan buffers\n\n"
            "`lmcr_sin` and `lmcr_sout`, the variadic call included; beside them the same bits moved one at a time in a\n"
            "loop and with `std::bitset`, both with known positions and without a call. Times in nanoseconds.\n\n"
            + table(["", "Instructions", "before", "Time", "Bit loop", "std::bitset", "Ratio to it"], rows)
            + "\n\nWhat moves the bits inside, against a shift over two words written by hand for 32 bits:\n\n"
            + table(["", "Instructions", "by hand", "Ratio", "Time", "by hand", "Ratio"], limit))


def macros(build):
    counts, time = callgrind.counts(build / "bin/macro_benchmark"), times(build / "bin/macro_benchmark")
    rows = []
    for macro, kind in KINDS.items():
        ours, hand = counts[f"frame {macro}"], counts[f"hand {macro}"]
        if ours.calls_of("libmacrodebug") != hand.calls_of("libhand_written"):
            sys.exit(f"report.py: {macro} and what is written by hand do not make the same calls")
        own, by_hand = ours.own["libmacrodebug"], hand.own["libhand_written"]
        ratio = time[f"frame {macro}"][0] / time[f"hand {macro}"][0]
        rows.append([f"`{macro}`", kind, number(sum(ours.calls_of("libmacrodebug").values())), number(own),
                     number(by_hand), number(own / by_hand, 3), number(BEFORE[f"frame {macro}"] / by_hand, 3),
                     number(ratio, 2)])
    every = {}
    for name, count in sorted(counts.items()):
        if name.startswith("macro "):
            calls = sum(count.calls_of("libmacrodebug").values())
            every.setdefault(number(count.own["libmacrodebug"] / calls, 1), []).append(f"`{name[6:]}`")
    by_cost = sorted(every.items(), key=lambda row: float(row[0].replace(",", "")))
    return ("### Macros over primitives that do nothing\n\n"
            "A macro's own instructions, without those of the primitives, against the same calls written by hand in C.\n\n"
            + table(["Macro", "Kind", "Calls", "Instructions", "by hand", "Ratio", "before", "Ratio of times"], rows)
            + f"\n\nAll {sum(map(len, every.values()))} macros, own instructions for each primitive call. (Those above 100\n"
            "copy whole scan buffers between calls.)\n\n"
            + table(["Instructions", "Macros"], [[cost, " ".join(names)] for cost, names in by_cost]))


def server(counts, time):
    rows = []
    for name in ("read", "write", "save", "restore", "memcpy"):
        full = f"ring {name}"
        if name == "restore":
            both = "ring save and restore"
            cost = [counts[both].total - counts["ring save"].total, BEFORE[both] - BEFORE["ring save"],
                    time[both][0] - time["ring save"][0]]
        else:
            cost = [counts[full].total, BEFORE[full], time[full][0]]
        rows.append([name, *map(number, cost), number(cost[2] / time["ring memcpy"][0], 1)])
    calls = [[name, number(counts[f"call {name}"].total), number(time[f"call {name}"][0], 1)]
             for name in ("direct", "nested")]
    runs = []
    for name, (ns, accesses) in sorted(time.items(), key=lambda row: row[1][1] or 0):
        if accesses:
            runs.append([name, number(accesses), number(counts[name].total / accesses), number(BEFORE[name] / accesses),
                         number(counts[name].total / BEFORE[name], 2), number(accesses / ns * 1e9)])
    return ("### Rings, macros and nested calls on the simulated server\n\n"
            "A ring of 37,707 bits through `lmcr_scan`, against `memcpy` of the same 4,716 bytes. Times in nanoseconds.\n\n"
            + table(["", "Instructions", "before", "Time", "Ratio to memcpy"], rows)
            + "\n\nMacros; the instructions are those of macro, primitives and server together.\n\n"
            + table(["", "Accesses", "Instructions each", "before", "Ratio", "Accesses per second"], runs)
            + "\n\nA macro that does nothing, called directly and through `lmcr_maccall`. Times in nanoseconds.\n\n"
            + table(["", "Instructions", "Time"], calls))


def system_calls(*command):
    """Of a whole process."""
    with tempfile.NamedTemporaryFile("r") as counts:
        subprocess.run(["strace", "-f", "-c", "-o", counts.name, *command], stdout=subprocess.DEVNULL, check=True)
        return int(re.search(r"(\d+)(?: +\d+)? total$", counts.read(), re.M)[1])


def engine(build):
    counts, time = callgrind.counts(build / "bin/engine_benchmark"), times(build / "bin/engine_benchmark")
    runs = 9 * 32  # by which the longer plan has more
    rows = []
    for what, name in (("a run in a plan", "plan"), ("the macro's own calls", "calls")):
        more = counts[f"{name} of 10"].total - counts[f"{name} of 1"].total
        ns = time[f"{name}_of/10"][0] - time[f"{name}_of/1"][0]
        rows.append([what, number(more / runs), number(ns / runs, 1)])
    step = '[[step]]\nmacro = "cp_9A12_0101"\nunits = "cpu"\nfields = {group = 1}\nfor = {index = "0-7"}\nrepeat = '
    made = []
    with tempfile.TemporaryDirectory() as folder:
        for repeat in (1, 100):
            plan = Path(folder, f"{repeat}.toml")
            plan.write_text(f'title = "Benchmark"\n{step}{repeat}\n')
            made.append(system_calls(build / "bin/mcrhost", "plan", "run", plan))
    plans = []
    for machine in ("default", "large"):
        command = [build / "bin/mcrhost", "plan", "run", "bring-up", "--machine", machine]
        least, done = math.inf, None
        for _ in range(5):
            before = resource.getrusage(resource.RUSAGE_CHILDREN)
            done = subprocess.run(command, capture_output=True, text=True, check=True)
            after = resource.getrusage(resource.RUSAGE_CHILDREN)
            least = min(least, after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime)
        plans.append([f"`plan run bring-up --machine {machine}`",
                      number(int(re.search(r"of (\d+) runs", done.stdout)[1])), number(least, 2)])
    return ("### Runs in a plan\n\n"
            "`cp_9A12_0101`, which makes three primitive calls, with its judgement and the text report, against the calls\n"
            "of the macro alone. Times in nanoseconds.\n\n"
            + table(["", "Instructions", "Time"], rows)
            + f"\n\n3,168 runs more in the same plan make {number(made[1] - made[0])} system calls more.\n\n"
            "Seconds of whole plans, of user and system together:\n\n" + table(["Command", "Runs", "Seconds"], plans))


def growth(counts):
    """A line fitted to each series by least squares, and the exponent fitted to its logarithms."""
    series = {}
    for name, count in counts.items():
        if match := re.fullmatch(r"growth (.*), by (\w+) (\d+)", name):
            series.setdefault((match[1], match[2]), []).append((int(match[3]), count.total))
    rows = []
    for (what, by), points in series.items():
        x, y = zip(*sorted(points))
        slope, start = statistics.linear_regression(x, y)
        off = max(abs(b - (start + slope * a)) / b for a, b in zip(x, y))
        net = [max(b - start, 1) for b in y]
        exponent = statistics.linear_regression([math.log(a) for a in x], [math.log(b) for b in net]).slope
        rows.append([what, f"{x[0]:,} to {x[-1]:,} {by}", number(start), number(slope, 2),
                     number(statistics.correlation(x, y) ** 2, 5), number(exponent, 3), f"{off:.1%}"])
    return ("### Growth\n\n"
            "Instructions against size: a line fitted by least squares, its R², the exponent fitted to the logarithms of\n"
            "what is above the line's start, and the point farthest from the line.\n\n"
            + table(["", "Over", "Start", "For each", "R²", "Exponent", "Farthest"], rows))


def startup(build):
    time = times(build / "bin/startup_benchmark")
    libraries = []
    for name, benchmark in (("scdb", "load/libscdb/manual_time"), ("macrodebug", "load/both_libraries/manual_time")):
        text = subprocess.run(["size", build / f"lib/lib{name}.so"], capture_output=True, text=True, check=True).stdout
        ms = time[benchmark][0] / 1e6
        if name == "macrodebug":
            ms -= time["load/libscdb/manual_time"][0] / 1e6
        libraries.append([f"`lib{name}.so`", number(int(text.split()[6]) / 1024), number(max(ms, 0), 2)])
    commands = []
    for command in COMMANDS:
        counted = callgrind.whole_process(build / "bin/mcrhost", *command.split())
        commands.append([f"`mcrhost {command}`", number(counted / 1000),
                         number(BEFORE[command]) if command in BEFORE else "–"])
    processes = [[name.split("/")[1].replace("_", " "), number(ns / 1e6, 1)]
                 for name, (ns, _) in sorted(time.items(), key=lambda row: row[1][0]) if name.startswith("mcrhost/")]
    return ("### Libraries and starting mcrhost\n\n"
            "Code and read-only data in KiB, and the time to load the library in milliseconds; that of `libmacrodebug.so`\n"
            "is what it adds to `libscdb.so`.\n\n"
            + table(["Library", "KiB", "Loading"], libraries)
            + "\n\nThousands of instructions of whole processes:\n\n"
            + table(["Command", "Instructions", "before"], commands)
            + "\n\nMilliseconds of whole processes:\n\n" + table(["", "Time"], processes))


def machine(build):
    cache = (build / "CMakeCache.txt").read_text()
    compiler = re.search(r"^CMAKE_CXX_COMPILER:\w+=(.*)$", cache, re.M)[1]
    version = subprocess.run([compiler, "--version"], capture_output=True, text=True, check=True).stdout.split("\n")[0]
    model = re.search(r"^model name\s*: (.*)$", Path("/proc/cpuinfo").read_text(), re.M)
    kind = re.search(r"^CMAKE_BUILD_TYPE:\w+=(.*)$", cache, re.M)[1]
    return f"{os.uname().machine}, {model[1] if model else 'unknown processor'}; {version}; {kind}."


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("build", type=Path)
    parser.add_argument("--into", type=Path, metavar="DOCUMENT")
    options = parser.parse_args()
    for tool in ("valgrind", "strace"):
        if not shutil.which(tool):
            sys.exit(f"report.py: {tool} is needed and not there: apt-get install {tool}")
    on_server = callgrind.counts(options.build / "bin/server_benchmark")
    parts = [machine(options.build), fields(options.build), macros(options.build),
             server(on_server, times(options.build / "bin/server_benchmark")), growth(on_server),
             engine(options.build), startup(options.build)]
    text = "\n\n".join(parts)
    print(text)
    if options.into:
        document = options.into.read_text()
        begin, end = (document.index(marker) for marker in MARKERS)
        options.into.write_text(f"{document[:begin]}{MARKERS[0]}\n\n{text}\n\n{document[end:]}")


if __name__ == "__main__":
    main()
