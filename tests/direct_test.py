"""Direct access to the chips, and what the machine consists of: exactly what is printed, and the exit status."""

import json
import pathlib
import re
import tempfile
import unittest

from project import mcrhost

OK, FAILED, USAGE = 0, 1, 2
ON = "  on two-board server (simulated)\n"
ON_DEAD = "  on two-board server with a dead CPU chip (simulated)\n"

# Commands in a row on one machine: arguments, exit status, what is printed.
SESSION = [
    # A register holds what was written, on the one chip only.
    ("jtag write 0x41 0x12345678 --unit cpu:0.1", OK, f"jtag write 0x41 0x12345678{ON}cpu:0.1  written\n"),
    ("jtag read 0x61 --unit cpu:0", OK, f"jtag read 0x61{ON}cpu:0.0  0x705DD3A3\ncpu:0.1  0x12345678\n"),
    ("jtag instruct 0xD8 --unit cpu:0.0", OK, f"jtag instruct 0xD8{ON}cpu:0.0  done\n"),
    ("jtag instruct 0xDD --unit cpu:0.0", FAILED,
     f"jtag instruct 0xDD{ON}cpu:0.0  failure: lmcr_jtag, code 0xDD, cpu:0.0: the chip has no such register (refused)\n"),
    # A field of a ring across two words, seen from both ends and by its address; its neighbours stay.
    ("ring set 0x3C 2700+8 0xA4 --unit cpu:0.0", OK, f"ring set 0x3C 2700+8 0x000000A4{ON}cpu:0.0  written\n"),
    ("ring get 0x3C 2700+8 2707-2700 0x71E00A8C 2699 2708 --unit cpu:0.0", OK,
     f"ring get 0x3C{ON}cpu:0.0\n"
     "  2700+8      0x000000A4\n"
     "  2707-2700   0x00000025\n"
     "  0x71E00A8C  0x000000A4\n"
     "  2699        0x00000001\n"
     "  2708        0x00000000\n"),
    ("ring set 0x56 31-0 0x80000001 --unit cpu:0.0", OK, f"ring set 0x56 31-0 0x80000001{ON}cpu:0.0  written\n"),
    ("ring show 0x56 --unit cpu:0.0", OK, f"ring show 0x56{ON}cpu:0.0  0x80000001  0x230C2C16  0x38C49C3C\n"),
    ("ring set 0x56 0+32 0x80000002 --unit cpu:0.0", OK, f"ring set 0x56 0+32 0x80000002{ON}cpu:0.0  written\n"),
    ("ring get 0x56 0-31 --unit cpu:0.0", OK, f"ring get 0x56{ON}cpu:0.0\n  0-31        0x80000002\n"),
    ("ring get 0x01 5 --unit cpu:0.0", FAILED,
     f"ring get 0x01{ON}cpu:0.0  failure: lmcr_scan, ring 0x01, cpu:0.0: the chip has no such ring (refused)\n"),
    # A saved ring goes into other chips.
    ("ring save 0x56 kept.ring --unit cpu:0.0", OK,
     f"ring save 0x56{ON}cpu:0.0  ring 0x56 of cpu, 96 bits saved in 'kept.ring'\n"),
    ("ring save 0x56 kept.txt --unit cpu:0.0", OK,
     f"ring save 0x56{ON}cpu:0.0  ring 0x56 of cpu, 96 bits saved in 'kept.txt'\n"),
    ("ring restore 0x56 kept.ring --unit cpu:1.0", OK,
     f"ring restore 0x56{ON}cpu:1.0  ring 0x56 of cpu, 96 bits restored from 'kept.ring'\n"),
    ("ring restore 0x56 kept.txt --unit cpu:1.1", OK,
     f"ring restore 0x56{ON}cpu:1.1  ring 0x56 of cpu, 96 bits restored from 'kept.txt'\n"),
    ("ring show 0x56 --unit cpu:1", OK,
     f"ring show 0x56{ON}cpu:1.0  0x80000002  0x230C2C16  0x38C49C3C\ncpu:1.1  0x80000002  0x230C2C16  0x38C49C3C\n"),
    ("ring restore 0x5C kept.ring --unit cpu:0.0", USAGE,
     "ring file 'kept.ring': it keeps ring 0x56 of cpu, 96 bits, not ring 0x5C of cpu, 4096 bits"),
    ("ring restore 0x5C kept.txt --unit cpu:0.0", USAGE,
     "ring file 'kept.txt': it keeps ring 0x56 of cpu, 96 bits, not ring 0x5C of cpu, 4096 bits"),
    # The bytes of a transfer, and those that it leaves alone.
    ("i2c write 0x50 0x12345678 0x9ABBCCDD --length 5 --unit sp:0.0", OK, f"i2c write 0x50 mode 2, 5 bytes{ON}sp:0.0  written\n"),
    ("i2c read 0x50 --length 6 --unit sp:0.0", OK, f"i2c read 0x50 mode 2, 6 bytes{ON}sp:0.0  0x12345678  0x9A310000\n"),
    ("i2c write 4 0x55 --port 32 --unit mac:0.0", OK, f"i2c write 0x04 port 0x20 mode 2, 4 bytes{ON}mac:0.0  written\n"),
    ("i2c read 4 --port 32 --unit mac:0.0", OK, f"i2c read 0x04 port 0x20 mode 2, 4 bytes{ON}mac:0.0  0x00000055\n"),
    ("i2c read 0x11 --unit sp:0.0", FAILED,
     f"i2c read 0x11 mode 2, 4 bytes{ON}sp:0.0  failure: lmcr_i2cctl, device 0x11, sp:0.0: there is no such device (refused)\n"),
    # Registers lie at a distance of their length, in one bank.
    ("mbc write 0x10010 0x1122 0x3344 --length 2 --bank 1 --unit sp:1.1", OK,
     f"mbc write bank 1 address 0x10010, 2 registers of 2 bytes{ON}sp:1.1  written\n"),
    ("mbc read 0x10010 --bank 1 --unit sp:1.1", OK,
     f"mbc read bank 1 address 0x10010, 1 register of 4 bytes{ON}sp:1.1  0x11223344\n"),
    ("mbc read 0x10010 --bank 1 --length 1 --count 4 --unit sp:1.1", OK,
     f"mbc read bank 1 address 0x10010, 4 registers of 1 byte{ON}"
     "sp:1.1  0x00000011  0x00000022  0x00000033  0x00000044\n"),
    ("mbc read 0x10000 --bank 9 --unit sp:0.0", FAILED,
     f"mbc read bank 9 address 0x10000, 1 register of 4 bytes{ON}"
     "sp:0.0  failure: lmcr_mbcreg, register 0x00010000, sp:0.0: the chip has no such register (refused)\n"),
]

