#!/usr/bin/env python3
"""Runs vorn-host over the sample root with --profile, --trace and --chart
and checks what it wrote: the table must list every plug-in and kind sorted
by total self time, the spiky example's flight loop with every call and its
spike; the trace must be JSON in the Chrome trace-event format (every
complete event with its name, ph "X", ts, dur, pid, tid and args naming the
plug-in and the kind; frames on a track of their own) and the chart must be
SVG (XML) with a bar per plug-in and frame, the budget line and the slowest
frames marked.

    check_profile_outputs.py VORN_HOST
"""

import json
import os
import subprocess
import sys
import tempfile
import xml.etree.ElementTree as ET

SVG = "{http://www.w3.org/2000/svg}"
FRAMES = 60
failures = []


def check(condition, message):
    if not condition:
        failures.append(message)


def is_number(value):
    return isinstance(value, (int, float)) and not isinstance(value, bool)


def check_table(output):
    lines = output.splitlines()
    header = [i for i, line in enumerate(lines) if line.startswith("plug-in ")]
    check(len(header) == 1, "no table header in the output")
    if not header:
        return
    check(lines[header[0]].split() == ["plug-in", "kind", "calls", "mean", "ms", "p95", "ms",
                                       "max", "ms", "share"], f"header {lines[header[0]]}")
    rows = []
    for line in lines[header[0] + 1:]:
        if not line.strip():
            break
        # plug-in (24) kind (26) calls mean p95 max share [over budget Nx]
        plugin, kind, numbers = line[:24].strip(), line[25:51].strip(), line[51:].split()
        rows.append((plugin, kind, int(numbers[0]), float(numbers[1]), float(numbers[2]),
                     float(numbers[3])))
    check(len(rows) > 10, f"only {len(rows)} rows in the table")
    totals = [calls * mean for _, _, calls, mean, _, _ in rows]
    for i in range(1, len(rows)):
        slack = 0.0005 * (rows[i - 1][2] + rows[i][2])  # the means are rounded to 1 us
        check(totals[i] <= totals[i - 1] + slack, f"row {rows[i]} is above {rows[i - 1]}")
    spiky = [row for row in rows if row[:2] == ("Spiky", "flight loop (phase 0)")]
    check(len(spiky) == 1 and spiky[0][2] == FRAMES and spiky[0][5] >= 9.0,
          f"the spiky flight loop's row: {spiky}")


def check_trace(path):
    with open(path, encoding="utf-8") as trace_file:
        trace = json.load(trace_file)
    events = trace["traceEvents"]
    complete = [e for e in events if e.get("ph") == "X"]
    check(len(complete) > 0, "the trace has no complete events")
    for event in events:
        check(event.get("ph") in ("X", "M"), f"unexpected phase in {event}")
        check(isinstance(event.get("name"), str) and event["name"], f"no name in {event}")
        check(isinstance(event.get("pid"), int), f"no integer pid in {event}")
        check(isinstance(event.get("tid"), int), f"no integer tid in {event}")
        check(isinstance(event.get("args"), dict), f"no args in {event}")
        if event.get("ph") == "M":
            check(event["name"] in ("process_name", "thread_name"), f"unknown metadata {event}")
            check(isinstance(event["args"].get("name"), str), f"metadata without a name {event}")
            continue
        check(is_number(event.get("ts")) and event["ts"] >= 0, f"bad ts in {event}")
        check(is_number(event.get("dur")) and event["dur"] >= 0, f"bad dur in {event}")
        check(isinstance(event["args"].get("plugin"), str), f"no plugin in {event}")
        check(isinstance(event["args"].get("kind"), str) and event["args"]["kind"],
              f"no kind in {event}")
    frames = [e for e in complete if e["args"]["kind"] == "frame"]
    calls = [e for e in complete if e["args"]["kind"] != "frame"]
    check(len(frames) == FRAMES, f"{len(frames)} frame events for {FRAMES} frames")
    check({e["tid"] for e in frames}.isdisjoint({e["tid"] for e in calls}),
          "frames share a track with the calls")
    check(any(e["args"]["plugin"] == "Spiky" and e["args"]["kind"] == "flight loop (phase 0)"
              and e["name"] == "Spiky: flight loop (phase 0)" for e in calls),
          "no event for the spiky plug-in's flight loop")
    # Calls on the one track nest: one that starts inside another ends in it.
    stack = []
    for event in sorted(calls, key=lambda e: (e["ts"], -e["dur"])):
        end = event["ts"] + event["dur"]
        while stack and event["ts"] >= stack[-1]:
            stack.pop()
        check(not stack or end <= stack[-1] + 0.002, f"{event} overlaps the call around it")
        stack.append(end)


def check_chart(path):
    root = ET.parse(path).getroot()
    check(root.tag == SVG + "svg", f"the chart's root is {root.tag}")
    groups = {g.get("id"): g for g in root.iter(SVG + "g")}
    for name in ("bars", "budget", "slowest", "legend"):
        check(name in groups, f"the chart has no group {name}")
    if "bars" in groups:
        titles = [r.find(SVG + "title").text for r in groups["bars"].iter(SVG + "rect")]
        spiky = [t for t in titles if ", Spiky: " in t]
        check(len(spiky) == FRAMES, f"{len(spiky)} bars of the spiky plug-in for {FRAMES} frames")
    if "budget" in groups:
        check(groups["budget"].find(SVG + "line") is not None, "no budget line")
    if "slowest" in groups:
        marks = [t.text for t in groups["slowest"].iter(SVG + "text")]
        check(len(marks) == 3, f"{len(marks)} slowest frames marked")
        # The spike of frame 44 busy-waits 9 ms, so the slowest frame takes at
        # least that; which frames a busy machine slows besides is its own.
        times = [float(mark.split(": ")[1].split(" ")[0]) for mark in marks]
        check(times == sorted(times, reverse=True), f"the slowest frames are not in order: {marks}")
        check(bool(times) and times[0] >= 9.0, f"the slowest frame is below the 9 ms spike: {marks}")


def main():
    host = sys.argv[1]
    with tempfile.TemporaryDirectory() as scratch:
        trace = os.path.join(scratch, "trace.json")
        chart = os.path.join(scratch, "chart.svg")
        run = subprocess.run([host, "--frames", str(FRAMES), "--quiet", "--profile", "--trace",
                              trace, "--chart", chart], check=True, stdout=subprocess.PIPE,
                             text=True)
        check_table(run.stdout)
        check_trace(trace)
        check_chart(chart)
    for failure in failures[:20]:
        print("FAIL:", failure)
    if failures:
        sys.exit(1)
    print("the table, the trace and the chart are well formed")


if __name__ == "__main__":
    main()
