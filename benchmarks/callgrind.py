"""Instruction counts of the benchmark programs, taken by callgrind."""
import collections
import os
import re
import subprocess
import sys
import tempfile
from pathlib import Path


class Count:
    """Instructions of one counted call: in all, of each object itself, and the calls that objects made into others.

    Where calls were going on when counting began, callgrind may charge an object with what they cost before; the sum of
    all is right even then.
    """

    def __init__(self, dump):
        self.total = int(re.search(r"^summary: (\d+)", dump, re.M)[1])
        self.own = collections.Counter()
        self.calls = collections.Counter()
        caller = callee = ""
        skip = False
        for line in dump.splitlines():
            if line.startswith("ob="):
                caller = Path(line[3:]).name.split(".so")[0]
            elif line.startswith("cob="):
                callee = Path(line[4:]).name.split(".so")[0]
            elif line.startswith("cfn="):
                function = line[4:]
            elif line.startswith("calls="):
                # Without cob= the callee lies in the same object.  The next line is what the call cost in all.
                if callee:
                    calls = int(line[6:].split()[0])
                    self.calls[caller, function] += calls
                    # The jump through the linkage table is charged to the caller twice.
                    self.own[caller] -= calls
                callee, skip = "", True
            elif line[:1].isdigit():
                if not skip:
                    self.own[caller] += int(line.split()[1])
                skip = False

    def calls_of(self, caller):
        """How often an object called each function of others."""
        return {function: calls for (by, function), calls in self.calls.items() if by == caller}


def run(arguments, out, **settings):
    command = ["valgrind", "--tool=callgrind", "--compress-strings=no", "--compress-pos=no",
               f"--callgrind-out-file={out}", *map(str, arguments)]
    done = subprocess.run(command, capture_output=True, text=True, env=os.environ | settings)
    if done.returncode != 0:
        sys.exit(f"{' '.join(command)}: status {done.returncode}\n{done.stderr}")
    return done


def counts(program):
    """The counted calls of a benchmark program by their names."""
    with tempfile.TemporaryDirectory() as folder:
        # All symbols are bound at the start: no count should have the binding of one in it.
        run([program], f"{folder}/out", LD_BIND_NOW="1")
        found = {}
        for dump in Path(folder).iterdir():
            text = dump.read_text()
            name = re.search(r"^desc: Trigger: Client Request: (.*)$", text, re.M)
            if name:
                found[name[1]] = Count(text)
        return found


def whole_process(*arguments):
    """Instructions of a process from its start to its end."""
    return int(re.search(r"Collected : (\d+)", run(arguments, "/dev/null").stderr)[1])
