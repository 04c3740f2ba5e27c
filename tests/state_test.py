"""A machine's state kept in a file, dry runs, and the files that runs read and write."""

import json
import os
import pathlib
import re
import resource
import tempfile
import unittest

from project import mcrhost

OK, FAILED, USAGE = 0, 1, 2
ON = "on two-board server (simulated)"
WRITE = "run cp_9A12_0101 --unit cpu:0.0 --rw write --para 0x0D --data 0x12345"
READ = "run cp_9A12_0101 --unit cpu:0.0 --para 0x0D --raw"
READ_OUTPUT = f"cp_9A12_0101  cpu:0.0  read  {ON}\n     0  0x00012345\npass: 1 data word, 3 primitive calls\n"

# What is kept of the machine after WRITE, and of a ring at power-on: on every processor the same, byte for byte.
KEPT_STATE = """simulated machine state 1
machine 5791B9C0 two-board server
clock 0
chip cpu:0.0
cells register port 16-23
5 00012345
cells register port 16-23 before
5 0001662D
cells register port command
0 41512345
end
"""
KEPT_RING = "52494E47 00000001 00000001 00000056 00000060 D75654F9 230C2C16 38C49C3C"

# What a dry run says that a macro would write: arguments, and the lines.
PLANS = [
    ("cp_9A12_0101 --unit cpu:0 --together --rw write --para 0x0D --data 0x12345",
     "  cpu:0.0   lmcr_jtag     code 0xB0  0x41512345\n  cpu:0.1   lmcr_jtag     code 0xB0  0x41512345\n"),
    ("sp_8000_0000 --unit sp:0.0 --rw write --para 0xA0 --data 0x1234",
     "  sp:0.0    lmcr_i2cctl   device 0xA0 mode 2, 4 bytes  0x00001234\n"),
    ("sp_8001_0000 --unit sp:0.0 --rw write --para 0 0x10100 --data 0x1234",
     "  sp:0.0    lmcr_mbcreg   bank 0 address 0x10100, 4 bytes  0x00001234\n"),
    # What a dead chip does not take is not written.
    ("cp_9A12_0101 --unit cpu:0.0 --machine dead-chip --rw write --para 0x0D --data 0x12345", ""),
]

# Macros whose every write is in the trace of the true run too: JTAG writes, with and without data, of one chip.
TRACED = [
    "cp_9A12_0101 --unit cpu:0.0 --rw write --para 0x0D --data 0x12345",
    "cp_9A20_0101 --unit cpu:0.0 --para 0x10000001",
]

# Comparisons of _DATA[0] = 0x12345: options, status, the last line printed.
ONE_DIFFERS = "mismatch: 1 of 1 word differs, first _DATA[0]: 0x00012345 instead of "
EXPECTATIONS = [
    ("--expect 0x12345", OK, "expected: 1 word is as expected"),
    ("--expect 0x12344", FAILED, f"{ONE_DIFFERS}0x00012344"),
    ("--expect 0x12345 0 5 --mask -1 0 7", FAILED,
     "mismatch: 1 of 3 words differ, first _DATA[2]: not written instead of 0x00000005 (mask 0x00000007)"),
    ("--expect kept.bin", OK, "expected: 1 word is as expected"),
    ("--expect kept.txt --repeat 3", OK, "repeat: 3 of 3 runs made, all passed"),
    ("--expect 1 --repeat 3", FAILED, "repeat: 1 of 3 runs made, the last did not pass"),
]

MISUSES = [
    (f"{READ} --mask 1", "--mask: there is nothing to compare; give --expect too"),
    (f"{READ} --expect 1 2 3 --mask 1 2", "--mask: 2 masks are given for 3 words; give one for all, or one for each"),
    (f"{READ} --expect nothing", "--expect: cannot read 'nothing': No such file or directory"),
    (f"{READ} --expect empty", "--expect: 'empty' keeps no words"),
    (f"{READ} --repeat 0", "--repeat: 0 is out of range; give 1 to 1000000"),
    (f"{READ} --data-in short", "--data-in: short: the file is cut short: 3 bytes are no whole number of 4-byte words"),
    (f"{READ} --data-in bad.txt", "--data-in: bad.txt:2:3: '0x1FFFFFFFF' is not a 32-bit word; give a decimal or 0x "
                                  "number from -2147483648 to 0xFFFFFFFF"),
    (f"{READ} --data-in short --data 1", "the words of _DATA are given twice: by --data and by --data-in; give one of them"),
    (f"{READ} --data-out no/f", "--data-out: cannot write 'no/f': No such file or directory"),
    (f"{READ} --state no/f", "--state: cannot write 'no/f': No such file or directory"),
    (f"{READ} --state .", "--state: cannot read '.': Is a directory"),
    (f"{READ} --state short", "--state: 'short': saved state, line 1: the text ends too early"),
]


