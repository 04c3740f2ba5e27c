"""Macros by the names of the catalogue: show, run with fields, decoded results, and complaints about catalogue files."""

import json
import pathlib
import tempfile
import unittest

from project import mcrhost

OK, FAILED, USAGE = 0, 1, 2
ON = "on two-board server (simulated)"

# What runs print after the header: arguments, exit status, direction, output.
RUNS = [
    ("9A12 group=1 index=5 --unit cpu:0.1", OK, "cpu:0.1  read", "  value  0x00055748\npass: 1 data word, 3 primitive calls\n"),
    ("9A12 group=1 index=5 --raw --unit cpu:0.1", OK, "cpu:0.1  read",
     "     0  0x00055748\npass: 1 data word, 3 primitive calls\n"),
    ("9A12 group=bytes index=2 --unit cpu:0.0", OK, "cpu:0.0  read", "  value  0x000000B1\npass: 1 data word, 4 primitive calls\n"),
    ("9A12 --rw write group=2 index=5 value=0x12345 --unit cpu:0.0", OK, "cpu:0.0  write",
     "pass: 0 data words, 2 primitive calls\n"),
    ("9A11 --unit cpu:0.0", OK, "cpu:0.0  read", "  answer  0\n  status  0\npass: 1 data word, 5 primitive calls\n"),
    # Words go to the macro as they are.
    ("9A12 --para 0x18 --unit cpu:0.0", FAILED, "cpu:0.0  read",
     "failure: parameter refused: there is no group 3 (sub-code -90), value 0x00000018\n"
     "  record  0  0xFFFFFF9D  parameter error\n"
     "  record  5  0xFFFFFFA6  there is no group 3 (sub-code -90)\n"
     "  record  6  0x00000018  offending value\n"),
    # A count that the macro refuses, with which it would make more calls than 32 bits can tell.
    ("9AC1 --para 0,-1 --unit cpu:0.0", FAILED, "cpu:0.0  read",
     "failure: parameter refused: the count is not 1 to 1024 (sub-code -3), value 0xFFFFFFFF\n"
     "  record  0  0xFFFFFF9D  parameter error\n"
     "  record  5  0xFFFFFFFD  the count is not 1 to 1024 (sub-code -3)\n"
     "  record  6  0xFFFFFFFF  offending value\n"),
]

MISUSES = [
    ("9A12 group=3 index=5", "group=3: accepted are bytes (0), 1, 2; --para gives other words to the macro"),
    ("9A12 group=1 index=8", "index=8: accepted are 0 to 7; --para gives other words to the macro"),
    ("9A12 group=1", "cp_9A12_0101 needs index=VALUE, register of the group; accepted are 0 to 7"),
    ("9A12 group=1 group=2", "'group' is given twice"),
    ("9A12 group", "'group' gives no field; write NAME=VALUE"),
    ("9A12 grp=1", "cp_9A12_0101 has no field 'grp'; it has group, index, value"),
    ("9A12 group=1 --para 5", "'group' and --para both give _PARA[0]; give one of them"),
    ("9A12 --rw write group=1 index=5", "cp_9A12_0101 reads 1 word of _DATA with direction write, and none is given; "
                                        "give it with --data, or value="),
    ("9A12 --rw write group=1 index=5 value=0x100000", "value=0x100000: accepted are 0 to 0xFFFFF"),
    ("9A11 command=16", "'command' is not used with direction read"),
    ("9A20 class=clear kind=1", "'kind' is not used with class=0"),
    ("9A10 --catalogue /no/such", "--catalogue: cannot read the folder '/no/such': No such file or directory"),
]

# A result of every kind, in the macro that dumps registers: words 0 and 1 are 0xA5 and 0xBD.
ENTRY = """title = "Test"
[[macro]]
name = "cp_9A10_0101"
unit = "cpu"
title = "Test"
changes = "never"
"""
FIELD = ENTRY + '[[macro.data]]\nname = "it"\ntitle = "it"\n[[macro.data.field]]\nname = "x"\n'
KINDS = [
    ('bits = "0-7"', "0xA5"),
    ('bits = "0-7"\nkind = "number"', "165"),
    ('bits = "0-7"\nkind = "signed"', "-91"),
    ('bits = "0"\nkind = "flag"', "yes"),
    ('bits = "0-7"\nkind = "boards"', "boards 0,2,5,7"),
    ('bits = "0-1"\nvalues = [{value = 1, name = "one", title = "first"}]', "one (first)"),
    ('bits = "0-2"\nflags = [{bit = 0, name = "a"}, {bit = 1, name = "b"}, {bit = 2, name = "c"}]', "a+c"),
    ('parts = [{word = 0, bits = "4-7"}, {word = 0, bits = "0-3"}]\nkind = "number"', "165"),
    ('bits = "8-15"\nkind = "syndrome"\ncode = "front"', "clean"),
    ('bits = "5"\nkind = "syndrome"\ncode = "tag"', "check bit 5 wrong"),
    ('bits = "2-7"\nkind = "syndrome"\ncode = "tag"', "data bit 5 wrong"),
    ('bits = "1-8"\nkind = "syndrome"\ncode = "behind"', "data bit 34 wrong"),
    ('bits = "0-7"\nkind = "syndrome"\ncode = "front"', "several bits wrong"),
]

