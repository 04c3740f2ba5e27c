"""What must not compile, next to what must: dropped statuses, ring fields that are none, and steps of an array macro
under a wrong name; with both compilers."""

import json
import os
import pathlib
import re
import shlex
import tempfile
import unittest

from project import BUILD, INCLUDE, SOURCE, run

COMPILERS = ("g++", "clang++")
STRICT = ("-std=c++20", "-Wall", "-Wextra", "-Wpedantic", "-Wshadow", "-Wconversion", "-Werror")
FOLDERS = ("-I", INCLUDE, "-I", SOURCE, "-I", SOURCE / "macrodebug")

# Calls whose answer is the only word on whether to go on, each a member function's body under these declarations.
STATUSES = {
    '#include "frame/frame.hpp"\nstruct Body : frame::Frame {': (
        "running()",
        "ended(true)",
        "write(0xB0, 1)",
        "read(0xB1, _DATA[0])",
        "instruct(0xD8)",
        "call(frame::READ, 0x9A10, _PARA, _DATA)",
        "call(frame::READ, 0x9A10, _PARA, _DATA, _DUMMY)",
    ),
    '#include "frame/broadcast.hpp"\nstruct Body : frame::BroadcastFrame {': (
        "write_all(0xB0, 1)",
        "write_boards(3, 0xB0, 1)",
        "read_chip(1, 0x100, 0xB1, _DATA[0])",
        "check_broadcast(2)",
    ),
    '#include "frame/scan.hpp"\nstruct Body : frame::ScanFrame {\n'
    "static constexpr auto BIT = frame::field(1, frame::bit(5));": (
        "open_ring(0x3C)",
        "read_ring(0x3C)",
        "write_ring(0x3C)",
        "close_ring(0x3C)",
        "insert(BIT, 1)",
        "extract(BIT, _DATA[0])",
        "extract_untested(BIT)",
        "BIT.at(5)",
    ),
    '#include "mac/register_file.hpp"\nstruct Body : mac::RegisterFile {': (
        "get(1, _DATA[0])",
        "put(1, 0)",
        "nest(frame::READ, 0x9000, _PARA, _DATA)",
    ),
    '#include "xb/crossbar.hpp"\nstruct Body : xb::Crossbar {': ("check_unit(true)",),
    '#include "scdb/session.hpp"\n#include "scdb/record.hpp"\n#include "scdb/macros.hpp"\n'
    "struct Body {\nscdb::Machine &machine; macro_word word;": (
        "machine.jtag({}, scdb::JtagAccess::read, 0xB1, word)",
        "scdb::restore_open_rings()",
        "scdb::read_failure({})",
        "scdb::Outcome::failure(scdb::Reason::dead_chip)",
        'scdb::open_machine("default")',
    ),
}
# What only clang sees dropped: the answer of a chain or a virtual function, and objects that have to be kept or thrown.
FOR_CLANG = {
    '#include "frame/frame.hpp"\nstruct Body : frame::Frame {': ("write(0xB0, 1) && read(0xB1, _DATA[0])",),
    '#include "scdb/session.hpp"\n#include "scdb/macros.hpp"\n'
    "struct Body {\nscdb::Observer &observer; scdb::Call call;": (
        'scdb::MachineError("never thrown")',
        'scdb::LibraryError("never thrown")',
        "scdb::Observing{observer}",
        "observer.before(call)",
    ),
    '#include "engine/text/error.hpp"\n#include "engine/catalogue/expression.hpp"\nstruct Body {': (
        'engine::InputError("never thrown")',
        'engine::ExpressionError("never thrown")',
    ),
}

# A field that is one, one that is none, and the function that says why.
FIELDS = (
    ("ring_bit(0x1FF, 0)", "ring_bit(0x200, 0)", "a_ring_code_has_9_bits"),
    ("ring_bit(0x3C, 65535)", "ring_bit(0x3C, 65536)", "a_position_lies_in_the_scan_buffer"),
    ("bit(0x01E00064)", "bit(0x11E00064)", "a_single_bit_has_no_run_length"),
    ("run(0x01E00064, 16)", "run(0x01E00064, 17)", "a_run_has_1_to_16_bits"),
    ("run(0x01E00064, 1)", "run(0x01E00064, 0)", "a_run_has_1_to_16_bits"),
    ("run(0x01E00064, 2)", "run(0x11E00064, 2)", "a_run_has_1_to_16_bits"),
    ("field(7, descending<3>(0x01E00064))", "field(7, descending<2>(0x01E00064))", "as_many_ring_bits_as_its_mask_has"),
    ("field(0xF0, run(0x01E00064, 4))", "field(0xF0, run(0x01E00064, 5))", "as_many_ring_bits_as_its_mask_has"),
    ("field(0xFF, run(65528, 8))", "field(0xFF, run(65529, 8))", "a_field_lies_in_the_scan_buffer"),
    ("field(0xFF, descending<8>(7))", "field(0xFF, descending<8>(6))", "a_field_lies_in_the_scan_buffer"),
    ("field(1, bit(65534)).at(1)", "field(1, bit(65534)).at(2)", "a_field_lies_in_the_scan_buffer"),
    ("field(3, bit(0x1E00064), bit(0x1E00065))", "field(3, bit(0x1E00064), bit(0x1E80065))", "field_lies_in_one_ring"),
    ("field(3, bit(0x01E00064), bit(0x01E00065))", "field(3, bit(0x01E00064), bit(0x01E00064))", "each_ring_bit_once"),
    ("field(0x1F, run(8, 4), bit(12))", "field(0x1F, run(8, 4), bit(11))", "each_ring_bit_once"),
)


