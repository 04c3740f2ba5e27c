"""What the sources promise: who includes whom, and headers for C and C++."""

import os
import re
import unittest

from project import INCLUDE, SOURCE, run

C_COMPILERS = sorted({"gcc", "clang", os.environ["CC"]})
CPP_COMPILERS = sorted({"g++", "clang++", os.environ["CXX"]})
PUBLIC_SCDB = {os.path.relpath(header, SOURCE) for header in os.environ["PUBLIC_HEADERS"].split(":")}
STRICT = ("-Wall", "-Wextra", "-Wpedantic", "-Wshadow", "-Wconversion", "-Werror", "-fsyntax-only")
MACHINE_INTERFACE = {f"scdb/{name}.hpp" for name in ("machine", "export", "failure", "units")}


# In each row a folder includes itself and those left of it.
LAYERS = {
    "engine": ("text", "unit", "catalogue", "run", "plan", "report"),
    "host": ("shell", "command"),
}


# What belongs to a program, and how it looks in code.
OF_A_PROGRAM = {
    "options": r'"[^"\n]*(?<![-<])--[a-z]',
    "streams": r"\b(stdout|stderr|cout|cerr|clog)\b",
    "an exit": r"\b_?exit\(",
    "signals": r"\b(sigaction|signal)\(",
}


def within_layers(source, target):
    """Whether one file of a house of layers may include another of it; what belongs to no layer serves all."""
    house, layer, *inside = source.split("/")
    other, *inside_other = target.split("/")[1:]
    order = LAYERS[house]
    if not inside_other:
        return True
    return bool(inside) and layer in order and other in order and order.index(other) <= order.index(layer)


def may_include(source, target):
    """Whether one file of the project may include another; both as paths from the root."""
    folder, *rest = source.split("/")
    unit = target.split("/")[1] if target.startswith("macrodebug/") else None
    machine = f"machines/{rest[0]}/"
    return target.startswith("include/") or {
        "include": lambda: False,
        "macrodebug": lambda: unit == "frame" or unit == rest[0] and unit is not None,
        "scdb": lambda: target.startswith("scdb/"),
        "toml": lambda: target.startswith("toml/"),
        "machines": lambda: target.startswith((machine, "toml/")) or target in MACHINE_INTERFACE,
        "engine": lambda: (target in PUBLIC_SCDB or target.startswith("toml/")
                           or target.startswith("engine/") and within_layers(source, target)),
        "host": lambda: (target in PUBLIC_SCDB or target.startswith("engine/")
                         or target.startswith("host/") and within_layers(source, target)),
    }[folder]()


def sources():
    for folder in ("include", "macrodebug", "scdb", "toml", "machines", "engine", "host"):
        yield from (path for path in sorted((SOURCE / folder).rglob("*")) if path.suffix in (".h", ".hpp", ".cpp"))


def resolve(source, name):
    """The project's file that an include directive means, or None."""
    for folder in (source.parent, SOURCE, INCLUDE, SOURCE / "macrodebug"):
        if (folder / name).is_file():
            return os.path.relpath(folder / name, SOURCE)
    return None