# Wrong input: one line on standard error, with what was wrong and what would be right.
NO_PLACE = "ring 0x3C of cpu has the bits 0 to 37706"
MISUSES = [
    ("jtag", "jtag: what to do is missing; give read, write, instruct"),
    ("ring copy", "ring: there is no 'copy'; give show, get, set, save, restore, restore-open"),
    ("i2c --unit sp", "i2c: what to do is missing; give read, write"),
    ("jtag read --unit cpu", "CODE is required ('mcrhost jtag read --help' shows the options)"),
    ("jtag read 1", "--unit is required ('mcrhost jtag read --help' shows the options)"),
    ("jtag read 0x100 --unit cpu", "CODE: 0x100 is out of range; give 0x0 to 0xFF"),
    ("jtag read 256 --unit cpu", "CODE: 256 is out of range; give 0 to 255"),
    ("jtag read 1 --unit cpu:7", "unit 'cpu:7': this machine has no such cpu; it has cpu:0-1.0-1"),
    ("ring show 0x156 --unit cpu", "RING: 0x156 is out of range; give 0x0 to 0xFF"),
    ("ring get 0x3C 37707 --unit cpu", f"ring bits '37707': {NO_PLACE}"),
    ("ring get 0x3C 37700+8 --unit cpu", f"ring bits '37700+8': {NO_PLACE}"),
    ("ring set 0x3C 37707-37700 1 --unit cpu", f"ring bits '37707-37700': {NO_PLACE}"),
    ("ring get 0x3D 0x01E00064 --unit cpu", "ring bits '0x01E00064': this is an address in ring 0x3C, not 0x3D"),
    ("ring get 0x3D 5+33 --unit cpu", "ring bits '5+33': 33 bits at once; give 1 to 32"),
    ("ring get 0x3D 40-8 --unit cpu", "ring bits '40-8': 33 bits at once; give 1 to 32"),
    ("ring set 0x3C 8+4 16 --unit cpu", "WORD: 16 does not fit into the 4 bits of '8+4'; give 0 to 0xF"),
    ("ring save 0x3C f --unit cpu:0", "--unit: cpu:0 names 2 chips, and this takes one; give for example cpu:0.0"),
    ("ring save 0x3C no/f --unit cpu:0.0", "ring file: cannot write 'no/f': No such file or directory"),
    ("ring restore 0x3C no/f --unit cpu:0.0", "ring file: cannot read 'no/f': No such file or directory"),
    ("i2c write 0x50 1 --length 5 --unit sp", "--length: 5 is out of range; give 1 to 4"),
    ("i2c read 0x50 --mode 4 --unit sp", "--mode: 4 is out of range; give 2 to 3"),
    ("mbc write 0x10000 0x100 --length 1 --unit sp", "WORD: 0x100 is out of range; give 0x0 to 0xFF"),
    ("mbc read 0x10000 --length 3 --unit sp", "--length: 3 is no length of a register; give 1, 2 or 4 bytes"),
    ("mbc read 0x10000 --count 1025 --unit sp", "--count: 1025 is out of range; give 1 to 1024"),
    ("units gpu", "unit 'gpu': 'gpu' is no kind of unit; the kinds are cpu, mac, sc, xb, ioc, sp (for example cpu:0.1, "
                  "sc:0,2-3.*)"),
]

