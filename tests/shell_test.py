"""The shell: lines from files word for word, and a session at a pseudo-terminal."""

import os
import pathlib
import pty
import re
import select
import shlex
import signal
import tempfile
import time
import unittest

from project import mcrhost

OK, FAILED, USAGE = 0, 1, 2
ON = "  on two-board server (simulated)\n"
ON_LARGE = "  on sixteen-board server (simulated)\n"
PROMPT = "two-board server (simulated)> "
READ = f"jtag read 0x61{ON}cpu:0.1  0x12345678\n"
WRITE = f"jtag write 0x41 0x12345678{ON}cpu:0.1  written\n"
# For the emulated processor there is no library for editing lines: the terminal itself takes them.
EDITING = os.environ["EMULATED"] == "0"
BAD = f"--library {shlex.quote(os.environ['BAD_MACROS'])}"
STOPPED = "mcrhost: stopped after line {}, which ended with {}; --keep-going goes on\n"
KEEPS = ("a shell keeps to the machine, state and libraries that it was started with; leave it and start "
         "'mcrhost shell {}'")

# Options of the shell, lines, exit status, standard output, standard error.
SCRIPTS = [
    # One machine for all lines; names of the program, comments and quotes.
    ("", "jtag write 0x41 0x12345678 --unit cpu:0.1\n\n# a comment\n  mcrhost jtag read \"0x61\" --unit 'cpu:0'.1 # that one\n",
     OK, WRITE + READ, ""),
    ("", "jtag write 0x41 0x12345678 --unit cpu:0.1\nexit\nbogus\n", OK, WRITE, ""),
    ("--machine large", "jtag instruct 0xD8 --unit cpu:15.3", OK, f"jtag instruct 0xD8{ON_LARGE}cpu:15.3  done\n", ""),
    # What goes wrong is said with the line, and ends the shell, or not.
    ("", "jtag read 0xDD --unit cpu:0.0\njtag instruct 0xD8 --unit cpu:0.0\n", FAILED,
     f"jtag read 0xDD{ON}cpu:0.0  failure: lmcr_jtag, code 0xDD, cpu:0.0: the chip has no such register (refused)\n",
     STOPPED.format(1, 1)),
    ("--keep-going", "jtag instruct 0xD8 --unit cpu:7\njtag read 0xDD --unit cpu:0.0\njtag instruct 0xD8 --unit cpu:0.0", USAGE,
     f"jtag read 0xDD{ON}cpu:0.0  failure: lmcr_jtag, code 0xDD, cpu:0.0: the chip has no such register (refused)\n"
     f"jtag instruct 0xD8{ON}cpu:0.0  done\n",
     "mcrhost: line 1: unit 'cpu:7': this machine has no such cpu; it has cpu:0-1.0-1\n"),
]

# Lines that are refused, and what is said.
MISUSES = [
    ("lst", "there is no command 'lst'; the commands are list, show, run, units, jtag, ring, i2c, mbc, plan, reference, help, "
            "exit, quit"),
    ("help lst", "help: there is no command 'lst'; the commands are list, show, run, units, jtag, ring, i2c, mbc, plan, "
                 "reference, help, exit, quit"),
    ("show 'cp_9A12", "the quote 'cp_9A12 is not closed"),
    ("show cp_9A12 \\", "nothing follows the \\ at the end of the line"),
    ("shell", "this is a shell already; 'exit' leaves it"),
    ("list --machine large", "--machine: " + KEEPS.format("--machine large")),
    ("list --library=x", "--library: " + KEEPS.format("--library x")),
    ("run 9A10 --unit cpu --state 'a b'", "--state: " + KEEPS.format("--state a\\ b")),
]


class Terminal:
    """A shell at a pseudo-terminal: what it shows, standard output and standard error together."""

    def __init__(self, folder, arguments=""):
        child, self.file = pty.fork()
        if child == 0:
            os.environ.update(TERM="vt100", XDG_STATE_HOME=str(folder), HOME=str(folder))
            os.environ.pop("MACRODEBUG_LIBRARY", None)
            # The editing library keeps what it has allocated until the program ends.
            os.environ["ASAN_OPTIONS"] = "detect_leaks=0"
            os.execvp(os.environ["MCRHOST"], [os.environ["MCRHOST"], "shell", *shlex.split(arguments)])
        self.child = child
        self.shown = ""

    def wait_for(self, text):
        """Reads until the text is there; gives what came up to its end."""
        deadline = time.monotonic() + 60
        while text not in self.shown:
            if not select.select([self.file], [], [], max(0, deadline - time.monotonic()))[0]:
                raise AssertionError(f"{text!r} does not come; there is {self.shown!r}")
            try:
                self.shown += os.read(self.file, 4096).decode().replace("\r", "")
            except OSError as end:
                raise AssertionError(f"{text!r} does not come; it ended with {self.shown!r}") from end
        before, _, self.shown = self.shown.partition(text)
        return before + text

    def type(self, keys):
        os.write(self.file, keys.encode())

    def end(self):
        """The exit status, after what is left to read."""
        deadline = time.monotonic() + 60
        try:
            while select.select([self.file], [], [], max(0, deadline - time.monotonic()))[0] and os.read(self.file, 4096):
                pass
        except OSError:
            pass
        if time.monotonic() >= deadline:
            os.kill(self.child, signal.SIGKILL)
        status = os.waitstatus_to_exitcode(os.waitpid(self.child, 0)[1])
        os.close(self.file)
        return status


