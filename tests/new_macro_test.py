"""setup/new-macro in a copy of the sources: what it makes builds, runs and passes as it is, and it refuses what is no name."""

import contextlib
import difflib
import json
import os
import pathlib
import re
import resource
import shlex
import shutil
import subprocess
import tempfile
import unittest
from concurrent.futures import ThreadPoolExecutor
from unittest import mock

import catalogue_test
from project import BUILD, SOURCE, declared_macros, mcrhost, output_of


def free(number):
    """The first test number from there on that no macro has."""
    taken = {int(name.split("_")[1], 16) for name in declared_macros()}
    return f"{next(n for n in range(number, 0x10000) if n not in taken):04X}"


# One for each prefix: between others of their section and their family, and at either end.
NAMES = (
    f"cp_{free(0x9A13)}_0101",
    f"cpj_{free(0x9F11)}_0101",
    f"ma_{free(0x9005)}_0101",
    f"sc_{free(0x9204)}_0101",
    f"xb_{free(0x9401)}_0101",
    f"io_{free(0x9687)}_0101",
    f"sp_{free(0x7FFF)}_0000",
)
UNUSED = free(0xE000)
FOLDERS = {"cp": "cpu", "cpj": "cpu", "ma": "mac", "sc": "sc", "xb": "xb", "io": "ioc", "sp": "scf"}
COPIED = ("include", "macrodebug", "catalogue", "tests", "setup")
# What a run reads on the simulated server, and what a value beyond the last gives.
READ = re.compile(r"^  value +0x[0-9A-F]{8}$", re.MULTILINE)
REFUSED = re.compile(r"^failure: parameter refused: the number is not 0 to \d+ \(sub-code -1\), value 0x00000064$", re.MULTILINE)

SHAPE = "is no name of a macro: prefix, four upper-case hexadecimal digits, four decimal digits, as in cp_9F10_0101"
REFUSALS = (
    ((), "one name is needed, as in setup/new-macro cp_9F10_0101"),
    (("cp_9F20_0101", "cp_9F21_0101"), "one name is needed, as in setup/new-macro cp_9F10_0101"),
    (("",), f"'' {SHAPE}"),
    (("--name",), f"'--name' {SHAPE}"),
    (("cp_9f20_0101",), f"'cp_9f20_0101' {SHAPE}"),
    (("cp_9F2_0101",), f"'cp_9F2_0101' {SHAPE}"),
    (("cp_9F20_01A1",), f"'cp_9F20_01A1' {SHAPE}"),
    (("cp_9F20_0101.cpp",), f"'cp_9F20_0101.cpp' {SHAPE}"),
    (("cp_9F20_0101\n",), rf"'cp_9F20_0101\n' {SHAPE}"),
    (("../cp_9F20_0101",), f"'../cp_9F20_0101' {SHAPE}"),
    (("dd_9F20_0101",), "'dd_9F20_0101': there is no prefix 'dd'; there are cp, cpj, ma, sc, xb, io, sp"),
    (("cp_9A10_0101",), "there is a macro cp_9A10_0101 already"),
    (("cp_9A10_0102",), "'cp_9A10_0102': 9A10 is the number of cp_9A10_0101, and macros call one another by number"),
    (("sc_9A10_0101",), "'sc_9A10_0101': 9A10 is the number of cp_9A10_0101, and macros call one another by number"),
    (("cp_1A34_0101",), "'cp_1A34_0101': 1A34 is the number of a macro of the machine, which macros call"),
    (("xb_1488_0101",), "'xb_1488_0101': 1488 is the number of a macro of the machine, which macros call"),
)

stack = contextlib.ExitStack()
COPY = pathlib.Path()
LIBRARY = pathlib.Path()
MADE = []


def setUpModule():
    global COPY, LIBRARY, MADE
    unittest.addModuleCleanup(stack.close)
    folder = pathlib.Path(stack.enter_context(tempfile.TemporaryDirectory()))
    COPY = folder / "sources"
    for name in COPIED:
        shutil.copytree(SOURCE / name, COPY / name, ignore=shutil.ignore_patterns("__pycache__"))
    MADE = [output_of(COPY / "setup" / "new-macro", name) for name in NAMES]
    LIBRARY = build_library(folder)
    # The mcrhost that was built, with the library and the catalogue of the copy.
    command = folder / "mcrhost"
    command.write_text(
        f'#!/bin/sh\nMACRODEBUG_LIBRARY={LIBRARY} exec {os.environ["MCRHOST"]} "$@" --catalogue {COPY}/catalogue\n'
    )
    command.chmod(0o755)
    stack.enter_context(mock.patch.dict(os.environ, MCRHOST=str(command)))


