"""The sessions that the README shows are what the program prints."""

import os
import re
import shlex
import subprocess
import unittest

from project import SOURCE


def sessions():
    """Each command of the README's sessions, with the lines that follow it."""
    for block in re.findall(r"^```\n(\$ .*?)^```$", (SOURCE / "README.md").read_text(), re.MULTILINE | re.DOTALL):
        for part in re.split(r"^\$ ", block, flags=re.MULTILINE)[1:]:
            command, _, shown = part.partition("\n")
            yield command, shown


class Readme(unittest.TestCase):
    def test_sessions(self):
        ran = 0
        status = None
        for command, shown in sessions():
            with self.subTest(command=command):
                if command == "echo $?":
                    self.assertEqual(shown, f"{status}\n")
                    continue
                program, *arguments = shlex.split(command)
                self.assertEqual(program, "./mcrhost")
                done = subprocess.run(
                    [os.environ["MCRHOST"], *arguments], capture_output=True, text=True, check=False
                )
                status = done.returncode
                self.assertEqual(done.stderr + done.stdout, shown)
                ran += 1
        self.assertGreaterEqual(ran, 3)


if __name__ == "__main__":
    unittest.main()