# Files that are no saved rings: content, name, and what is said of it.
NOT_SAVED = "it does not begin as the files do that 'ring save' writes"
RING_FILES = [
    (b"", "a.ring", NOT_SAVED),
    (b"RING\0\0\0\2" + bytes(12), "a.ring", NOT_SAVED),
    (b"RING\0\0\0\1\0\0\0\1\0\0\0\x56\0\0\0\x60" + bytes(8), "a.ring", "it keeps 2 words, and the ring has 3"),
    (b"RING\0\0\0\1\0\0\0\1\0\0\0\x56\0\0\0\x60" + bytes(11), "a.ring",
     "the file is cut short: 31 bytes are no whole number of 4-byte words"),
    (b"0x1 0x2 0x3\n", "a.txt", NOT_SAVED),
    (b"ring 0x56 of cpu, 96 bits\n1 2 3 4\n", "a.txt", "it keeps 4 words, and the ring has 3"),
]


class Direct(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def expect(self, arguments, status, printed):
        """Compares word for word; of wrong usage, the line on standard error."""
        done = mcrhost(arguments, cwd=self.folder)
        wanted = (status, "", f"mcrhost: {printed}\n") if status == USAGE else (status, printed, "")
        self.assertEqual((done.returncode, done.stdout, done.stderr), wanted)

    def test_session(self):
        for arguments, status, printed in SESSION:
            with self.subTest(arguments):
                self.expect(f"{arguments} --state machine", status, printed)
        self.assertEqual((self.folder / "kept.ring").read_bytes()[20:], bytes.fromhex("80000002230C2C1638C49C3C"))

    def test_misuse(self):
        for arguments, complaint in MISUSES:
            with self.subTest(arguments):
                self.expect(arguments, USAGE, complaint)
        self.assertEqual(list(self.folder.iterdir()), [])

    def test_damaged_ring_files(self):
        for content, name, complaint in RING_FILES:
            with self.subTest(content):
                (self.folder / name).write_bytes(content)
                self.expect(f"ring restore 0x56 {name} --unit cpu:0.0", USAGE, f"ring file '{name}': {complaint}")
        (self.folder / "a.txt").write_text("ring 0x56 of cpu, 96 bits\n1, 2 # one line\n  0x3G\n")
        complaint = "ring file: a.txt:3:3: '0x3G' is not a 32-bit word; give a decimal or 0x number from -2147483648 to 0xFFFFFFFF"
        self.expect("ring restore 0x56 a.txt --unit cpu:0.0", USAGE, complaint)

    def test_a_dead_chip_leaves_the_others(self):
        failure = "lmcr_jtag, code 0x0F, cpu:0.0: the chip does not answer (hardware error)"
        command = "jtag read 0x0F --unit cpu:0 --machine dead-chip"
        self.expect(command, FAILED, f"jtag read 0x0F{ON_DEAD}cpu:0.0  failure: {failure}\ncpu:0.1  0x00000000\n")
        done = mcrhost(f"{command} --json")
        answer = json.loads(done.stdout)
        self.assertEqual((done.returncode, answer["ok"], answer["access"]), (FAILED, False, "jtag read 0x0F"))
        dead, alive = answer["chips"]
        self.assertEqual((dead["chip"], dead["ok"], dead["words"], dead["failure"]["text"]), ("cpu:0.0", False, [], failure))
        self.assertEqual(alive, {"chip": "cpu:0.1", "ok": True, "words": ["0x00000000"], "failure": None})

    def test_long_answers_are_numbered_rows(self):
        shown = mcrhost("ring show 0x5C --unit cpu:0.0").stdout.splitlines()[2:]
        self.assertEqual([int(line.split()[0]) for line in shown], list(range(0, 128, 4)))
        words = [word for line in shown for word in re.findall(r"  (0x[0-9A-F]{8})", line)]
        self.assertEqual(json.loads(mcrhost("ring show 0x5C --unit cpu:0.0 --json").stdout)["chips"][0]["words"], words)

    def test_trace(self):
        on = "t0=all t1=all t2=all"
        lines = (
            f"     1  lmcr_scan mode=0x0 {on} ring=0x56 count=0x1 on cpu:0.1 -> 0x00000000\n"
            "     2  lmcr_sin value=0x5 mask=0x7 0x56/7+3 -> 0x00000000\n"
            f"     3  lmcr_scan mode=0x1 {on} ring=0x56 count=0x1 on cpu:0.1 -> 0x00000000\n"
        )
        self.assertEqual(mcrhost("ring set 0x56 7+3 5 --unit cpu:0.1 --trace").stderr, lines)
        mcrhost("ring set 0x56 7+3 5 --unit cpu:0.1 --trace=calls", cwd=self.folder)
        self.assertEqual((self.folder / "calls").read_text(), lines)


class Units(unittest.TestCase):
    def test_text(self):
        done = mcrhost("units sc:1.0+0.1")
        head = "two-board server (simulated)\nboard 0   sc 1\nboard 1   sc 0\n\nsc:0.1+1.0  system controller\n"
        self.assertTrue(done.stdout.startswith(head), done.stdout)
        self.assertRegex(done.stdout, r"\n  rings     0x90-0x99 +4096 bits each\n  ring      0x9F +4096 bits\n"
                                      r"  arrays    RAM 0x60-0x65 +512 entries each, ")

    def test_json_is_the_whole_tree(self):
        machine = json.loads(mcrhost("units --machine large --json").stdout)
        self.assertEqual([board["board"] for board in machine["boards"]], list(range(16)))
        chips = [chip for board in machine["boards"] for chip in board["chips"]]
        self.assertEqual(len(chips), 16 * (4 + 4 + 4 + 2 + 2 + 2))
        cpu = next(chip for chip in chips if chip["chip"] == "cpu:3.2")
        self.assertIn({"ring": "0x56", "bits": 96, "note": ""}, cpu["rings"])
        self.assertIn("line ram", [array["name"] for array in cpu["arrays"]])
        self.assertIn({"name": "status", "entries": 1, "note": "lowest bit: running"}, cpu["registers"])


if __name__ == "__main__":
    unittest.main()