def source_of(name):
    return COPY / "macrodebug" / FOLDERS[name.split("_")[0]] / f"{name}.cpp"


def compile_as(like, source, into, *more):
    """Compiles a source of the copy as the build compiles one of its own."""
    row = next(row for row in build_rows() if row["file"] == str(SOURCE / like))
    words = [word.replace(f"{SOURCE}/", f"{COPY}/") if word.startswith("-I") else word for word in shlex.split(row["command"])]
    # What is not copied is as it was.
    output_of(*words[: words.index("-o")], *more, "-I", SOURCE, "-o", into, "-c", source)
    return into


def build_rows():
    return json.loads((BUILD / "compile_commands.json").read_text())


def build_library(folder):
    """The macro library with the new macros: those that there were are as the build made them."""
    words = (shlex.split(row["command"]) for row in build_rows() if row["file"].startswith(f"{SOURCE}/macrodebug/"))
    objects = [BUILD / command[command.index("-o") + 1] for command in words]
    with ThreadPoolExecutor(os.cpu_count()) as pool:
        objects += pool.map(
            lambda name: compile_as("macrodebug/cpu/cp_9A10_0101.cpp", source_of(name), folder / f"{name}.o"), NAMES
        )
    library = folder / "libmacrodebug.so"
    output_of(
        os.environ["CXX"], "-shared", "-nostdlib", "-Wl,-z,defs", f"-Wl,--version-script={COPY}/macrodebug/exports.map",
        "-o", library, *objects, os.environ["SCDB_LIBRARY"],
    )
    return library


def contents():
    return {path: path.read_bytes() for path in COPY.rglob("*") if path.is_file()}


def new_macro(*arguments, **options):
    command = [str(COPY / "setup" / "new-macro"), *arguments]
    done = subprocess.run(command, capture_output=True, text=True, check=False, **options)
    return done.returncode, done.stdout, done.stderr


class Files(unittest.TestCase):
    def test_it_says_what_it_made(self):
        for name, said in zip(NAMES, MADE):
            paths = re.findall(r"^  ((?:include|macrodebug|catalogue|tests)/\S+)  ", said, re.MULTILINE)
            self.assertEqual(len(paths), 4)
            for path in paths:
                with self.subTest(name, path=path):
                    self.assertIn(name, (COPY / path).read_text())

    def test_what_was_there_stays(self):
        for folder in COPIED:
            for path in (path for path in (SOURCE / folder).rglob("*") if path.suffix in (".h", ".hpp", ".toml")):
                after = (COPY / path.relative_to(SOURCE)).read_text().splitlines()
                changes = list(difflib.unified_diff(path.read_text().splitlines(), after, n=0, lineterm=""))[2:]
                with self.subTest(path.name):
                    self.assertEqual([line for line in changes if line.startswith("-")], [])

    def test_declarations_stand_in_order(self):
        sections = (COPY / "include" / "macrodebug.h").read_text().split("\n\n")
        declared = [re.findall(r"^extern macro_entry (\w+);", section, re.MULTILINE) for section in sections]
        self.assertEqual(declared, [sorted(section) for section in declared])
        self.assertLessEqual(set(NAMES), {name for section in declared for name in section})

    def test_entries_stand_in_order(self):
        for family in ("cpu-registers", "dimm", "service-processor"):
            text = (COPY / "catalogue" / f"{family}.toml").read_text()
            entries = re.findall(r'^name = "(\w+_\w{4}_\d{4})"', text, re.MULTILINE)
            with self.subTest(family):
                self.assertTrue(set(entries) & set(NAMES))
                self.assertEqual(entries, sorted(entries))

    def test_identification(self):
        form = r'"MACRO: (\w+) \(0001\)  \d{4}\.\d\d\.\d\d \d\d:\d\d:\d\d  PRO1 macrodebug"'
        self.assertEqual([re.findall(form, source_of(name).read_text()) for name in NAMES], [[name] for name in NAMES])