def fill_the_disk():
    """Lets the program write no more than two bytes to a file."""
    resource.setrlimit(resource.RLIMIT_FSIZE, (2, 2))


class Files(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def run_host(self, arguments, **options):
        return mcrhost(arguments, cwd=self.folder, **options)

    def expect(self, arguments, status, printed=None):
        done = self.run_host(arguments)
        self.assertEqual((done.returncode, done.stderr), (status, ""), done.stdout)
        if printed is not None:
            self.assertEqual(done.stdout, printed)
        return done.stdout

    def names(self):
        return sorted(path.name for path in self.folder.iterdir())

    def test_commands_in_a_row_work_on_one_machine(self):
        self.expect(f"{WRITE} --state machine", OK)
        self.expect(f"{READ} --state machine", OK, READ_OUTPUT)
        self.assertNotEqual(self.expect(READ, OK), READ_OUTPUT)
        self.assertEqual(self.names(), ["machine"])

    def test_files_go_from_one_processor_to_another(self):
        self.expect(f"{WRITE} --state machine", OK)
        self.assertEqual((self.folder / "machine").read_bytes(), KEPT_STATE.encode())
        self.expect("ring save 0x56 ring --unit cpu:0.0", OK)
        self.assertEqual((self.folder / "ring").read_bytes(), bytes.fromhex(KEPT_RING))

    def test_a_link_and_permissions_stay(self):
        self.expect(f"{WRITE} --state machine", OK)
        (self.folder / "machine").chmod(0o600)
        (self.folder / "link").symlink_to("machine")
        self.expect("jtag write 0x41 1 --unit cpu --state link", OK)
        self.assertTrue((self.folder / "link").is_symlink())
        self.assertEqual((self.folder / "machine").stat().st_mode & 0o777, 0o600)
        self.assertIn("register control A", (self.folder / "machine").read_text())

    def test_a_state_that_does_not_fit_is_refused(self):
        self.expect(f"{WRITE} --state machine", OK)
        good = (self.folder / "machine").read_text()
        other = self.run_host(f"{READ} --state machine --machine large")
        self.assertEqual(other.returncode, USAGE)
        self.assertRegex(other.stderr, r"^mcrhost: --state: 'machine': saved state, line 2: the state is of another machine: ")
        lines = good.splitlines(keepends=True)
        for count in range(1, len(lines)):
            with self.subTest(lines=count):
                (self.folder / "machine").write_text("".join(lines[:count]))
                done = self.run_host(f"{READ} --state machine")
                self.assertEqual((done.returncode, done.stdout), (USAGE, ""))
                self.assertRegex(done.stderr, r"^mcrhost: --state: 'machine': saved state, line \d+: [^\n]+\n$")
                self.assertEqual((self.folder / "machine").read_text(), "".join(lines[:count]))

    def test_a_full_disk_leaves_files_as_they_were(self):
        for arguments, option in (
            (f"{WRITE} --state f", "--state"),
            (f"{READ} --data-out f", "--data-out"),
            ("jtag write 0x41 1 --unit cpu --state f", "--state"),
            ("ring save 0x56 f --unit cpu:0.0", "ring file"),
        ):
            with self.subTest(arguments):
                (self.folder / "f").unlink(missing_ok=True)
                done = self.run_host(arguments, preexec_fn=fill_the_disk, restore_signals=False)
                complaint = f"mcrhost: {option}: cannot write 'f': File too large\n"
                self.assertEqual((done.returncode, done.stdout, done.stderr), (USAGE, "", complaint))
                self.assertEqual(self.names(), [])

    def test_dry_runs_change_nothing(self):
        for arguments, lines in PLANS:
            with self.subTest(arguments):
                self.run_host("jtag write 0x41 1 --unit cpu:1 --state machine")
                before = (self.folder / "machine").read_bytes()
                state = "" if "--machine" in arguments else "--state machine"
                done = self.run_host(f"run {arguments} --dry-run {state}")
                count = lines.count("\n")
                writes = "1 write" if count == 1 else f"{count} writes"
                self.assertTrue(done.stdout.startswith(f"dry run: nothing is changed; {writes} would be made\n{lines}"
                                                       f"{arguments[:12]}  "), done.stdout)
                self.assertEqual((self.folder / "machine").read_bytes(), before)
        self.run_host(f"{WRITE} --dry-run --state fresh")
        self.assertEqual(self.names(), ["machine"])

    def test_a_dry_run_tells_what_the_true_run_writes(self):
        for arguments in TRACED:
            with self.subTest(arguments):
                true = self.run_host(f"run {arguments} --trace")
                made = re.findall(r"lmcr_m?jtag .*?(?:kind=0x([12]) )?code=0x(\w+) data=0x(\w+) .*-> 0x0{8}$", true.stderr, re.M)
                made = [(int(code, 16), None if kind == "2" else int(word, 16)) for kind, code, word in made
                        if kind or "lmcr_mjtag" in true.stderr]
                planned = json.loads(self.run_host(f"run {arguments} --dry-run --json").stdout)["dry_run"]["writes"]
                told = [(int(row["what"].split()[1].rstrip(","), 16), int(row["words"][0], 16) if row["words"] else None)
                        for row in planned if "jtag" in row["primitive"]]
                self.assertEqual(told, made)
                self.assertGreater(len(told), 0)

    def test_expectations(self):
        self.expect(f"{WRITE} --state machine", OK)
        for name in ("kept.bin", "kept.txt"):
            self.expect(f"{READ} --state machine --data-out {name}", OK)
        self.assertEqual((self.folder / "kept.bin").read_bytes(), bytes.fromhex("00012345"))
        self.assertEqual((self.folder / "kept.txt").read_text(), "0x00012345\n")
        for options, status, line in EXPECTATIONS:
            with self.subTest(options):
                printed = self.expect(f"{READ} --state machine {options}", status)
                self.assertEqual(printed.splitlines()[-1], line)
                report = json.loads(self.run_host(f"{READ} --state machine {options} --json").stdout)
                self.assertEqual(report["expect"]["differing"] == 0, status == OK)

    def test_repeated_runs_meet_a_fault_that_comes_later(self):
        (self.folder / "worn.toml").write_text(
            'base = "default"\nname = "worn"\n[[fault]]\nchip = "cpu:0.0"\nplace = "jtag 0xB1"\nkind = "dead"\nafter = 5\n'
        )
        printed = self.expect(f"{READ} --machine worn.toml --repeat 20", FAILED)
        self.assertIn("\nfailure: lmcr_jtag, code 0xB1, cpu:0.0: the chip does not answer (hardware error)\n", printed)
        self.assertTrue(printed.endswith("\nrepeat: 6 of 20 runs made, the last did not pass\n"), printed)

    def test_data_from_files(self):
        (self.folder / "in.bin").write_bytes(bytes.fromhex("00012345"))
        (self.folder / "in.txt").write_text("# the new value\n0x12345\n")
        for name in ("in.bin", "in.txt"):
            with self.subTest(name):
                (self.folder / "machine").unlink(missing_ok=True)
                self.expect(f"{WRITE.partition(' --data')[0]} --data-in {name} --state machine", OK)
                self.expect(f"{READ} --state machine", OK, READ_OUTPUT)

    def test_misuse(self):
        (self.folder / "short").write_bytes(b"\0\0\1")
        (self.folder / "empty").touch()
        (self.folder / "bad.txt").write_text("1 2 # 3\n  0x1FFFFFFFF\n")
        before = self.names()
        for arguments, complaint in MISUSES:
            with self.subTest(arguments):
                done = self.run_host(arguments)
                self.assertEqual((done.returncode, done.stdout, done.stderr), (USAGE, "", f"mcrhost: {complaint}\n"))
        self.assertEqual(self.names(), before)


if __name__ == "__main__":
    unittest.main()
