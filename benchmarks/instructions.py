#!/usr/bin/env python3
"""What the macro frame costs, in instructions counted by callgrind.

    instructions.py FRAME_BENCHMARK

Prints the instructions of one run of cp_9A10_0101 over primitives that do nothing, of the same calls written by hand,
and their ratio.
"""
import re
import shutil
import subprocess
import sys


def instructions(program, runs, variant):
    """Instructions of the whole process."""
    command = ["valgrind", "--tool=callgrind", "--callgrind-out-file=/dev/null", program, "--runs", str(runs), variant]
    output = subprocess.run(command, capture_output=True, text=True, check=True).stderr
    return int(re.search(r"Collected : (\d+)", output).group(1))


def per_run(program, variant):
    """Instructions of one run: what a thousand more of them cost."""
    return (instructions(program, 2000, variant) - instructions(program, 1000, variant)) / 1000


def main():
    if len(sys.argv) != 2:
        sys.exit("usage: instructions.py FRAME_BENCHMARK")
    if not shutil.which("valgrind"):
        sys.exit("instructions.py: valgrind is needed and not there: apt-get install valgrind")
    frame, hand = (per_run(sys.argv[1], variant) for variant in ("frame", "hand"))
    print("cp_9A10_0101 over do-nothing primitives, instructions a run (96 JTAG accesses):")
    print(f"  in the frame     {frame:8.0f}")
    print(f"  written by hand  {hand:8.0f}")
    print(f"  ratio            {frame / hand:8.3f}")


if __name__ == "__main__":
    main()