class Dependencies(unittest.TestCase):
    def test_includes_point_down(self):
        edges = 0
        for source in sources():
            for bracket, name in re.findall(r'^\s*#\s*include\s*([<"])([^">]+)', source.read_text(), re.MULTILINE):
                target = resolve(source, name)
                path = os.path.relpath(source, SOURCE)
                with self.subTest(source=path, include=name):
                    self.assertFalse(bracket == '"' and target is None, "there is no such file in the project")
                    if target is not None:
                        edges += 1
                        self.assertTrue(may_include(path, target), f"{path} may not include {target}")
        self.assertGreater(edges, 50)

    def test_includes_are_written_from_the_root(self):
        for source in sources():
            path = os.path.relpath(source, SOURCE)
            if path.startswith(("macrodebug/", "include/")):
                continue  # macros include from their own root, as whoever adds one would elsewhere
            for name in re.findall(r'^\s*#\s*include\s*"([^"]+)', source.read_text(), re.MULTILINE):
                with self.subTest(source=path, include=name):
                    self.assertTrue((SOURCE / name).is_file() or (INCLUDE / name).is_file() or name == "toml.hpp")

    def test_the_engine_is_no_program(self):
        """It has no options, no streams of the process and no exit, and asks no signal but the processor's faults."""
        for source in sources():
            path = os.path.relpath(source, SOURCE)
            if not path.startswith("engine/"):
                continue
            code = re.sub(r"//.*", "", source.read_text())
            for what, found in OF_A_PROGRAM.items():
                if path == "engine/run/processor_fault.cpp" and what == "signals":
                    continue
                with self.subTest(source=path, what=what):
                    self.assertNotRegex(code, found)

    def test_a_program_is_recognised(self):
        for what, line in (("options", 'throw InputError("--state: no");'), ("streams", 'std::cerr << "no";'),
                           ("streams", "std::fflush(stdout);"), ("an exit", "std::exit(1);"),
                           ("signals", "sigaction(SIGINT, &action, nullptr);")):
            with self.subTest(line):
                self.assertRegex(line, OF_A_PROGRAM[what])

    def test_the_rule_refuses(self):
        for source, target in (
            ("macrodebug/cpu/a.cpp", "macrodebug/sc/b.hpp"),
            ("macrodebug/frame/a.hpp", "macrodebug/cpu/b.hpp"),
            ("macrodebug/cpu/a.cpp", "scdb/units.hpp"),
            ("scdb/a.cpp", "machines/simulated/b.hpp"),
            ("scdb/a.cpp", "engine/text/b.hpp"),
            ("scdb/a.cpp", "toml/b.hpp"),
            ("toml/a.cpp", "scdb/units.hpp"),
            ("toml/a.cpp", "engine/text/b.hpp"),
            ("toml/a.cpp", "machines/simulated/b.hpp"),
            ("macrodebug/cpu/a.cpp", "toml/b.hpp"),
            ("host/command/a.cpp", "toml/b.hpp"),
            ("machines/simulated/a.cpp", "scdb/session.hpp"),
            ("machines/simulated/a.cpp", "machines/driver/b.hpp"),
            ("machines/simulated/a.cpp", "engine/text/b.hpp"),
            ("engine/text/a.cpp", "engine/unit/b.hpp"),
            ("engine/catalogue/a.cpp", "engine/run/b.hpp"),
            ("engine/run/a.cpp", "engine/plan/b.hpp"),
            ("engine/run/processor/a.cpp", "engine/report/b.hpp"),
            ("engine/plan/a.cpp", "engine/report/b.hpp"),
            ("engine/run/a.cpp", "scdb/context.hpp"),
            ("engine/run/a.cpp", "machines/simulated/b.hpp"),
            ("engine/report/a.cpp", "host/command/b.hpp"),
            ("host/shell/a.cpp", "host/command/b.hpp"),
            ("host/command/a.cpp", "scdb/context.hpp"),
            ("host/command/a.cpp", "machines/simulated/b.hpp"),
            ("host/command/a.cpp", "macrodebug/frame/b.hpp"),
        ):
            with self.subTest(source=source, target=target):
                self.assertFalse(may_include(source, target))

    def test_the_rule_allows(self):
        for source, target in (
            ("engine/plan/a.cpp", "engine/run/b.hpp"),
            ("engine/text/a.cpp", "toml/b.hpp"),
            ("machines/simulated/a.cpp", "toml/b.hpp"),
            ("engine/run/processor/a.cpp", "engine/run/b.hpp"),
            ("engine/report/a.cpp", "engine/text/b.hpp"),
            ("host/command/a.cpp", "engine/report/b.hpp"),
            ("host/command/a.cpp", "host/shell/b.hpp"),
            ("host/shell/terminal/a.cpp", "host/shell/b.hpp"),
        ):
            with self.subTest(source=source, target=target):
                self.assertTrue(may_include(source, target))


class Headers(unittest.TestCase):
    def check(self, compilers, standard, language, headers):
        for compiler in compilers:
            for header in headers:
                with self.subTest(compiler=compiler, header=header):
                    text = f'#include "{header}"\n' * 2 + "int nothing_else;\n"
                    paths = ("-I", INCLUDE, "-I", SOURCE)
                    status, said = run(compiler, f"-std={standard}", *STRICT, *paths, "-x", language, "-", text=text)
                    self.assertEqual((status, said), (0, ""))

    def test_interface_headers_are_c(self):
        self.check(C_COMPILERS, "c11", "c", ("libscfjtag.h", "macrodebug.h"))

    def test_interface_headers_are_cpp(self):
        self.check(CPP_COMPILERS, "c++20", "c++", ("libscfjtag.h", "macrodebug.h"))

    def test_public_headers_stand_alone(self):
        self.check(CPP_COMPILERS, "c++20", "c++", sorted(PUBLIC_SCDB))


if __name__ == "__main__":
    unittest.main()
