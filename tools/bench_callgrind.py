#!/usr/bin/env python3
"""Instructions per iteration of benchmarks (and their baselines) under callgrind.

Instruction counts do not depend on how busy the machine is, so they compare
hot paths reliably where timings cannot. The benchmark is run twice with a
fixed iteration count (VORN_BENCH_ITERATIONS, see bench/BenchSupport.h), and
the difference of the two totals is divided by the difference of the counts:
start-up, set-up and reporting cancel out.

    tools/bench_callgrind.py build/bench/bench/vorn_bench Graphics/VORNDrawString...
                             [--iterations 20000] [--no-baseline]
"""

import argparse
import os
import re
import subprocess
import sys
import tempfile


def total_instructions(binary, name, iterations):
    with tempfile.TemporaryDirectory() as scratch:
        out = os.path.join(scratch, "callgrind.out")
        env = dict(os.environ, VORN_BENCH_ITERATIONS=str(iterations))
        subprocess.run(["valgrind", "--tool=callgrind", f"--callgrind-out-file={out}",
                        binary, f"--benchmark_filter=^{re.escape(name)}(/iterations:[0-9]+)?$"],
                       check=True, env=env, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        with open(out, encoding="utf-8") as data:
            for line in data:
                if line.startswith(("summary:", "totals:")):
                    return int(line.split()[1])
    raise RuntimeError(f"no instruction total for {name}")


def per_iteration(binary, name, iterations=20000):
    low = total_instructions(binary, name, iterations)
    high = total_instructions(binary, name, 2 * iterations)
    return (high - low) / iterations


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("binary")
    parser.add_argument("names", nargs="+", metavar="name",
                        help="a path's full benchmark name, e.g. Graphics/VORNDrawString")
    parser.add_argument("--iterations", type=int, default=20000)
    parser.add_argument("--no-baseline", action="store_true")
    args = parser.parse_args()
    for name in args.names:
        runs = [name] if args.no_baseline else [name, name + "/baseline"]
        for run in runs:
            count = per_iteration(args.binary, run, args.iterations)
            sys.stdout.write(f"{run}: {count:.1f} instructions per iteration\n")


if __name__ == "__main__":
    main()
