#!/usr/bin/env python3
"""What the macro frame and the start of mcrhost cost, in instructions counted by callgrind.

    instructions.py FRAME_BENCHMARK MCRHOST

Prints the instructions of one run of cp_9A10_0101 over primitives that do nothing, of the same calls written by hand,
and their ratio; and those of whole processes of mcrhost.
"""
import re
import shutil
import subprocess
import sys


COMMANDS = ("--version", "list", "show cp_9A12_0101", "run cp_9A11_0101 --unit cpu:0.0")


def instructions(program, *arguments):
    """Instructions of the whole process."""
    command = ["valgrind", "--tool=callgrind", "--callgrind-out-file=/dev/null", program, *arguments]
    output = subprocess.run(command, capture_output=True, text=True, check=True).stderr
    return int(re.search(r"Collected : (\d+)", output).group(1))


def per_run(program, variant):
    """Instructions of one run: what a thousand more of them cost."""
    longer, shorter = (instructions(program, "--runs", str(runs), variant) for runs in (2000, 1000))
    return (longer - shorter) / 1000


def main():
    if len(sys.argv) != 3:
        sys.exit("usage: instructions.py FRAME_BENCHMARK MCRHOST")
    if not shutil.which("valgrind"):
        sys.exit("instructions.py: valgrind is needed and not there: apt-get install valgrind")
    frame, hand = (per_run(sys.argv[1], variant) for variant in ("frame", "hand"))
    print("cp_9A10_0101 over do-nothing primitives, instructions a run (96 JTAG accesses):")
    print(f"  in the frame     {frame:8.0f}")
    print(f"  written by hand  {hand:8.0f}")
    print(f"  ratio            {frame / hand:8.3f}")
    print("whole processes of mcrhost, thousands of instructions:")
    for command in COMMANDS:
        print(f"  {command:34}{instructions(sys.argv[2], *command.split()) / 1000:8.0f}")


if __name__ == "__main__":
    main()