# Files with a fault, and what is said of it.
DAMAGED = [
    ('title = "x', "1:", None),
    ("[=]", "1:2: ", "Error while parsing key: expected bare key starting character or string delimiter, saw '='"),
    ('titel = "x"', "1:1: ", "unknown key 'titel'; accepted here: title, text, macro"),
    (ENTRY.replace('"cpu"', '"gpu"'), "4:8: ", "'unit' must be one of cpu, mac, sc, xb, ioc, sp"),
    (ENTRY.replace('"never"', '["up"]'), "6:12: ", "the macro has no direction 'up'"),
    (FIELD + 'bits = "3-40"', "12:8: ", "'bits' is '3-40'; write \"7\" or \"3-4\", from 0, the least significant, to 31"),
    (ENTRY + '[[macro.data]]\nname = "it"\ncount = "n *"', "9:9: ", "'n *': a number, a name or '(' is expected at the end"),
    (ENTRY + '[[macro.data]]\nname = "it"\ncount = "n"', "9:9: ", "there is no parameter 'n' further up"),
    (ENTRY + "".join(f'[[macro.parameter]]\nname = "{name}"\nword = 0\ntitle = "t"\n{when}'
                     for name, when in (("a", ""), ("b", "when = {a = 1}\n"), ("a", "when = {b = 1}\n"))),
     "16:1: ", "whether 'a' is used depends on 'a' itself"),
]


class CatalogueRun(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def with_file(self, text, arguments):
        (self.folder / "test.toml").write_text(text)
        return mcrhost(f"{arguments} --catalogue {self.folder}")

    def test_runs_with_fields(self):
        for arguments, status, header, output in RUNS:
            with self.subTest(arguments):
                done = mcrhost(f"run {arguments}")
                name = f"cp_{arguments[:4]}_0101"
                self.assertEqual((done.returncode, done.stdout), (status, f"{name}  {header}  {ON}\n{output}"))

    def test_refuses_fields(self):
        for arguments, complaint in MISUSES:
            with self.subTest(arguments):
                done = mcrhost(f"run {arguments} --unit cpu:0.0")
                self.assertEqual((done.returncode, done.stdout, done.stderr), (USAGE, "", f"mcrhost: {complaint}\n"))

    def test_shows_fields(self):
        for field, text in KINDS:
            with self.subTest(field):
                lines = self.with_file(FIELD + field, "run 9A10 --unit cpu:0.0").stdout.splitlines()
                self.assertEqual(lines[1], f"  x  {text}")

    def test_names_places_in_damaged_files(self):
        for text, place, complaint in DAMAGED:
            with self.subTest(place=place, complaint=complaint):
                done = self.with_file(text + '\n# "cp_9A10_0101"', "run 9A10 --unit cpu:0.0")
                self.assertEqual((done.returncode, done.stdout), (USAGE, ""))
                self.assertRegex(done.stderr, r"^mcrhost: [^\n]+\n$")
                self.assertTrue(done.stderr.startswith(f"mcrhost: {self.folder}/test.toml:{place}"), done.stderr)
                if complaint is not None:
                    self.assertEqual(done.stderr, f"mcrhost: {self.folder}/test.toml:{place}{complaint}\n")

    def test_what_is_put_into_a_text_is_not_looked_at_again(self):
        entry = ENTRY.replace('title = "Test"\nchanges', 'title = "{a} {b}"\nvars = {a = ["{b}{b}"], b = ["x{a}"]}\nchanges')
        self.assertTrue(self.with_file(entry, "show 9A10").stdout.startswith("cp_9A10_0101: {b}{b} x{a}\n"))

    def test_a_finding_is_no_success(self):
        rule = '[[macro.finding]]\ntitle = "odd"\nword = 0\nmask = 0x81\nequals = 0x81\n'
        done = self.with_file(ENTRY + rule, "run 9A10 --unit cpu:0.0")
        self.assertEqual(done.returncode, FAILED)
        self.assertTrue(done.stdout.endswith("finding: odd: _DATA[0] is 0x000000A5\n"
                                             "1 finding: 48 data words, 120 primitive calls\n"))
        run = json.loads(self.with_file(ENTRY + rule, "run 9A10 --unit cpu:0.0 --json").stdout)
        self.assertEqual((run["ok"], run["verdict"], run["findings"]), (True, "finding", ["odd: _DATA[0] is 0x000000A5"]))
        done = self.with_file(ENTRY + rule.replace("equals = 0x81", "equals = 0x80"),
                              "run 9A10 --unit cpu:0.0")
        self.assertEqual(done.returncode, OK)

    def test_every_page_can_be_shown(self):
        for macro in json.loads(mcrhost("list --json").stdout)["macros"]:
            with self.subTest(macro["name"]):
                page, entry = mcrhost(f"show {macro['name']}"), mcrhost(f"show {macro['name']} --json")
                self.assertEqual((page.returncode, page.stderr, entry.returncode), (OK, "", OK))
                self.assertTrue(page.stdout.startswith(f"{macro['name']}: {json.loads(entry.stdout)['title']}\n"))


if __name__ == "__main__":
    unittest.main()
