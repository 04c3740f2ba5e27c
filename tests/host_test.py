"""mcrhost from outside: what it prints, where, and its exit status."""

import json
import os
import re
import shlex
import subprocess
import tempfile
import unittest

MACHINE = "on two-board server (simulated)"
BAD_LIBRARY = f"--library {shlex.quote(os.environ['BAD_MACROS'])}"
BAD = f"{BAD_LIBRARY} --unit sp:0.0"
OK, FAILED, USAGE = 0, 1, 2

# What runs of bad macros print, exactly: arguments, unit, exit status, direction and output after the header.
RUNS = [
    ("sp_0006 --para 5", "sp:0.0", OK, "read",
     "     0    --------    --------    --------    --------\n"
     "     4    --------  0x12345678\n"
     "pass: 1 data word, 0 primitive calls\n"),
    ("sp_0006 --rw none --para 0 -3", "sp:0.0", FAILED, "no direction",
     "     0  0x12345678\n"
     "failure: parameter refused: the count or length is out of range (sub-code -3), value 0x00000000\n"
     "  record  0  0xFFFFFF9D  parameter error\n"
     "  record  5  0xFFFFFFFD  the count or length is out of range (sub-code -3)\n"
     "  record 10  0x00030101  board 2: cpu 0-1, sc 0, xb 0\n"),
    # A word that the caller gave counts as written only when it changes.
    ("sp_0006 --rw 7 --para 1 --data 1,0x12345678", "sp:0.0", OK, "rw 0x00000007", "pass: 0 data words, 0 primitive calls\n"),
    ("sp_0005 --rw write --para 1 2", "sp:0.0", OK, "write",
     "     0    --------    --------  0x600DCAFE\npass: 1 data word, 2 primitive calls\n"),
    ("sp_0007 --para 0x3C", "cpu:0.0", FAILED, "read",
     "failure: lmcr_scan, ring 0x00, cpu:0.0: the chip has no such ring (refused)\n"
     "  record  0  0x00000003  refused\n"
     "  record  1  0x00000004  lmcr_scan\n"
     "  record  2  0x00000000  its code, ring, register or number\n"
     "  record  3  0x01000000  cpu:0.0\n"
     "  record  4  0x00000022  the chip has no such ring\n"
     "note: rings left open, restored: cpu:0.0 ring 0x3C\n"),
]

# Faults outside the areas, and inside a primitive.
CRASHES = [
    ("sp_0002 --para 8 --data-words 8", r"(write to|access to) _DATA\[8\], 1 word past .*, during primitive call 2, lmcr_pgen"),
    ("sp_0003", "invalid memory access at address 0x40 outside every area of the macro, before any primitive call"),
]

# Wrong input: one line on standard error, with what was wrong and what would be right.
MISUSES = [
    ("", "a command is missing; the commands are list, show, run, units, jtag, ring, i2c, mbc, plan, shell, manual, reference"),
    ("lst", "there is no command 'lst'; the commands are list, show, run, units, jtag, ring, i2c, mbc, plan, shell, manual, reference"),
    ("run --unit cpu", "MACRO is required ('mcrhost run --help' shows the options)"),
    ("run cp_9A10_0101", "the unit to run cp_9A10_0101 on is missing; give it as, for example, --unit cpu:0.0"),
    ("run q --unit cpu", "there is no macro 'q'; 'mcrhost list' shows those there are"),
    (f"run 9 {BAD}", "there is no macro '9'; 'mcrhost list' shows those there are"),
    (f"run 0009 {BAD}", "'0009' means several macros; give the whole name: sp_0009_0101, sp_0009_0102"),
    ("run 9A10 --unit gpu:0", "unit 'gpu:0': 'gpu' is no kind of unit; the kinds are cpu, mac, sc, xb, ioc, sp "
                              "(for example cpu:0.1, sc:0,2-3.*)"),
    ("run 9A10 --unit cpu --unit-no 1", "the unit is given twice: by --unit and by --unit-type, --unit-no, --mring; "
                                        "give one of them"),
    ("run 9A10 --unit-type 1", "a unit in words needs both --unit-type and --unit-no; --mring names its chips"),
    ("run 9A10 --unit cpu --rw up", "--rw: 'up' is no direction; give read (1), write (2), none (-1) or a number"),
    ("run 9A10 --unit cpu --para 0x100000000", "--para: '0x100000000' is not a 32-bit word; give a decimal or 0x number "
                                               "from -2147483648 to 0xFFFFFFFF"),
    ("run 9A10 --unit cpu --data-words -1", "--data-words: -1 is out of range; give 1 to 16777216"),
    ("run 9A10 --unit cpu --data 1 2 --data-words 1", "--data-words: _DATA of 1 words does not hold the 2 words of --data"),
    ("run 9A10 --unit cpu --trace=/no/such/file", "--trace: cannot write '/no/such/file': No such file or directory"),
    ("run 9A10 --unit cpu --bogus", "The following argument was not expected: --bogus ('mcrhost run --help' shows the "
                                    "options)"),
    ("list --unit-kind cpus", "--unit-kind: 'cpus' is no kind of unit; the kinds are cpu, mac, sc, xb, ioc, sp"),
    ("list units", "no macro matches 'units'; 'mcrhost list' shows those there are"),
    ("run 9A10 --unit cpu list", "'list' gives no field; write NAME=VALUE"),
    ("run 9A10 --unit cpu --state f --data-out ./f", "--state and --data-out name the same file, './f'; one would overwrite "
                                                     "the other"),
    ("list zzz", "no macro matches 'zzz'; 'mcrhost list' shows those there are"),
    ("list --machine /no/such/file", None),
    ("list --library /no/such/file", None),
]

