"""The catalogue against the library: what an entry says of its macro holds when the macro runs on the simulated server."""

import json
import os
import pathlib
import re
import subprocess
import tempfile
import threading
import tomllib
import unittest
from concurrent.futures import ThreadPoolExecutor

from project import SOURCE, declared_macros

REFUSED = "0xFFFFFF9D"
NO_DIRECTION = -1
UNLISTED_DIRECTIONS = (0, 3, 7)

# Values for a run where the default is not enough: places that the simulated server has, and what makes a difference to
# it as it is at power-on.
USUAL = {
    "cp_9A11_0101": {"command": 17},
    "io_9685_0101": {"macro": 0x96F1},
    "io_96F1_0101": {"unit": 0, "address": 0},
    "sp_8000_0000": {"device": 0xA0},
    "sp_8001_0000": {"address": 0x10100},
    "sp_8002_0000": {"address": 0x10100},
    "ma_9001_0101": {"configuration": 0xE180E180},
}
# Parameters with which a macro is told to fail, and the sub-code with which it does.
PROVOKED = {"force-failure": -4}
# The macro that calls whichever it is told, and changes what that one changes.
CALLS_ANY = "io_9685_0101"
# What carries an access in the simulated chips: it is different after a mere read too.
CARRIERS = re.compile(
    "register (port (command|answer|control rings)|scan command|(core . )?(operand tag|line ram)( lower| upper)? (next|address)"
    "|command|start (window|selection)|table (address|data)|RAM (access|read data)|bridge (word|progress))"
    "|array (row buffers|bridge line)"
)
# The words of _DATA that a run starts with, where the macro reads some: none of them fits into 16 bits.
GIVEN = [0x12340001 + 0x01010101 * i for i in range(64)]


def members(entry):
    """The entry of each of its macros, with the member's own variables in place."""
    for number, name in enumerate(entry.get("names", [entry.get("name")])):
        own = {key: row[number] for key, row in entry.get("vars", {}).items()}

        def place(value, own=own):
            if isinstance(value, str):
                return re.sub(r"\{(\w+)\}", lambda found: str(own[found[1]]), value)
            if isinstance(value, list):
                return [place(item) for item in value]
            if isinstance(value, dict):
                return {key: place(item) for key, item in value.items()}
            return value

        yield {key: place(value) for key, value in entry.items() if key != "vars"} | {"name": name}


def catalogue(source=SOURCE):
    entries = []
    for path in sorted((source / "catalogue").glob("*.toml")):
        for entry in tomllib.loads(path.read_text(encoding="utf-8"))["macro"]:
            entries += members(entry)
    return entries


def bits(row):
    """Lowest bit and mask of a parameter."""
    first, _, last = str(row.get("bits", "0-31")).partition("-")
    return int(first), (1 << (int(last or first) - int(first) + 1)) - 1


class Expressions:
    """Values of the catalogue's expressions, computed by the program's own interpreter."""

    program = None
    lock = threading.Lock()

    @classmethod
    def value(cls, entry, rw, words, expression):
        if isinstance(expression, int):
            return expression
        with cls.lock:
            if cls.program is None:
                cls.program = subprocess.Popen(os.environ["CATALOGUE_VALUES"], stdin=subprocess.PIPE,
                                               stdout=subprocess.PIPE, text=True, bufsize=1)
            asked = [entry["name"], rw & 0xFFFFFFFF, len(words), *words, expression]
            print(*asked, file=cls.program.stdin)
            return int(cls.program.stdout.readline())

    @classmethod
    def close(cls):
        if cls.program is not None:
            cls.program.communicate()