def commands(declarations):
    """How to compile what comes on standard input: with both compilers, and what macros include as the build does."""
    for compiler in COMPILERS:
        yield (compiler, *STRICT, *FOLDERS)
    if "frame::" not in declarations:
        return
    rows = json.loads((BUILD / "compile_commands.json").read_text())
    row = next(row for row in rows if row["file"].endswith("macrodebug/cpu/cp_9A10_0101.cpp"))
    words = shlex.split(row["command"])
    yield (*(word for word in words[: words.index("-o")] if word != "-c"), *FOLDERS)


def errors(command, declarations, statements):
    """Compiles statements, each in a function of its own: the first error of each, and all that the compiler said."""
    functions = [f'#line 1 "row {n}"\nvoid f{n}() {{ {text}; }}' for n, text in enumerate(statements)]
    text = "\n".join([declarations, *functions, "};\n"])
    _, said = run(*command, "-fsyntax-only", "-x", "c++", "-", text=text)
    found = [re.search(rf"^row {n}:1:.* error: (.*)", said, re.MULTILINE) for n in range(len(statements))]
    return [match.group(1) if match else "" for match in found], said


class Statuses(unittest.TestCase):
    def check(self, command, declarations, calls):
        kept = [f"[[maybe_unused]] const auto &kept = {call}" for call in calls]
        with self.subTest(compiler=command[0], declarations=declarations):
            self.assertEqual(errors(command, declarations, kept)[1], "")
        for call, error in zip(calls, errors(command, declarations, calls)[0]):
            with self.subTest(compiler=command[0], dropped=call):
                self.assertRegex(error, "unused|nodiscard")

    def test_one_that_is_dropped_does_not_compile(self):
        for declarations, calls in STATUSES.items():
            for command in commands(declarations):
                self.check(command, declarations, calls)

    def test_nor_with_clang_what_it_alone_sees(self):
        for declarations, calls in FOR_CLANG.items():
            for command in commands(declarations):
                if "clang" in command[0]:
                    self.check(command, declarations, calls)


class RingFields(unittest.TestCase):
    DECLARATIONS = '#include "frame/scan.hpp"\nusing namespace frame;\nstruct Body {'

    def test_what_is_none_does_not_compile(self):
        for command in commands("frame::"):
            good = [f"[[maybe_unused]] constexpr auto made = {good}" for good, _, _ in FIELDS]
            self.assertEqual(errors(command, self.DECLARATIONS, good)[1], "")
            for _, bad, reason in FIELDS:
                with self.subTest(compiler=command[0], field=bad):
                    _, said = errors(command, self.DECLARATIONS, [f"[[maybe_unused]] constexpr auto made = {bad}"])
                    self.assertRegex(said, rf"non-.?constexpr.? function .*{reason}")


class ArraySteps(unittest.TestCase):
    """A step that is misspelt is not the default one."""

    FOLDER = SOURCE / "macrodebug/cpu"
    TEXTS = {file.name: file.read_text() for file in sorted(FOLDER.glob("*.?pp"))}

    def resting_on(self, header):
        """The names of the files that include a header, themselves or through others, and of the header."""
        reached, grown = set(), {header}
        while grown != reached:
            reached = set(grown)
            lines = [f'#include "cpu/{name}"' for name in reached]
            grown |= {name for name, text in self.TEXTS.items() if any(line in text for line in lines)}
        return reached

    def compiled(self, compiler, file, changed):
        """What a compiler says of all macros that rest on a file, with its text changed."""
        with tempfile.TemporaryDirectory() as folder:
            overlay = pathlib.Path(folder) / "cpu" / file
            overlay.parent.mkdir()
            overlay.write_text(changed)
            texts = self.TEXTS | {file: changed}
            macros = "".join(texts[name] for name in sorted(self.resting_on(file)) if name.endswith(".cpp"))
            macros = re.sub("^IDENTIFICATION.*", "", macros, flags=re.MULTILINE)
            command = (compiler, "-std=c++20", "-I", folder, *FOLDERS, "-fsyntax-only", "-x", "c++", "-")
            return run(*command, text=macros)[1]

    def test_a_misspelt_one_does_not_compile(self):
        steps = self.TEXTS["array.hpp"].split(" protected:")[1]
        names = re.findall(r"^  \[\[nodiscard\]\] \w+ (\w+)\(", steps, re.MULTILINE)
        definition = re.compile(rf"(?<=\[\[nodiscard\]\] )(?:bool|macro_word) (?:{'|'.join(names)})(?=\()")
        misspelt = 0
        for file in sorted(self.resting_on("array.hpp") - {"array.hpp"}):
            text = self.TEXTS[file]
            for match in definition.finditer(text):
                compiler = COMPILERS[misspelt % len(COMPILERS)]
                misspelt += 1
                with self.subTest(compiler=compiler, file=file, step=match.group()):
                    said = self.compiled(compiler, file, f"{text[: match.end()]}s{text[match.end() :]}")
                    self.assertRegex(said, "error: .*(protected|no member)")
        self.assertGreater(misspelt, 2 * len(names))
        for compiler in COMPILERS:
            self.assertEqual(self.compiled(compiler, "array.hpp", self.TEXTS["array.hpp"]), "")


if __name__ == "__main__":
    unittest.main()
