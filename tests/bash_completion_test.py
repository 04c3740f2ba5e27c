"""bash offers what the program completes a line with."""

import os
import shlex
import subprocess
import unittest

from project import SOURCE, mcrhost

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
    def test_program(self):
        for line, candidates in (("ring s", ["show ", "set ", "save "]), ("list # comment ", [])):
            with self.subTest(line):
                done = mcrhost(f"complete {shlex.quote(line)}")
                self.assertEqual((done.returncode, done.stdout.splitlines(), done.stderr), (0, candidates, ""))

    def test_bash(self):
        for line, candidates in IN_BASH:
            with self.subTest(line):
                script = COMPLETE.format(script=SOURCE / "packaging" / "completion.bash", line=shlex.quote(line),
                                         point=len(line), program=shlex.quote(os.environ["MCRHOST"]))
                done = subprocess.run(["bash", "--norc", "-c", script], capture_output=True, text=True, check=False)
                self.assertEqual((done.stdout.splitlines(), done.stderr), (candidates, ""))


if __name__ == "__main__":
    unittest.main()
