#!/usr/bin/env python3
"""Runs the VORN benchmark suite and writes its results as a Markdown table.

Every path is paired with its floor by name: "X/baseline" is the baseline of
"X" (see bench/BenchSupport.h). For each path the table shows the median of
the repetitions, the baseline's median from the same run, their ratio and,
when the path declares one, its target ratio (or absolute limit) and whether
it was met; paths that handle N records per iteration also show the cost per
record. Memory measurements (counters "bytes_per_record") go to a table of
their own, with the peak resident memory of the reference host (--host) run
over its sample root. Paths named with --callgrind also get their
instructions per iteration (and their baseline's) counted under callgrind.

    tools/bench_report.py build/bench/bench/vorn_bench [--repetitions 10]
                          [--min-time 0.1] [--filter REGEX] [--out FILE]
                          [--callgrind PATH]... [--host VORN_HOST]

With --before OTHER_BINARY (the suite built from an earlier revision) it
instead compares the two builds path by path: both run in alternating
rounds within this one run, so that both see the same machine, and the
table gives each path's median before and after and their ratio.
"""

import argparse
import json
import os
import platform
import subprocess
import shutil
import statistics
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


def per_record(entry):
    """The time per record of a path that reports items, or ""."""
    rate = entry.get("items_per_second")
    return show_time(1e9 / rate) if rate else ""


def is_memory(entry):
    return "bytes_per_record" in entry


def rows(found):
    baselines = {path_of(name): entry for name, entry in found.items() if path_of(name)}
    for name, entry in found.items():
        if path_of(name) or is_memory(entry):
            continue
        time = nanoseconds(entry)
        target = entry.get("target")
        limit = entry.get("limit_ns")
        baseline = baselines.get(name)
        if baseline is None:
            verdict = "" if limit is None else ("yes" if time <= limit else "**no**")
            yield [name, show_time(time), per_record(entry), "", "", "",
                   "" if limit is None else f"≤ {show_time(limit)}", verdict]
            continue
        floor = nanoseconds(baseline)
        ratio = time / floor
        verdict = "" if target is None else ("yes" if ratio <= target else "**no**")
        yield [name, show_time(time), per_record(entry), show_time(floor),
               per_record(baseline), f"{ratio:.2f}×",
               "" if target is None else f"≤ {target:g}×", verdict]


def memory_rows(found):
    for name, entry in found.items():
        if is_memory(entry):
            # Measurements run once: drop the "/iterations:1" that says so.
            yield [name.split("/iterations:")[0], f"{entry['bytes_per_record']:.0f} bytes"]


def host_peak_resident(host):
    """Peak resident memory of the reference host over its sample root, in bytes."""
    child = subprocess.Popen([host, "--quiet"], stdout=subprocess.DEVNULL)
    _, status, usage = os.wait4(child.pid, 0)
    child.returncode = os.waitstatus_to_exitcode(status)
    if child.returncode != 0:
        raise RuntimeError(f"{host} failed with {child.returncode}")
    return usage.ru_maxrss * 1024  # KiB on Linux


def table(report, repetitions, host):
    context = report["context"]
    found = medians(report)
    lines = [
        f"Machine: {context.get('num_cpus')} CPUs at {context.get('mhz_per_cpu')} MHz, "
        f"{platform.system()} {platform.release()}; medians of {repetitions} repetitions "
        "(CPU time of the process, which a busy machine disturbs less than wall time). "
        "A trailing /N is the number of records; \"per record\" is the median over N.",
        "",
        "| path | median | per record | baseline | per record | ratio | target | met |",
        "|---|---:|---:|---:|---:|---:|---:|:---:|",
    ]
    lines += ["| " + " | ".join(row) + " |" for row in rows(found)]
    memory = list(memory_rows(found))
    if memory or host:
        lines += ["", "Memory (heap growth over 10,000 records, allocator overhead included):",
                  "", "| record | heap per record |", "|---|---:|"]
        lines += ["| " + " | ".join(row) + " |" for row in memory]
        if host:
            peak = host_peak_resident(host)
            lines.append(f"| vorn-host over the sample root: peak resident | "
                         f"{peak / (1 << 20):.1f} MiB |")
    return "\n".join(lines) + "\n"


def instruction_table(binary, names, found):
    lines = [
        "",
        "Instructions per iteration (callgrind, `tools/bench_callgrind.py`); "
        "a trailing /N counts records:",
        "",
        "| path | path | baseline | path per record | baseline per record |",
        "|---|---:|---:|---:|---:|",
    ]
    for name in names:
        counts = [bench_callgrind.per_iteration(binary, name)]
        if name + "/baseline" in found:
            counts.append(bench_callgrind.per_iteration(binary, name + "/baseline"))
        last = name.rsplit("/", 1)[-1]
        records = int(last) if last.isdigit() and int(last) > 0 else 0
        cells = [f"{count:.1f}" for count in counts] + [""] * (2 - len(counts))
        cells += [f"{count / records:.1f}" if records else "" for count in counts]
        cells += [""] * (4 - len(cells))
        lines.append(f"| {name} | " + " | ".join(cells) + " |")
    return "\n".join(lines) + "\n"


def compare(before, after, repetitions, min_time, pattern, rounds=5):
    """Median per path of two builds run in alternating rounds, as a table."""
    times = {before: {}, after: {}}
    per_round = max(1, repetitions // rounds)
    for round_index in range(rounds):
        order = (before, after) if round_index % 2 == 0 else (after, before)
        for binary in order:
            for name, entry in medians(run_suite(binary, per_round, min_time, pattern)).items():
                if not is_memory(entry):
                    times[binary].setdefault(name, []).append(nanoseconds(entry))
    lines = [f"Before: {before}; after: {after}; {rounds} alternating rounds of "
             f"{per_round} repetitions each, medians over all of them.", "",
             "| path | before | after | after / before |", "|---|---:|---:|---:|"]
    for name, after_times in times[after].items():
        before_times = times[before].get(name)
        if not before_times:
            continue
        old, new = statistics.median(before_times), statistics.median(after_times)
        lines.append(f"| {name} | {show_time(old)} | {show_time(new)} | {new / old:.2f}× |")
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
    parser.add_argument("--host", help="the reference host, for its peak resident memory")
    parser.add_argument("--before", metavar="OTHER_BINARY",
                        help="compare against this build of the suite instead")
    args = parser.parse_args()
    if args.before:
        sys.stdout.write(compare(args.before, args.binary, args.repetitions, args.min_time,
                                 args.filter))
        return
    report = run_suite(args.binary, args.repetitions, args.min_time, args.filter)
    text = table(report, args.repetitions, args.host)
    if args.callgrind and shutil.which("valgrind"):
        text += instruction_table(args.binary, args.callgrind, medians(report))
    sys.stdout.write(text)
    if args.out:
        with open(args.out, "w", encoding="utf-8") as out:
            out.write("# Benchmark results\n\nWritten by `tools/bench_report.py`.\n\n" + text)


if __name__ == "__main__":
    main()
