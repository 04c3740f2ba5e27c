"""Runs that are stopped: Ctrl-C, SIGTERM and time limits; and what is shown while they go on."""

import json
import os
import pty
import re
import shlex
import signal
import subprocess
import tempfile
import time
import unittest

from project import mcrhost

OK, FAILED, USAGE = 0, 1, 2
ON = "on two-board server (simulated)"
BOUND = 120  # seconds after which a program that does not end is a fault

# The code of the pull-up driver reads as 15 whatever is written, so the search for it comes to no end.
STUCK = """base = "default"
name = "stuck code"
[[fault]]
chip = "mac:0.0"
place = "register group 1 impedance"
kind = "stuck-1"
bits = 0xF0000000
"""
NO_TIME = "--timeout 0.000001"
STOPPED = "stopped by the time limit of 0.000001 s"

# What is printed when the time is over before the first call.
STOPS = [
    (f"run cp_9A10_0101 --unit cpu:0.0 {NO_TIME}",
     f"cp_9A10_0101  cpu:0.0  read  {ON}\n"
     f"failure: {STOPPED} at primitive call 1\n"
     "  record  0  0x00000006  stopped\n"
     "  record  1  0x00000001  lmcr_jtag\n"
     "  record  2  0x000000B0  its code, ring, register or number\n"
     "  record  3  0xFFFFFFFF  no single chip\n"
     "  record  4  0x00000050  the run was stopped\n"),
    (f"jtag read 0x0F --unit cpu {NO_TIME}",
     f"jtag read 0x0F  {ON}\n"
     "cpu:0.0  failure: lmcr_jtag, code 0x0F: the run was stopped (stopped)\n"
     f"{STOPPED}: 0 of 4 chips accessed\n"),
]

MISUSES = [
    ("--timeout 0", "--timeout: '0' is no time; give seconds, more than 0 and up to 1000000"),
    ("--timeout nan", "--timeout: 'nan' is no time; give seconds, more than 0 and up to 1000000"),
    ("--timeout 2s", "--timeout: '2s' is no time; give seconds, more than 0 and up to 1000000"),
    ("--progress dots", "--progress: there is no 'dots'; give auto, json or none"),
]


class Interruption(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name
        with open(os.path.join(self.folder, "stuck.toml"), "w", encoding="ascii") as machine:
            machine.write(STUCK)
        self.endless = "run ma_9003_0101 --unit mac:0.0 group=1 --machine ./stuck.toml"

    def start(self, arguments, **options):
        """Starts mcrhost where signals do what they usually do, however the tests were started."""
        return subprocess.Popen(
            [os.environ["MCRHOST"], *shlex.split(arguments)], cwd=self.folder, text=True,
            preexec_fn=lambda: signal.signal(signal.SIGINT, signal.SIG_DFL), **options)

    def start_traced(self, arguments):
        """The same; comes back when the first primitive call has been made."""
        program = self.start(f"{arguments} --trace", stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        self.addCleanup(program.stderr.close)
        self.addCleanup(program.stdout.close)
        self.assertRegex(program.stderr.readline(), "^     1  lmcr_")
        return program

    def test_signals_stop_at_the_next_call(self):
        for number, name in ((signal.SIGINT, "Ctrl-C"), (signal.SIGTERM, "SIGTERM")):
            with self.subTest(name):
                program = self.start_traced(self.endless)
                program.send_signal(number)
                output, trace = program.communicate(timeout=BOUND)
                self.assertEqual(program.returncode, FAILED)
                call = int(re.search(rf"\nfailure: stopped by {name} at primitive call (\d+)\n", output).group(1))
                last = trace.splitlines()[-1]
                self.assertRegex(last, rf"^ *{call}  lmcr_i2cctl .* -> failed: the run was stopped$")
                self.assertIn("\n  record  0  0x00000006  stopped\n", output)

    def test_a_second_signal_ends_at_once(self):
        # A macro that makes no calls any more does not see the first one.
        program = self.start_traced(f"run sp_000A --library {os.environ['BAD_MACROS']} --unit sp:0.0")
        end = time.monotonic() + BOUND
        while program.poll() is None and time.monotonic() < end:
            program.send_signal(signal.SIGINT)
            time.sleep(0.01)
        self.assertEqual(program.returncode, -signal.SIGINT)

    def test_a_time_limit_ends_an_endless_search(self):
        done = mcrhost(f"{self.endless} --timeout 0.2 --state machine", cwd=self.folder, timeout=BOUND)
        self.assertEqual((done.returncode, done.stderr), (FAILED, ""))
        self.assertRegex(done.stdout, r"\nfailure: stopped by the time limit of 0\.2 s at primitive call \d+\n")
        # What it had done until then is kept.
        with open(os.path.join(self.folder, "machine"), encoding="ascii") as state:
            self.assertIn("group 1 impedance", state.read())

    def test_stops_before_the_first_call(self):
        for arguments, output in STOPS:
            with self.subTest(arguments):
                done = mcrhost(arguments)
                self.assertEqual((done.returncode, done.stdout, done.stderr), (FAILED, output, ""))
        run = json.loads(mcrhost(f"run 9A10 --unit cpu:0.0 {NO_TIME} --json").stdout)
        self.assertEqual((run["ok"], run["stopped"]), (False, {"by": "the time limit of 0.000001 s", "call": 1}))

    def test_misuse(self):
        for arguments, complaint in MISUSES:
            with self.subTest(arguments):
                done = mcrhost(f"run 9A10 --unit cpu:0.0 {arguments}")
                self.assertEqual((done.returncode, done.stdout, done.stderr), (USAGE, "", f"mcrhost: {complaint}\n"))

    def test_progress_on_a_terminal(self):
        terminal, end = pty.openpty()
        program = self.start(f"{self.endless} --timeout 1.5", stdout=subprocess.DEVNULL, stderr=end,
                             env=os.environ | {"TERM": "vt100"})
        os.close(end)
        shown = b""
        try:
            while piece := os.read(terminal, 4096):
                shown += piece
        except OSError:  # The other end is closed.
            pass
        os.close(terminal)
        self.assertEqual(program.wait(BOUND), FAILED)
        self.assertRegex(shown, rb"^(\r\x1b\[Kma_9003_0101  \d+ calls, \d+/s)+\r\x1b\[K$")

    def test_progress_for_programs(self):
        done = mcrhost("run 9A10 --unit cpu --repeat 5 --progress json")
        last = json.loads(done.stderr.splitlines()[-1])["progress"]
        self.assertEqual((done.returncode, last["done"], last["share"], last["runs"], last["runs_total"], last["calls"]),
                         (OK, True, 1.0, 20, 20, 20 * 120))


if __name__ == "__main__":
    unittest.main()