class Shell(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def run_lines(self, options, lines):
        done = mcrhost(f"shell {options}", input=lines, cwd=self.folder)
        return done.returncode, done.stdout, done.stderr

    def test_scripts(self):
        for options, lines, *expected in SCRIPTS:
            with self.subTest(lines):
                self.assertEqual(self.run_lines(options, lines), tuple(expected))

    def test_wrong_lines(self):
        for line, complaint in MISUSES:
            with self.subTest(line):
                self.assertEqual(self.run_lines("", line), (USAGE, "", f"mcrhost: line 1: {complaint}\n" + STOPPED.format(1, 2)))

    def test_state_is_loaded_and_kept(self):
        self.run_lines("--state bench", "jtag write 0x41 0x12345678 --unit cpu:0.1\n")
        self.assertEqual(mcrhost("jtag read 0x61 --unit cpu:0.1 --state bench", cwd=self.folder).stdout, READ)
        self.assertEqual(self.run_lines("--state bench", "jtag read 0x61 --unit cpu:0.1\n"), (OK, READ, ""))

    def test_rings_stay_open_from_line_to_line(self):
        """Also over a dry run, which works on another machine."""
        lines = ("run sp_0007 --unit cpu:0.0 --para 0x3C --no-restore-open-rings\n"
                 "run sp_0006 --unit sp:0.0 --para 1 --dry-run\nring restore-open\n")
        printed = self.run_lines(f"{BAD} --keep-going", lines)[1]
        self.assertTrue(printed.endswith(f"\nring restore-open{ON}cpu:0.0  ring 0x3C restored\n"), printed)

    def test_a_crash_inside_a_primitive_is_between_two_accesses(self):
        """What was written before stays written, rings that were opened are put back, and state is kept."""
        lines = ("ring show 0x3C --unit cpu:0.1\nrun sp_000C --para 0x12345678 --data-words 8 --unit cpu:0.1\n"
                 "ring show 0x3C --unit cpu:0.1\njtag read 0x61 --unit cpu:0.1\n")
        status, printed, said = self.run_lines(f"{BAD} --keep-going --state bench", lines)
        self.assertEqual((status, said), (FAILED, ""))
        ring = printed[: printed.index("sp_000C")]
        self.assertIn("\nfailure: read of _DATA[8], 1 word past its end (it has 8 words), during primitive call 3, lmcr_scan\n"
                      f"note: rings left open, restored: cpu:0.1 ring 0x3C\n{ring}{READ}", printed)
        self.assertEqual(mcrhost("jtag read 0x61 --unit cpu:0.1 --state bench", cwd=self.folder).stdout, READ)

    def test_help_is_that_of_the_commands(self):
        self.assertEqual(self.run_lines("", "help jtag read\n"), (OK, self.run_lines("", "jtag read --help\n")[1], ""))
        self.assertNotIn("--machine", self.run_lines("", "help list\n")[1])

    def test_typing(self):
        shell = Terminal(self.folder)
        completes = "Tab completes words, " if EDITING else ""
        first = f"two-board server (simulated): 'help' shows the commands, {completes}'exit' leaves\n"
        self.assertEqual(shell.wait_for(PROMPT), first + PROMPT)
        if EDITING:
            # One way to go on is typed, with a blank; several are shown.
            shell.type("jt\tw\t0x41 0x12345678 --un\tcpu:\t")
            shell.wait_for("jtag write 0x41 0x12345678 --unit cpu:")
            shell.type("\t")
            shell.wait_for("\ncpu:0  cpu:1\n")
            shell.wait_for(PROMPT + "jtag write 0x41 0x12345678 --unit cpu:")
            shell.type("0.1\n")
        else:
            shell.type("jtag write 0x41 0x12345678 --unit cpu:0.1\n")
        shell.wait_for(WRITE + PROMPT)
        # Ctrl-C clears the line.
        shell.type("bogus\x03")
        shell.wait_for("^C\n" + PROMPT)
        shell.type("jtag read 0x61 --unit cpu:0.1\n")
        shell.wait_for(READ + PROMPT)
        shell.type("bogus\n")
        shell.wait_for("mcrhost: there is no command 'bogus'")
        shell.wait_for(PROMPT)
        shell.type("\x04")
        self.assertEqual(shell.end(), OK)

        # The next shell knows the lines of this one, its machine is another.
        kept = self.folder / "mcrhost" / "history"
        self.assertEqual(kept.stat().st_mode & 0o777, 0o600)
        self.assertEqual(kept.read_text().splitlines()[1:], ["jtag read 0x61 --unit cpu:0.1", "bogus"])
        if EDITING:
            shell = Terminal(self.folder)
            shell.wait_for(PROMPT)
            shell.type("\x1b[A\x1b[A\n")
            self.assertRegex(shell.wait_for("\n" + PROMPT), re.escape(f"jtag read 0x61{ON}") + r"cpu:0\.1  0x(?!12345678)")
            shell.type("exit\n")
            self.assertEqual(shell.end(), OK)

    def test_without_a_place_for_lines(self):
        (self.folder / "file").touch()
        shell = Terminal(self.folder / "file")
        complaint = shell.wait_for(PROMPT)
        self.assertIn("mcrhost: lines are not kept for the next shell: cannot make the folder '", complaint)
        shell.type("jtag instruct 0xD8 --unit cpu:0.0\n")
        self.assertNotIn("mcrhost:", shell.wait_for("done\n" + PROMPT))
        shell.type("quit\n")
        self.assertEqual(shell.end(), OK)


if __name__ == "__main__":
    unittest.main()
