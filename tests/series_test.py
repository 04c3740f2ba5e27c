"""Runs on several units, and the rings that runs leave open."""

import json
import os
import pathlib
import tempfile
import unittest

from project import mcrhost

OK, FAILED, USAGE = 0, 1, 2
ON = "on two-board server (simulated)"
ON_DEAD = "on two-board server with a dead CPU chip (simulated)"
BAD = f"--library {os.environ['BAD_MACROS']}"
READ = "cp_9A12_0101 group=1 index=5"
FAILURE = "failure: lmcr_jtag, code 0xB0, cpu:0.0: the chip does not answer (hardware error)"

# Arguments, exit status, and the lines printed that are no words of a record or of _DATA.
SERIES = [
    (f"{READ} --unit cpu:0 --unit cpu:1.1", OK,
     [f"cp_9A12_0101  cpu:0.0  read  {ON}", "pass: 1 data word, 3 primitive calls",
      f"cp_9A12_0101  cpu:0.1  read  {ON}", "pass: 1 data word, 3 primitive calls",
      f"cp_9A12_0101  cpu:1.1  read  {ON}", "pass: 1 data word, 3 primitive calls", "3 units: 3 passed"]),
    (f"{READ} --unit cpu --together", OK,
     [f"cp_9A12_0101  cpu:0-1.0-1  read  {ON}", "pass: 1 data word, 3 primitive calls"]),
    # The first that does not go well is the last one, unless the others are wanted.
    (f"{READ} --unit cpu --machine dead-chip", FAILED,
     [f"cp_9A12_0101  cpu:0.0  read  {ON_DEAD}", FAILURE, "4 units: 0 passed, 1 failed: cpu:0.0, 3 skipped: cpu:0.1+1.0-1"]),
    (f"{READ} --unit cpu:0 --machine dead-chip --keep-going", FAILED,
     [f"cp_9A12_0101  cpu:0.0  read  {ON_DEAD}", FAILURE, f"cp_9A12_0101  cpu:0.1  read  {ON_DEAD}",
      "pass: 1 data word, 3 primitive calls", "2 units: 1 passed, 1 failed: cpu:0.0"]),
    # Every unit has its own writes.
    ("cp_9A12_0101 --rw write group=1 index=5 value=0x12345 --unit cpu:0 --dry-run", OK,
     ["dry run: nothing is changed; 1 write would be made", "  cpu:0.0   lmcr_jtag     code 0xB0  0x41512345",
      f"cp_9A12_0101  cpu:0.0  write  {ON}", "pass: 0 data words, 2 primitive calls",
      "dry run: nothing is changed; 1 write would be made", "  cpu:0.1   lmcr_jtag     code 0xB0  0x41512345",
      f"cp_9A12_0101  cpu:0.1  write  {ON}", "pass: 0 data words, 2 primitive calls", "2 units: 2 passed"]),
]

MISUSES = [
    (f"{READ} --unit cpu --data-out words.bin",
     "--data-out: these are 4 runs, and the file keeps the words of one; give one chip"),
    (f"{READ} --unit-type 1 --unit-no 1 --mring 0x10000 --each",
     "--each: a unit in words is one run; give the unit with --unit"),
    (f"{READ} --unit cpu --each --together", "--together excludes --each ('mcrhost run --help' shows the options)"),
]

# Options, what is said of a ring that a run leaves open, and what becomes of it.
RINGS = [
    ("", "note: rings left open, restored: cpu:0.0 ring 0x3C", "restored"),
    ("--keep-open-rings", "note: rings kept open: cpu:0.0 ring 0x3C", "kept open"),
    ("--no-restore-open-rings", "note: rings kept open: cpu:0.0 ring 0x3C", "kept open"),
    ("--machine ./dies.toml", "failure: rings left open, not restored: cpu:0.0 ring 0x3C (the chip does not answer)",
     "not restored"),
]


# A chip that takes part in the opening of a ring and in nothing after it.
DIES = """base = "default"
name = "two-board server"
[[fault]]
chip = "cpu:0.0"
place = "ring 60"
kind = "dead"
after = 1
"""


class Series(unittest.TestCase):
    def test_text(self):
        for arguments, status, lines in SERIES:
            with self.subTest(arguments):
                done = mcrhost(f"run {arguments}")
                self.assertEqual((done.returncode, done.stderr), (status, ""), done.stdout)
                shown = [line for line in done.stdout.splitlines() if not line.startswith(("  record", "  value"))]
                self.assertEqual(shown, lines)

    def test_misuse(self):
        for arguments, complaint in MISUSES:
            with self.subTest(arguments):
                done = mcrhost(f"run {arguments}")
                self.assertEqual((done.returncode, done.stdout, done.stderr), (USAGE, "", f"mcrhost: {complaint}\n"))

    def test_open_rings(self):
        with tempfile.TemporaryDirectory() as folder:
            pathlib.Path(folder, "dies.toml").write_text(DIES)
            for options, said, fate in RINGS:
                with self.subTest(options):
                    command = f"run sp_0007 --para 0x3C --unit cpu:0.0 {BAD} {options}"
                    done = mcrhost(command, cwd=folder)
                    self.assertEqual(done.returncode, FAILED)
                    self.assertEqual(done.stdout.splitlines().count(said), 1, done.stdout)
                    rings = json.loads(mcrhost(f"{command} --json", cwd=folder).stdout)["open_rings"]
                    self.assertEqual(rings, [{"chip": "cpu:0.0", "ring": "0x3C", "fate": fate}])

    def test_json_is_an_object_a_line(self):
        done = mcrhost(f"run {READ} --unit cpu --machine dead-chip --keep-going --json")
        *runs, last = [json.loads(line) for line in done.stdout.splitlines()]
        self.assertEqual([(run["unit"]["name"], run["ok"]) for run in runs],
                         [("cpu:0.0", False), ("cpu:0.1", True), ("cpu:1.0", True), ("cpu:1.1", True)])
        self.assertEqual(last["summary"], {
            "units": 4, "passed": ["cpu:0.1", "cpu:1.0", "cpu:1.1"], "failed": ["cpu:0.0"], "error": [], "stopped": [],
            "skipped": [], "stopped_by": None})


if __name__ == "__main__":
    unittest.main()
