"""Macros by the names of the catalogue: show, run with fields, decoded results, and complaints about catalogue files."""

import json
import pathlib
import tempfile
import unittest

from project import mcrhost

OK, FAILED, USAGE = 0, 1, 2
ON = "on two-board server (simulated)"

# What runs print after the header: arguments, exit status, direction, output.
RUNS = [
    ("9A12 group=1 index=5 --unit cpu:0.1", OK, "cpu:0.1  read", "  value  0x00055748\npass: 1 data word, 3 primitive calls\n"),
    ("9A12 group=1 index=5 --raw --unit cpu:0.1", OK, "cpu:0.1  read",
     "     0  0x00055748\npass: 1 data word, 3 primitive calls\n"),
    ("9A12 group=bytes index=2 --unit cpu:0.0", OK, "cpu:0.0  read", "  value  0x000000B1\npass: 1 data word, 4 primitive calls\n"),
    ("9A12 --rw write group=2 index=5 value=0x12345 --unit cpu:0.0", OK, "cpu:0.0  write",
     "pass: 0 data words, 2 primitive calls\n"),
    ("9A11 --unit cpu:0.0", OK, "cpu:0.0  read", "  answer  0\n  status  0\npass: 1 data word, 5 primitive calls\n"),
    # Words go to the macro as they are.
    ("9A12 --para 0x18 --unit cpu:0.0", FAILED, "cpu:0.0  read",
     "failure: parameter refused: there is no group 3 (sub-code -90), value 0x00000018\n"
     "  record  0  0xFFFFFF9D  parameter error\n"
     "  record  5  0xFFFFFFA6  there is no group 3 (sub-code -90)\n"
     "  record  6  0x00000018  offending value\n"),
    # A count that the macro refuses, with which it would make more calls than 32 bits can tell.
    ("9AC1 --para 0,-1 --unit cpu:0.0", FAILED, "cpu:0.0  read",
     "failure: parameter refused: the count is not 1 to 1024 (sub-code -3), value 0xFFFFFFFF\n"
     "  record  0  0xFFFFFF9D  parameter error\n"
     "  record  5  0xFFFFFFFD  the count is not 1 to 1024 (sub-code -3)\n"
     "  record  6  0xFFFFFFFF  offending value\n"),
]

MISUSES = [
    ("9A12 group=3 index=5", "group=3: accepted are bytes (0), 1, 2; --para gives other words to the macro"),
    ("9A12 group=1 group=2", "'group' is given twice"),
    ("9A12 group", "'group' gives no field; write NAME=VALUE"),
    ("9A12 group=1 --para 5", "'group' and --para both give _PARA[0]; give one of them"),
    ("9A12 --rw write group=1 index=5", "cp_9A12_0101 reads 1 word of _DATA with direction write, and none is given; "
                                        "give it with --data, or value="),
    ("9A10 --catalogue /no/such", "--catalogue: cannot read the folder '/no/such': No such file or directory"),
]

# An entry for the macro that dumps registers: words 0 and 1 are 0xA5 and 0xBD.
ENTRY = """title = "Test"
[[macro]]
name = "cp_9A10_0101"
unit = "cpu"
title = "Test"
changes = "never"
"""


class CatalogueRun(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def with_file(self, text, arguments):
        (self.folder / "test.toml").write_text(text)
        return mcrhost(f"{arguments} --catalogue {self.folder}")

    def test_runs_with_fields(self):
        for arguments, status, header, output in RUNS:
            with self.subTest(arguments):
                done = mcrhost(f"run {arguments}")
                name = f"cp_{arguments[:4]}_0101"
                self.assertEqual((done.returncode, done.stdout), (status, f"{name}  {header}  {ON}\n{output}"))

    def test_refuses_fields(self):
        for arguments, complaint in MISUSES:
            with self.subTest(arguments):
                done = mcrhost(f"run {arguments} --unit cpu:0.0")
                self.assertEqual((done.returncode, done.stdout, done.stderr), (USAGE, "", f"mcrhost: {complaint}\n"))

    def test_names_places_in_damaged_files(self):
        done = self.with_file(ENTRY.replace("never", "often"), "run 9A10 --unit cpu:0.0")
        self.assertEqual((done.returncode, done.stdout, done.stderr), (USAGE, "", (
            f"mcrhost: {self.folder}/test.toml:6:11: 'changes' must be \"always\", \"never\", or a list of directions\n")))

    def test_a_finding_is_no_success(self):
        rule = '[[macro.finding]]\ntitle = "odd"\nword = 0\nmask = 0x81\nequals = 0x81\n'
        done = self.with_file(ENTRY + rule, "run 9A10 --unit cpu:0.0")
        self.assertEqual(done.returncode, FAILED)
        self.assertTrue(done.stdout.endswith("finding: odd: _DATA[0] is 0x000000A5\n"
                                             "1 finding: 48 data words, 120 primitive calls\n"))
        run = json.loads(self.with_file(ENTRY + rule, "run 9A10 --unit cpu:0.0 --json").stdout)
        self.assertEqual((run["ok"], run["verdict"], run["findings"]), (True, "finding", ["odd: _DATA[0] is 0x000000A5"]))

    def test_every_page_can_be_shown(self):
        for macro in json.loads(mcrhost("list --json").stdout)["macros"]:
            with self.subTest(macro["name"]):
                page, entry = mcrhost(f"show {macro['name']}"), mcrhost(f"show {macro['name']} --json")
                self.assertEqual((page.returncode, page.stderr, entry.returncode), (OK, "", OK))
                self.assertTrue(page.stdout.startswith(f"{macro['name']}: {json.loads(entry.stdout)['title']}\n"))


if __name__ == "__main__":
    unittest.main()
