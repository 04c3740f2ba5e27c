"""What the libraries promise as binaries: what they export and import, and that macros keep no state."""

import os
import re
import unittest
from collections import Counter, namedtuple

from project import SOURCE, declared_macros, declared_placeholders, declared_primitives, output_of

Symbol = namedtuple("Symbol", "defined name")
Section = namedtuple("Section", "name kind size flags")


def readelf(option, path):
    return output_of(os.environ["READELF"], "--wide", option, path)


class Library:
    def __init__(self, path):
        self.path = path
        self.symbols = [
            Symbol(place != "UND", name)
            for place, name in re.findall(
                r"^ *\d+: \w+ +\w+ \w+ +(?:GLOBAL|WEAK|UNIQUE) +\w+ .*?(\w+) (\w+)(?:@\S+)?(?: \(\d+\))?$",
                readelf("--dyn-syms", path),
                re.MULTILINE,
            )
        ]
        self.sections = [
            Section(name, kind, int(size, 16), flags)
            for name, kind, size, flags in re.findall(
                r"^ *\[ *\d+\] (\.\S+) +(\w+) +\w+ \w+ (\w+) \w+ +([WAXMSITGLop]*) ", readelf("--section-headers", path), re.MULTILINE
            )
        ]
        self.dynamic = re.findall(r"\((NEEDED|SONAME|TEXTREL)\)(?:.*\[(.*)\])?", readelf("--dynamic", path))

    def exports(self):
        return {symbol.name for symbol in self.symbols if symbol.defined}


class MacroLibrary(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.library = Library(os.environ["MACRO_LIBRARY"])
        cls.sources = {path.stem for path in SOURCE.glob("macrodebug/*/*.cpp") if path.parent.name != "frame"}

    def test_one_export_for_each_source(self):
        self.assertEqual(self.library.exports(), self.sources)

    def test_every_export_is_declared(self):
        self.assertEqual(declared_macros() | declared_placeholders(), self.sources)

    def test_one_placeholder_for_each_unit(self):
        units = {folder.name for folder in SOURCE.glob("macrodebug/*/") if folder.name != "frame" and folder.is_dir()}
        self.assertEqual(declared_placeholders(), {f"{unit}_dbg_dummy" for unit in units})

    def test_imports_primitives_alone(self):
        imports = {symbol.name for symbol in self.library.symbols if not symbol.defined}
        self.assertTrue(imports)
        self.assertEqual(imports - declared_primitives(), set())

    def test_needs_the_primitive_library_alone(self):
        self.assertEqual(sorted(self.library.dynamic), [("NEEDED", "libscdb.so.1"), ("SONAME", "libmacrodebug.so.1")])

    def test_has_no_writable_data(self):
        # The linker's own tables are written by the dynamic loader only.
        linker = {".dynamic", ".got", ".got.plt", ".plt", ".data.rel.ro"}
        self.assertIn(".text", {section.name for section in self.library.sections})
        writable = [s for s in self.library.sections if "W" in s.flags and s.size > 0 and s.name not in linker]
        self.assertEqual(writable, [])

    @unittest.skipUnless(os.environ["PROCESSOR"] == "ppc", "the limit is the service processor's")
    def test_fits_the_service_processor(self):
        """Code and constants, with what the loader reads; symbols for debuggers are not loaded."""
        size = sum(s.size for s in self.library.sections if "A" in s.flags and "W" not in s.flags)
        print(f"code and read-only data: {size} bytes")
        self.assertLess(size, 96 * 1024)

    def test_identification_of_each_macro(self):
        macros = self.sources - declared_placeholders()
        form = rb"MACRO: (\w+) \(\d{4}\)  \d{4}\.\d\d\.\d\d \d\d:\d\d:\d\d  PRO1 macrodebug\0"
        with open(self.library.path, "rb") as file:
            contents = file.read()
        self.assertEqual(contents.count(b"MACRO: "), len(macros))
        self.assertEqual(Counter(name.decode() for name in re.findall(form, contents)), Counter(macros))


class PrimitiveLibrary(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.library = Library(os.environ["SCDB_LIBRARY"])

    def test_exports_the_interface_header_and_nothing_else_to_c(self):
        self.assertEqual({name for name in self.library.exports() if not name.startswith("_Z")}, declared_primitives())

    def test_exports_its_own_names_to_cpp(self):
        mangled = {name for name in self.library.exports() if name.startswith("_Z")}
        self.assertTrue(mangled)
        self.assertEqual({name for name in mangled if not re.match(r"_Z(T[ISV])?NK?4scdb", name)}, set())

    def test_soname(self):
        self.assertIn(("SONAME", "libscdb.so.1"), self.library.dynamic)


if __name__ == "__main__":
    unittest.main()