class Runs(catalogue_test.Catalogue):
    """The new macros are as their entries say, on the simulated server."""

    entries = ()
    test_every_macro_has_one_entry = None

    @classmethod
    def setUpClass(cls):
        cls.entries = [entry for entry in catalogue_test.catalogue(COPY) if entry["name"] in NAMES]

    def test_shown_read_and_refused(self):
        self.assertEqual({entry["name"] for entry in self.entries}, set(NAMES))
        for entry in self.entries:
            with self.subTest(entry["name"]):
                self.assertIn(f"{entry['name']}: {entry['title']}\n", mcrhost(f"show {entry['name']}").stdout)
                # As it is told to run it.
                said = next(text for name, text in zip(NAMES, MADE) if name == entry["name"])
                good = mcrhost(re.search(r" \./mcrhost (run .*)", said)[1])
                self.assertEqual((good.returncode, good.stderr), (0, ""))
                self.assertRegex(good.stdout, READ)
                bad = mcrhost(f"run {entry['name']} --para 100 --unit {entry['unit']}:0.0")
                self.assertEqual(bad.returncode, 1)
                self.assertRegex(bad.stdout, REFUSED)


class Rows(unittest.TestCase):
    def test_every_call_and_access_fails(self):
        """The loops over all macros, with the tables of the copy."""
        with tempfile.TemporaryDirectory() as name:
            folder = pathlib.Path(name)
            more = ("-O0", "-g0", "-UMACRO_LIBRARY", f'-DMACRO_LIBRARY="{LIBRARY}"')
            with ThreadPoolExecutor(os.cpu_count()) as pool:
                objects = list(pool.map(
                    lambda source: compile_as(source, COPY / source, folder / f"{pathlib.Path(source).stem}.o", *more),
                    ("tests/failure_loop_test.cpp", "tests/support/stage.cpp"),
                ))
            program = folder / "failure_loop_test"
            output_of(os.environ["CXX"], *objects, BUILD / "lib" / "libsupport.a", "-lgtest_main", "-lgtest",
                      os.environ["SCDB_LIBRARY"], f"-Wl,-rpath,{BUILD / 'lib'}", "-o", program)
            said = output_of(program, "--gtest_filter=-*/arrays:*/clock:*/memory_ports")
            for family in ("cpu_registers", "dimm", "system_controller", "crossbar", "ioc_scf"):
                self.assertRegex(said, rf"OK \] .*/{family} ")
            self.assertRegex(said, r"OK \] Cases\.EveryMacroHasOne ")


class Refusals(unittest.TestCase):
    def expect_refused(self, arguments, why, **options):
        before = contents()
        self.assertEqual(new_macro(*arguments, **options), (2, "", f"setup/new-macro: {why}\n"))
        self.assertTrue(contents() == before, "files have changed")

    def test_names(self):
        for arguments, why in REFUSALS:
            with self.subTest(arguments):
                self.expect_refused(arguments, why)

    def test_files_that_are_not_as_they_should_be(self):
        for path, old, why in (
            ("include/macrodebug.h", "/** Crossbar. */", "include/macrodebug.h has no section 'Crossbar.'"),
            ("tests/cases_xb.hpp", "\n  };\n}", "tests/cases_xb.hpp has no one table that ends with '};'"),
            ("catalogue/dimm.toml", "title = ",
             "catalogue/dimm.toml: Expected '=' after a key in a key/value pair (at line 1, column 48)"),
        ):
            text = (COPY / path).read_text()
            self.assertIn(old, text)
            with self.subTest(path):
                (COPY / path).write_text(text.replace(old, "", 1))
                try:
                    self.expect_refused([f"xb_{UNUSED}_0101"], why)
                finally:
                    (COPY / path).write_text(text)

    def test_a_file_that_cannot_be_written(self):
        """The first file is short enough, the second is not: neither is left."""
        def shorten():
            resource.setrlimit(resource.RLIMIT_FSIZE, (4096, 4096))

        self.expect_refused([f"sc_{UNUSED}_0101"], "include/macrodebug.h: File too large", preexec_fn=shorten)

    def test_help(self):
        status, said, complaint = new_macro("--help")
        self.assertEqual((status, complaint), (0, ""))
        self.assertIn("usage: setup/new-macro NAME\n", said)


if __name__ == "__main__":
    unittest.main()