class Words:
    """The fields of a run's parameters, by the rows of the entry that hold for them."""

    def __init__(self, entry, direction, chosen):
        self.entry = entry
        self.direction = direction
        self.rw = next((row["rw"] for row in entry.get("direction", []) if row["name"] == direction), NO_DIRECTION)
        self.rows = {}
        self.fields = {}
        self.words = [0] * 16
        for row in entry.get("parameter", []):
            if row["name"] in self.rows or not self.holds(row):
                continue
            self.rows[row["name"]] = row
            value = chosen.get(row["name"], USUAL.get(entry["name"], {}).get(row["name"]))
            if value is None:
                value = self.usual(row)
            self.fields[row["name"]] = value
            first, mask = bits(row)
            self.words[row["word"]] |= (value & mask) << first

    def usual(self, row):
        """The default, as far as the range leaves it: this may depend on the fields before."""
        if "range" in row:
            least, most = (self.value(end) for end in row["range"])
            return max(least, min(row.get("default", least), most))
        return row.get("default", row["values"][0]["value"] if "values" in row else 0)

    def holds(self, row):
        if self.direction is not None and self.direction not in row.get("directions", [self.direction]):
            return False
        return all(self.meets(name, wanted) for name, wanted in row.get("when", {}).items())

    def meets(self, name, wanted):
        wanted = wanted if isinstance(wanted, list) else [wanted]
        if name not in self.fields:
            return False
        row, now = self.rows[name], self.fields[name]
        if "flags" in row:
            return any(now >> flag["bit"] & 1 for flag in row["flags"] if flag["name"] in wanted)
        return now in wanted or any(value["value"] == now for value in row.get("values", []) if value.get("name") in wanted)

    def value(self, expression):
        return Expressions.value(self.entry, self.rw, self.words, expression)

    def data(self, entry, role):
        """Indices of the words of _DATA with this role, and of those that may stay as they are."""
        fixed, optional = set(), set()
        for row in entry.get("data", []):
            if row.get("role", "result") == role and self.holds(row):
                start, size, count = (self.value(row.get(key, least)) for key, least in (("start", 0), ("size", 1), ("count", 1)))
                (optional if row.get("optional") else fixed).update(range(start, start + size * count))
        return fixed, optional

    def accesses(self, entry):
        said = entry.get("accesses")
        if not isinstance(said, list):
            return said if said is None else self.value(said)
        return next((self.value(row["count"]) for row in said if self.holds(row)), None)


def limits(row, words):
    """Values of a parameter at the ends of what it takes, and beside them."""
    _, mask = bits(row)
    if "range" in row:
        least, most = (words.value(end) for end in row["range"])
        return {least, most}, {value for value in (least - 1, most + 1) if 0 <= value <= mask}
    if "values" in row:
        inside = {value["value"] for value in row["values"]}
        beside = {value + step for value in inside for step in (-1, 1)} - inside
        return inside, {value for value in beside if 0 <= value <= mask}
    if "flags" in row:
        return {1 << flag["bit"] for flag in row["flags"]} | {sum(1 << flag["bit"] for flag in row["flags"])}, set()
    return set(), set()


def run(entry, rw, words, *more):
    command = [os.environ["MCRHOST"], "run", entry["name"], "--unit", f"{entry['unit']}:0.0", "--json", "--rw", str(rw)]
    command += ["--para", *(f"0x{word:X}" for word in words.words)]
    inputs = words.data(entry, "input")[0]
    if inputs:
        command += ["--data", *(f"0x{GIVEN[i % len(GIVEN)]:X}" for i in range(max(inputs) + 1))]
    done = subprocess.run([*command, *more], capture_output=True, text=True, check=False)
    if done.returncode not in (0, 1):
        raise AssertionError(f"{' '.join(command)}: status {done.returncode}\n{done.stderr}")
    return json.loads(done.stdout), done.stderr


def written(result):
    return {index for index, word in enumerate(result["data"]) if word is not None}


def subcode(result):
    """With which sub-code the macro refused something, None when it did not."""
    words = result["record"]["words"]
    return int(words[5], 16) - (1 << 32) if words[0] == REFUSED else None


