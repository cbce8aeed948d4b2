#!/usr/bin/env python3
"""Runs the VORN benchmark suite and writes its results as a Markdown table.

Every path is paired with its floor by name: "X/baseline" is the baseline of
"X" (see bench/BenchSupport.h). For each path the table shows the median of
the repetitions, the baseline's median from the same run, their ratio and,
when the path declares one, its target ratio and whether it was met. Paths
named with --callgrind also get their instructions per iteration (and their
baseline's) counted under callgrind, in a second table.

    tools/bench_report.py build/bench/bench/vorn_bench [--repetitions 10]
                          [--min-time 0.1] [--filter REGEX] [--out FILE]
                          [--callgrind PATH]...
"""

import argparse
import json
import platform
import subprocess
import shutil
import sys

import bench_callgrind


def run_suite(binary, repetitions, min_time, pattern):
    command = [binary,
               f"--benchmark_repetitions={repetitions}",
               "--benchmark_report_aggregates_only=true",
               "--benchmark_format=json",
               # Repetitions of all benchmarks in random order, so that a
               # path and its baseline share whatever else the machine does.
               "--benchmark_enable_random_interleaving=true",
               f"--benchmark_min_time={min_time}"]
    if pattern:
        command.append(f"--benchmark_filter={pattern}")
    result = subprocess.run(command, check=True, stdout=subprocess.PIPE, text=True)
    return json.loads(result.stdout)


def medians(report):
    """run name -> the median aggregate's entry, in registration order."""
    found = {}
    for entry in sorted(report["benchmarks"], key=lambda entry: entry["family_index"]):
        if entry.get("aggregate_name") == "median":
            found[entry["run_name"]] = entry
    return found


def path_of(name):
    """The path a baseline belongs to, or None if name is not a baseline."""
    parts = name.split("/")
    if "baseline" not in parts:
        return None
    return "/".join(part for part in parts if part != "baseline")


def nanoseconds(entry):
    scale = {"ns": 1.0, "us": 1e3, "ms": 1e6, "s": 1e9}[entry["time_unit"]]
    return entry["cpu_time"] * scale


def show_time(ns):
    for unit, size in (("s", 1e9), ("ms", 1e6), ("µs", 1e3)):
        if ns >= size:
            return f"{ns / size:.3g} {unit}"
    return f"{ns:.3g} ns"


def rows(found):
    baselines = {path_of(name): entry for name, entry in found.items() if path_of(name)}
    for name, entry in found.items():
        if path_of(name):
            continue
        time = nanoseconds(entry)
        target = entry.get("target")
        baseline = baselines.get(name)
        if baseline is None:
            yield [name, show_time(time), "", "", "", ""]
            continue
        floor = nanoseconds(baseline)
        ratio = time / floor
        verdict = "" if target is None else ("yes" if ratio <= target else "**no**")
        yield [name, show_time(time), show_time(floor), f"{ratio:.2f}×",
               "" if target is None else f"≤ {target:g}×", verdict]


def table(report, repetitions):
    context = report["context"]
    lines = [
        f"Machine: {context.get('num_cpus')} CPUs at {context.get('mhz_per_cpu')} MHz, "
        f"{platform.system()} {platform.release()}; medians of {repetitions} repetitions "
        "(CPU time of the process, which a busy machine disturbs less than wall time).",
        "",
        "| path | median | baseline | ratio | target | met |",
        "|---|---:|---:|---:|---:|:---:|",
    ]
    lines += ["| " + " | ".join(row) + " |" for row in rows(medians(report))]
    return "\n".join(lines) + "\n"


def instruction_table(binary, names):
    lines = [
        "",
        "Instructions per iteration (callgrind, `tools/bench_callgrind.py`):",
        "",
        "| path | path | baseline |",
        "|---|---:|---:|",
    ]
    for name in names:
        path = bench_callgrind.per_iteration(binary, name)
        floor = bench_callgrind.per_iteration(binary, name + "/baseline")
        lines.append(f"| {name} | {path:.1f} | {floor:.1f} |")
    return "\n".join(lines) + "\n"


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("binary")
    parser.add_argument("--repetitions", type=int, default=10)
    parser.add_argument("--min-time", type=float, default=0.1,
                        help="seconds per repetition (default 0.1)")
    parser.add_argument("--filter", default="")
    parser.add_argument("--out", help="write the table here as well as to stdout")
    parser.add_argument("--callgrind", action="append", default=[], metavar="PATH",
                        help="also count this path's instructions (needs valgrind)")
    args = parser.parse_args()
    text = table(run_suite(args.binary, args.repetitions, args.min_time, args.filter),
                 args.repetitions)
    if args.callgrind and shutil.which("valgrind"):
        text += instruction_table(args.binary, args.callgrind)
    sys.stdout.write(text)
    if args.out:
        with open(args.out, "w", encoding="utf-8") as out:
            out.write("# Benchmark results\n\nWritten by `tools/bench_report.py`.\n\n" + text)


if __name__ == "__main__":
    main()
