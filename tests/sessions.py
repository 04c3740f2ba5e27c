"""Documents that show sessions: blocks of commands, each after "$ ", and what they print.

A block that names a file, such as ```toml bench.toml, is that file.  The commands of a document run in order, by the
shell, in one folder that is empty at the start.  One that does not end with 0 is followed by `echo $?`.

    python3 sessions.py MCRHOST DOCUMENT    shows in the document what its commands print now
"""

import os
import pathlib
import re
import subprocess
import sys
import tempfile

BLOCK = re.compile(r"^```([^\n]*)\n(.*?)^```$", re.MULTILINE | re.DOTALL)


class Shell:
    """A folder in which mcrhost is found by its name alone."""

    def __init__(self, program, folder):
        self.folder = pathlib.Path(folder)
        self.status = 0
        (self.folder / "mcrhost").symlink_to(pathlib.Path(program).resolve())
        self.environment = {name: value for name, value in os.environ.items() if name != "MACRODEBUG_LIBRARY"}
        self.environment["PATH"] = f"{folder}:{self.environment['PATH']}"

    def run(self, command):
        """All that a command prints; `$?` in it is what the one before it ended with."""
        done = subprocess.run(
            ["sh", "-c", f"(exit {self.status})\n{command}"],
            stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT,
            text=True,
            check=False,
            cwd=self.folder,
            env=self.environment,
        )
        self.status = done.returncode
        return done.stdout


def replayed(document, program):
    """The document with what its commands print now, the commands, and those whose failure it does not show."""
    commands = []
    silent = []
    with tempfile.TemporaryDirectory() as folder:
        shell = Shell(program, folder)

        def replay(block):
            info, text = block.groups()
            _, _, name = info.partition(" ")
            if name:
                (shell.folder / name).write_text(text)
            if name or not text.startswith("$ "):
                return block.group()
            shown = ""
            for command in re.findall(r"^\$ (.*)$", text, re.MULTILINE):
                if shell.status != 0 and command != "echo $?":
                    silent.append(commands[-1])
                shown += f"$ {command}\n{shell.run(command)}"
                commands.append(command)
            return f"```{info}\n{shown}```"

        return BLOCK.sub(replay, document), commands, silent


def check(test, path, least):
    """In a unittest: the document shows at least so many commands, and exactly what they print."""
    document = path.read_text()
    printed, commands, silent = replayed(document, os.environ["MCRHOST"])
    test.maxDiff = None
    test.assertEqual(silent, [], "these do not end with 0, and no 'echo $?' shows that")
    test.assertGreaterEqual(len(commands), least)
    test.assertEqual(
        printed,
        document,
        f"{path.name} does not show what its commands print; to renew it: "
        f"python3 tests/sessions.py {os.environ['MCRHOST']} {path.name}",
    )


def renew(program, path):
    path = pathlib.Path(path)
    path.write_text(replayed(path.read_text(), program)[0])


if __name__ == "__main__":
    renew(*sys.argv[1:])