# Units that one way or another name chips of the default machine, and the name that the report gives them.
UNITS = [
    ("--unit cpu", "cpu:0-1.0-1"),
    ("--unit cpu:1.1+0.0", "cpu:0.0+1.1"),
    ("--unit-type 1 --unit-no 3 --mring 0x10000 0x20000", "cpu:0.0+1.1"),
    ("--unit-type 1 --unit-no 2 --mring 0x10000,0x20000", "cpu:1.1"),
]


def mcrhost(arguments, **settings):
    command = [os.environ["MCRHOST"], *shlex.split(arguments)]
    environment = {name: value for name, value in os.environ.items() if name != "MACRODEBUG_LIBRARY"} | settings
    return subprocess.run(command, capture_output=True, text=True, check=False, env=environment)


class Host(unittest.TestCase):
    def expect(self, arguments, status, output=None, complaint=""):
        """Output None is not looked at; both are compared word for word."""
        done = mcrhost(arguments)
        self.assertEqual((done.returncode, done.stderr), (status, complaint), done.stdout)
        if output is not None:
            self.assertEqual(done.stdout, output)
        return done.stdout

    def test_reports_crashes(self):
        for arguments, what in CRASHES:
            with self.subTest(arguments):
                self.assertRegex(self.expect(f"run {arguments} {BAD}", FAILED), rf"\nfailure: {what}\n$")

    def test_prints_runs(self):
        for arguments, unit, status, direction, output in RUNS:
            with self.subTest(arguments):
                header = f"{arguments[:7]}_0101  {unit}  {direction}  {MACHINE}\n"
                self.expect(f"run {arguments} --unit {unit} {BAD_LIBRARY}", status, header + output)

    def test_refuses_wrong_input(self):
        for arguments, complaint in MISUSES:
            with self.subTest(arguments):
                done = mcrhost(arguments)
                self.assertEqual((done.returncode, done.stdout), (USAGE, ""))
                self.assertRegex(done.stderr, r"^mcrhost: [^\n]+\n$")
                if complaint is not None:
                    self.assertEqual(done.stderr, f"mcrhost: {complaint}\n")

    def test_understands_units(self):
        for unit, name in UNITS:
            with self.subTest(unit):
                self.expect(f"run cp_9A11_0101 --rw none --together {unit}", OK,
                            f"cp_9A11_0101  {name}  no direction  {MACHINE}\npass: 0 data words, 0 primitive calls\n")

    def test_dumps_registers(self):
        for name in ("cp_9A10_0101", "cp_9a10", "9A10", "0x9a10"):
            with self.subTest(name):
                output = self.expect(f"run {name} --unit cpu:0.0 --raw", OK)
                rows = r"(  +\d+(  0x[0-9A-F]{8}){4}\n){12}"
                self.assertRegex(output, rf"^cp_9A10_0101  cpu:0\.0  read  {re.escape(MACHINE)}\n"
                                         rf"{rows}pass: 48 data words, \d+ primitive calls\n$")

    def test_json_says_what_the_text_says(self):
        text = self.expect("run 9A10 --unit cpu:1.1", OK)
        run = json.loads(self.expect("run 9A10 --unit cpu:1.1 --json", OK))
        self.assertEqual(run["data"], re.findall(r"  (0x[0-9A-F]{8})", text))
        self.assertEqual((run["ok"], run["macro"], run["unit"]["name"]), (True, "cp_9A10_0101", "cpu:1.1"))
        self.assertEqual(run["machine"], {"name": "two-board server", "simulated": True})
        self.assertEqual(json.loads(self.expect(f"run sp_0006 {BAD} --para 1 --json", OK))["data"], [None, "0x12345678"])

    def test_dead_chip_is_named(self):
        what = "lmcr_jtag, code 0xB0, cpu:0.0: the chip does not answer (hardware error)"
        self.assertIn(f"\nfailure: {what}\n", self.expect("run 9A10 --unit cpu:0.0 --machine dead-chip", FAILED))
        run = json.loads(self.expect("run 9A10 --unit cpu:0.0 --machine dead-chip --json", FAILED))
        self.assertEqual((run["ok"], run["return"], run["result"], run["failures"]), (False, "0xFFFFFFFF", -1, [what]))
        self.assertEqual(run["record"]["failure"]["chip"], "cpu:0.0")

    def test_json_of_a_crash(self):
        run = json.loads(self.expect(f"run sp_0002 {BAD} --para 8 --data-words 8 --json", FAILED))
        self.assertEqual(run["crash"]["call"], {"number": 2, "primitive": "lmcr_pgen", "finished": False})
        self.assertEqual((run["crash"]["breach"]["area"], run["crash"]["breach"]["index"], run["result"]), ("_DATA", 8, None))

    def test_trace(self):
        lines = (
            "     1  lmcr_sin value=0xA5 mask=0xFFF 0x3C/3-1 0x3C/197 0x3D/2698+8 -> 0x00000000\n"
            "     2  lmcr_sout mask=0xFF 0x3D/2698+8 -> 0x000000A5\n"
        )
        self.expect(f"run sp_0008 {BAD} --trace", OK, complaint=lines)
        with tempfile.TemporaryDirectory() as folder:
            path = os.path.join(folder, "calls")
            self.expect(f"run sp_0005 {BAD} --rw write --para 1 131072 --trace={path}", FAILED)
            with open(path, encoding="ascii") as trace:
                self.assertEqual(trace.read(), "     1  lmcr_maccall rw=0x2 number=0x1 on sp:0.0 -> did not return\n"
                                               "     2    lmcr_wait units=0x1 -> 0x00000000\n")
        failed = mcrhost("run 9A10 --unit cpu --together --machine dead-chip --trace").stderr.splitlines()[-1]
        self.assertRegex(failed, r"^     2  lmcr_jtag t0=all .*code=0xB0 data=0x60000000 .*on cpu:0-1\.0-1 "
                                 r"-> failed: the chip does not answer at cpu:0\.0$")

    def test_lists_macros(self):
        text = self.expect("list", OK)
        self.assertRegex(text, r"\ncp_9A10_0101 +cpu +0x9A10 +\d{4} +\d{4}\.\d\d\.\d\d +\w")
        self.assertRegex(text, r"\n\d+ macros, machine two-board server \(simulated\)\n$")
        listed = json.loads(self.expect("list --json", OK))
        self.assertEqual([macro["name"] for macro in listed["macros"]], re.findall(r"^\w+_[0-9A-F]{4}_\d{4}", text, re.M))

    def test_lists_those_wanted(self):
        for arguments, names in (
            ("'CP_9A1?_0101'", ["cp_9A10_0101", "cp_9A11_0101", "cp_9A12_0101"]),
            ("9a10", ["cp_9A10_0101"]),
            ("0x93C1 --unit-kind cpu,sc", ["sc_93C1_0101"]),
            ("dump --unit-kind xb", ["xb_9408_0101"]),
        ):
            with self.subTest(arguments):
                text = self.expect(f"list {arguments}", OK)
                self.assertEqual(re.findall(r"^\w+_[0-9A-F]{4}_\d{4}", text, re.M), names)

    def test_finds_libraries(self):
        bad = os.environ["BAD_MACROS"]
        self.assertIn("sp_0001_0101", mcrhost("list", MACRODEBUG_LIBRARY=bad).stdout)
        with tempfile.NamedTemporaryFile(suffix=".so") as cut, open(os.environ["MACRO_LIBRARY"], "rb") as library:
            cut.write(library.read(50000))
            cut.flush()
            self.expect(f"list --library {cut.name}", USAGE, complaint=f"mcrhost: {cut.name}: the file is cut short: its 50000 "
                                                                       "bytes are not all of the library\n")
        both = mcrhost(f"list --library {bad} --library {os.environ['MACRO_LIBRARY']}", MACRODEBUG_LIBRARY="/no").stdout
        self.assertTrue("sp_0001_0101" in both and "cp_9A10_0101" in both)

    def test_a_reader_that_goes_away_is_an_error(self):
        """Also where it read standard error as well, so that nobody can be told."""
        for arguments in ("plan run bring-up", "run 9A10 --unit cpu --keep-going --progress json"):
            with self.subTest(arguments):
                ours, theirs = os.pipe()
                os.close(ours)
                command = [os.environ["MCRHOST"], *arguments.split()]
                done = subprocess.run(command, stdout=theirs, stderr=theirs, check=False, restore_signals=False)
                os.close(theirs)
                self.assertEqual(done.returncode, USAGE)

    def test_full_disk_is_reported(self):
        for arguments in ("list", "run 9A10 --unit cpu", "--help"):
            with self.subTest(arguments), open("/dev/full", "w", encoding="ascii") as full:
                command = [os.environ["MCRHOST"], *arguments.split()]
                done = subprocess.run(command, stdout=full, stderr=subprocess.PIPE, text=True, check=False)
                complaint = "mcrhost: cannot write standard output: No space left on device\n"
                self.assertEqual((done.returncode, done.stderr), (USAGE, complaint))


if __name__ == "__main__":
    unittest.main()
