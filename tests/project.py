"""What the tests of the build have in common: where things lie, and what the interface headers declare."""

import os
import pathlib
import re
import shlex
import subprocess

SOURCE = pathlib.Path(os.environ["SOURCE_DIR"])
BUILD = pathlib.Path(os.environ["BUILD_DIR"])
INCLUDE = SOURCE / "include"


def run(*command, text="", **environment):
    """Runs a command; returns its exit status and all that it wrote.  A command that does not exist is an error."""
    done = subprocess.run(
        [str(word) for word in command],
        input=text,
        stdout=subprocess.PIPE,
        stderr=subprocess.STDOUT,
        text=True,
        env=os.environ | environment,
        check=False,
    )
    return done.returncode, done.stdout


def output_of(*command, **environment):
    """What a command that must succeed wrote."""
    status, text = run(*command, **environment)
    if status != 0:
        raise AssertionError(f"{' '.join(map(str, command))}: status {status}\n{text}")
    return text


def mcrhost(arguments, **options):
    """Runs mcrhost with the arguments of a command line, as subprocess.run() does; the library is the one built."""
    environment = {name: value for name, value in os.environ.items() if name != "MACRODEBUG_LIBRARY"}
    command = [os.environ["MCRHOST"], *shlex.split(arguments)]
    return subprocess.run(command, capture_output=True, text=True, check=False, env=environment, **options)


def _code_of(header):
    return re.sub(r"/\*.*?\*/", "", (INCLUDE / header).read_text(), flags=re.DOTALL)


def declared_primitives():
    """The functions and globals of libscdb that its interface header declares."""
    code = _code_of("libscfjtag.h")
    return set(re.findall(r"\b(lmcr_\w+)\s*\(", code)) | set(re.findall(r"^extern macro_word (\w+)", code, re.MULTILINE))


def declared_macros():
    return set(re.findall(r"^extern macro_entry (\w+);", _code_of("macrodebug.h"), re.MULTILINE))


def declared_placeholders():
    return set(re.findall(r"^int (\w+)\(void\);", _code_of("macrodebug.h"), re.MULTILINE))
