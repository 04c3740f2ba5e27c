"""What the completion of the shell offers, and that bash offers the same."""

import os
import pathlib
import shlex
import subprocess
import tempfile
import unittest

from project import SOURCE, mcrhost

# A line up to the cursor, and all that it can go on with; a finished word ends with a blank.
LINES = [
    ("ri", ["ring "]),
    ("mcrhost ring s", ["show ", "set ", "save "]),
    ("ring show --tr", ["--trace "]),
    ("ring bogus ", []),
    # Options that are not given yet, and those that can be given again.
    ("units --", ["--help ", "--machine ", "--json "]),
    ("list --json --library x --l", ["--library "]),
    ("list --library=x --json --j", []),
    ("i2c read 4 --mode ", ["2 ", "3 "]),
    ("run cp_9A12_0101 -- --", []),
    # Macros: by name, and by the number that only one has.
    ("show cp_9A12", ["cp_9A12_0101 "]),
    ("run 9A12", ["9A12 "]),
    ("run --unit cpu cp_9A12", ["cp_9A12_0101 "]),
    ("run cp_9A12_0101 --library /no/such/file g", []),
    # Units of the machine.
    ("units ", ["cpu:", "mac:", "sc:", "xb:", "ioc:", "sp:"]),
    ("units --machine large cpu:1", ["cpu:1.0 ", "cpu:1.1 ", "cpu:1.2 ", "cpu:1.3 ",
                                     "cpu:10", "cpu:11", "cpu:12", "cpu:13", "cpu:14", "cpu:15"]),
    ("run 9A10 --unit cpu:", ["cpu:0", "cpu:1"]),
    ("run 9A10 --unit=cpu:0.", ["--unit=cpu:0.0 ", "--unit=cpu:0.1 "]),
    ("run 9A10 --unit cpu:0,1.0,", ["cpu:0,1.0,0 ", "cpu:0,1.0,1 "]),
    ("run 9A10 --unit cpu:0.0+", ["cpu:0.0+0", "cpu:0.0+1"]),
    ("run 9A10 --unit cpu:*.", ["cpu:*.0 ", "cpu:*.1 "]),
    ("run 9A10 --unit gpu:", []),
    # Directions, fields and values of the macro.
    ("run cp_9A12_0101 --rw ", ["read ", "write "]),
    ("run cp_9A12_0101 ", ["group=", "index=", "value="]),
    ("run cp_9A12_0101 --unit cpu:0.0 group=1 --rw read ", ["index="]),
    ("run --rw write cp_9A12_0101 group=1 index=2 ", ["value="]),
    ("run cp_9AEC_0101 core=", ["core=go ", "core=held "]),
    ("run cp_9AF1_0101 domains=", ["domains=a", "domains=b", "domains=all ", "domains=none "]),
    ("run cp_9AF1_0101 domains=a+", ["domains=a+b"]),
    # Rings: of the unit, where one is given before.
    ("ring show 0x5", ["0x56 ", "0x5C "]),
    ("ring show --unit sc 0x9", [f"0x9{digit} " for digit in "0123456789F"]),
    # Files and machines.
    ("run 9A10 --state ", ["bench.state ", "kept\\ words.txt ", "plans/"]),
    ("run 9A10 --expect kept", ["kept\\ words.txt "]),
    ("run 9A10 --expect 'kept w", ["'kept words.txt' "]),
    ("run 9A10 --trace=pl", ["--trace=plans/"]),
    ("ring restore 0x56 plans/", ["plans/up.toml "]),
    ("run 9A10 --catalogue ", ["plans/"]),
    ("list --machine d", ["dead-chip ", "default "]),
    ("list # comment ", []),
]

# Lines as bash splits them at its own breaks, and what it takes for the last word.
IN_BASH = [
    ("mcrhost run 9A10 --unit cpu:0.", ["0.0 ", "0.1 "]),
    ("mcrhost run cp_9AEC_0101 core=h", ["held "]),
    ("mcrhost ring sa", ["save "]),
]

COMPLETE = """
source {script}
COMP_LINE={line} COMP_POINT={point}
$(complete -p mcrhost | sed 's/.*-F \\([^ ]*\\) .*/\\1/') {program} '' ''
printf '%s\\n' "${{COMPREPLY[@]}}"
"""


class Completion(unittest.TestCase):
    def test_lines(self):
        with tempfile.TemporaryDirectory() as folder:
            for name in ("bench.state", "kept words.txt", ".hidden"):
                pathlib.Path(folder, name).touch()
            pathlib.Path(folder, "plans").mkdir()
            pathlib.Path(folder, "plans", "up.toml").touch()
            for line, candidates in LINES:
                with self.subTest(line):
                    done = mcrhost(f"complete {shlex.quote(line)}", cwd=folder)
                    self.assertEqual((done.returncode, done.stderr), (0, ""))
                    self.assertEqual(done.stdout.splitlines(), candidates)

    def test_bash(self):
        for line, candidates in IN_BASH:
            with self.subTest(line):
                script = COMPLETE.format(script=SOURCE / "packaging" / "completion.bash", line=shlex.quote(line),
                                         point=len(line), program=shlex.quote(os.environ["MCRHOST"]))
                done = subprocess.run(["bash", "--norc", "-c", script], capture_output=True, text=True, check=False)
                self.assertEqual((done.stdout.splitlines(), done.stderr), (candidates, ""))


if __name__ == "__main__":
    unittest.main()