def cases(entry, direction):
    """Parameters as they are by default, then each at its limits, under each condition under which it holds.
    Gives the words, the row, and whether its value is one that it takes."""
    yield Words(entry, direction, {}), None, True
    for row in entry.get("parameter", []):
        chosen = {}
        for name, value in row.get("when", {}).items():
            value = value[0] if isinstance(value, list) else value
            named = (choice for other in entry["parameter"] if other["name"] == name for choice in other.get("values", []))
            chosen[name] = next((choice["value"] for choice in named if choice.get("name") == value), value)
        words = Words(entry, direction, chosen)
        if words.rows.get(row["name"]) is row:
            for taken, values in zip((True, False), limits(row, words)):
                for value in sorted(values):
                    yield Words(entry, direction, chosen | {row["name"]: value}), row, taken


class Catalogue(unittest.TestCase):
    entries = catalogue()
    pool = ThreadPoolExecutor(os.cpu_count())

    @classmethod
    def tearDownClass(cls):
        Expressions.close()

    def each(self, check, wanted=lambda entry: True):
        for entry in filter(wanted, self.entries):
            directions = {row["name"]: row["rw"] for row in entry.get("direction", [])} or {None: NO_DIRECTION}
            for direction, rw in directions.items():
                with self.subTest(entry["name"], direction=direction):
                    check(entry, direction, rw)

    def test_every_macro_has_one_entry(self):
        self.assertEqual(sorted(entry["name"] for entry in self.entries), sorted(declared_macros()))

    def check_runs(self, entry, direction, rw):
        rows = list(cases(entry, direction))
        runs = self.pool.map(lambda case: run(entry, rw, case[0]), rows)
        for (words, row, taken), (result, _) in zip(rows, runs):
            what = f"{row['name'] if row else ''} {words.fields}: {result['failures']}"
            if not taken:
                self.assertEqual(subcode(result), row.get("refused"), what)
                continue
            if row and row["name"] in PROVOKED:
                self.assertEqual(subcode(result), PROVOKED[row["name"]], what)
                continue
            self.assertEqual((result["return"], result["crash"]), ("0x00000000", None), what)
            fixed, optional = words.data(entry, "result")
            self.assertLessEqual(fixed, written(result), what)
            self.assertLessEqual(written(result), fixed | optional, what)
            if words.accesses(entry) is not None:
                self.assertEqual(result["calls"], words.accesses(entry), what)

    def test_runs_are_as_the_entry_says(self):
        self.each(self.check_runs)

    def check_other_directions(self, entry, direction, _):
        words = Words(entry, direction, {})
        for other in UNLISTED_DIRECTIONS:
            result, trace = run(entry, other, words, "--trace")
            self.assertEqual(result["return"], "0x00000000")
            accesses = re.findall(r"lmcr_(?!shift|bcast)\w+", trace)
            if "otherwise" in entry:
                self.assertTrue(accesses or written(result))
                self.assertLessEqual(written(result), {0})
            else:
                self.assertEqual((written(result), accesses), (set(), []))

    def test_other_directions_do_what_the_entry_says(self):
        self.each(self.check_other_directions, lambda entry: "direction" in entry)

    def check_calls(self, entry, direction, rw):
        _, trace = run(entry, rw, Words(entry, direction, {}), "--trace")
        called = re.findall(r"^ *\d+  lmcr_maccall .*\bnumber=0x([0-9A-F]+)", trace, re.MULTILINE)
        self.assertEqual({int(number, 16) for number in called}, {int(str(number), 0) for number in entry.get("calls", [])})

    def test_calls_are_those_that_the_entry_names(self):
        self.each(self.check_calls, lambda entry: entry["name"] != CALLS_ANY)

    def check_changes(self, entry, direction, rw):
        with tempfile.TemporaryDirectory() as folder:
            state = pathlib.Path(folder, "state")
            run(entry, rw, Words(entry, direction, {}), "--state", str(state))
            changed = [name for name in re.findall(r"^cells (.*)$", state.read_text(encoding="utf-8"), re.MULTILINE)
                       if not CARRIERS.fullmatch(name)]
        said = entry["changes"] == "always" or (entry["changes"] != "never" and direction in entry["changes"])
        self.assertEqual(bool(changed), said, changed)

    def test_changes_hardware_when_the_entry_says_so(self):
        self.each(self.check_changes, lambda entry: entry["name"] != CALLS_ANY)


if __name__ == "__main__":
    unittest.main()
