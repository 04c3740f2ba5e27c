"""Plans: what they print and write, how they end, and that they go on where they were interrupted."""

import json
import os
import pathlib
import re
import shlex
import signal
import subprocess
import tempfile
import time
import unittest

import junitparser
import ocptv
from project import mcrhost

OK, FAILED, USAGE = 0, 1, 2
ON = "on two-board server (simulated)"
# Sanitizers make the sixteen boards of the large one take minutes, and have nothing new to see there.
MACHINES = ("default",) if os.environ["SANITIZED"] == "1" else ("default", "large")
HEAD = 'title = "Test"\ncontinue = true\n'
WRITE = '[[step]]\nname = "write"\nmacro = "9A12"\nrw = "write"\n'
READ = '[[step]]\nname = "read"\nmacro = "9A12"\n'
RESET = '[[cleanup]]\nname = "reset"\nmacro = "9A11"\nunits = "cpu:0.0"\nrw = "write"\nfields = {command = 48}\n'
# A step without an end, as far as a test is concerned.
ENDLESS = 'name = "endless"\nmacro = "io_9685"\nunits = "ioc:0.0"\nfields = {macro = 0x96F1, times = 0xFFFFFFFF}\n'
DEAD = '[[fault]]\nchip = "cpu:0.1"\nplace = "chip"\nkind = "dead"\n'

# What plans print after their first line: plan, options, exit status, output.
RUNS = [
    # Combinations of values, on each chip alone, with expectations by name and in words.
    (WRITE + 'units = "cpu:0"\nfields = {value = 0x12345}\nfor = {group = [1, 2], index = "0,6-7"}\n'
     + READ + 'units = ["cpu:0.0", "cpu:0.1"]\nfor = {group = [1, 2], index = "0,6-7"}\nexpect = {value = 0x12345}\n'
     + READ + 'units = "cpu:0.1"\nfields = {group = 2, index = 7}\nexpect = [0xF2345]\nmask = [0xFFFF]\n', "", OK,
     "passed   write  cp_9A12_0101  12 runs\n"
     "passed   read   cp_9A12_0101  12 runs\n"
     "passed   read   cp_9A12_0101  1 run\n"
     "passed: 25 of 25 runs as expected\n"),
    # What is not as expected, and a repetition that ends with it.
    (WRITE + 'units = "cpu:0.0"\nfields = {value = 3, group = 1}\nfor = {index = "0-1"}\n'
     + READ + 'units = "cpu:0.0"\nrepeat = 5\nfields = {group = 1}\nfor = {index = [1, 0]}\nexpect = {value = 2}\n'
     + READ + 'units = "cpu:0.0"\nfields = {group = 1, index = 0}\nexpect = [1]\nmask = [0xFFFFFFFD]\n'
     + READ + 'units = "cpu:0.0"\nfields = {group = 1, index = 0}\nverdict = "failure"\n', "--every-run", FAILED,
     "passed   write  cp_9A12_0101  2 runs\n"
     "  cpu:0.0  index=0: pass\n"
     "  cpu:0.0  index=1: pass\n"
     "failed   read   cp_9A12_0101  0 of 2 runs as expected\n"
     "  cpu:0.0  index=1: results not as expected, run 1 of 5\n"
     "    mismatch: value is 0x00000003 instead of 0x00000002\n"
     "  cpu:0.0  index=0: results not as expected, run 1 of 5\n"
     "    mismatch: value is 0x00000003 instead of 0x00000002\n"
     "passed   read   cp_9A12_0101  1 run\n"
     "  cpu:0.0: pass\n"
     "failed   read   cp_9A12_0101  0 of 1 run as expected\n"
     "  cpu:0.0: pass instead of failure\n"
     "failed: 3 of 6 runs as expected\n"),
    # Without leave to go on the other steps are skipped; what cleans up runs.
    (READ + 'units = "cpu:0"\ncontinue = false\nfields = {group = 1, index = 0}\n' + READ
     + 'units = "cpu"\nfields = {group = 1, index = 0}\n' + RESET, "--machine {dead}", FAILED,
     "failed   read            cp_9A12_0101  1 of 2 runs as expected\n"
     "  cpu:0.1: failure instead of pass\n"
     "    failure: lmcr_jtag, code 0xB0, cpu:0.1: the chip does not answer (hardware error)\n"
     "skipped  read            cp_9A12_0101  'read' did not go as expected\n"
     "passed   cleanup: reset  cp_9A11_0101  1 run\n"
     "failed: 2 of 7 runs as expected, 4 not made, 1 step skipped\n"),
    # Kinds of unit that the machine lacks; a group of chips as one unit; several macros.
    ('[[step]]\nmacro = "9A10"\nunits = "cpu"\n[[step]]\nname = "banks"\nmacro = ["sc_9201", "9202"]\n'
     'units = ["sc", "cpu:0"]\ntogether = true\n', "--every-run --machine {no_cpu}", OK,
     "skipped  Dump of all control registers  cp_9A10_0101             this machine has no cpu\n"
     "passed   banks                          sc_9201_0101 and 1 more  2 runs\n"
     "  sc:0.0-1  sc_9201_0101: pass\n"
     "  sc:0.0-1  sc_9202_0101: pass\n"
     "passed: 2 of 2 runs as expected, 1 step skipped\n"),
    # A time limit.
    ("[[step]]\ntimeout = 0.05\n" + ENDLESS, "", FAILED,
     "error    endless  io_9685_0101  0 of 1 run as expected\n"
     "  ioc:0.0: stopped instead of pass\n"
     "    failure: stopped by the time limit of 0.05 s at primitive call N\n"
     "error: 0 of 1 run as expected\n"),
    # Expected to find and to fail; words as they are.
    ('[[step]]\nname = "fails"\nmacro = "9A12"\nunits = "cpu:0.0"\npara = [0x18]\nverdict = "failure"\n', "", OK,
     "passed   fails  cp_9A12_0101  1 run\npassed: 1 of 1 run as expected\n"),
]

# Mistakes: lines after the first two, and the complaint after the file's name.
STEP = '[[step]]\nmacro = "9A12"\nunits = "cpu:0.0"\n'
BAD = [
    ("", "1:1: 'step' is missing; a plan has [[step]] tables"),
    (STEP + "fields = {group = 3}\n", "6:10: group=3: accepted are bytes (0), 1, 2; 'para' gives other words to the macro"),
]

# Wrong use of the command: arguments, complaint.
ONE = "{folder}/one.toml"
MISUSES = [
    ("run nothing", "there is no plan 'nothing'; those built in are bring-up, memory-path; a file has a slash or a dot in "
                    "its name (./nothing)"),
    (f"run {ONE} --resume", "--resume goes on from a checkpoint; name it with --checkpoint FILE"),
    (f"run {ONE} --resume --checkpoint /no/such", "--checkpoint: cannot read '/no/such': No such file or directory"),
    (f"run {ONE} --junit /no/such/file", "--junit: cannot write '/no/such/file': No such file or directory"),
    (f"run {ONE} --ocptv /no/such/file", "--ocptv: cannot write '/no/such/file': No such file or directory"),
    (f"run {ONE} --checkpoint /dev/full", "--checkpoint: cannot write '/dev/full': No space left on device"),
    ("run", "PLAN is required ('mcrhost plan run --help' shows the options)"),
]

# Faults and what of them a built-in plan reports.
FAULTS = [
    ("bring-up", DEAD, "  cpu:0.1: failure instead of pass\n"
     "    failure: lmcr_jtag, code 0xB0, cpu:0.1: the chip does not answer (hardware error)\n", "cpu:0.1"),
    ("bring-up", '[[fault]]\nchip = "cpu:1.0"\nplace = "jtag 0xB1"\nkind = "stuck-0"\nbits = 0x00010000\n',
     "mismatch: value is 0x00045555 instead of 0x00055555\n", "cpu:1.0"),
    ("bring-up", '[[chip]]\nchip = "xb:1.1"\nlink = 0\n', "finding: second sides of links do not run well", "xb:0-1.0-1"),
    ("memory-path", '[[fault]]\nchip = "cpu:0.0"\nplace = "array port 2 ram"\nkind = "stuck-1"\nbit = 17\n',
     "  cpu:0.0  cpj_A380_0101: results not as expected\n", "cpu:0.0"),
    ("memory-path", '[[fault]]\nchip = "cpu:1.1"\nplace = "ring 92"\nkind = "stuck-0"\nbit = 0x28\n',
     "finding: the link is not locked", "cpu:1.1"),
]


def wait_for(condition):
    deadline = time.monotonic() + 60
    while not condition():
        if time.monotonic() > deadline:
            raise AssertionError("it does not happen")
        time.sleep(0.005)


class Plans(unittest.TestCase):
    def setUp(self):
        holder = tempfile.TemporaryDirectory()
        self.addCleanup(holder.cleanup)
        self.folder = pathlib.Path(holder.name)
        self.dead = self.file("dead.toml", 'base = "default"\n' + DEAD)
        self.no_cpu = self.file("no_cpu.toml", 'name = "board"\nboards = 1\n[chips]\nsc = 2\n')
        self.file("one.toml", HEAD + STEP + "para = [8]\n")

    def file(self, name, text):
        path = self.folder / name
        path.write_text(text)
        return path

    def plan(self, arguments):
        return mcrhost("plan " + arguments.format(folder=self.folder, dead=self.dead, no_cpu=self.no_cpu))

    def start(self, arguments):
        command = [os.environ["MCRHOST"], "plan", *shlex.split(arguments)]
        process = subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        self.addCleanup(process.stdout.close)
        return process

    def test_prints_what_came_of_it(self):
        for text, options, status, output in RUNS:
            with self.subTest(text):
                done = self.plan(f"run {self.file('test.toml', HEAD + text)} {options}")
                first, rest = done.stdout.split("\n", 1)
                rest = re.sub(r"(?<=at primitive call )\d+", "N", rest)
                self.assertEqual((rest, done.stderr, done.returncode), (output, "", status))
                self.assertRegex(first, r"^test: Test  \d+ runs? in \d+ steps?  on .* \(simulated\)$")

    def test_refuses_mistakes_before_any_run(self):
        for text, complaint in BAD:
            with self.subTest(text):
                path = self.file("bad.toml", HEAD + text)
                done = self.plan(f"run {path}")
                self.assertEqual((done.stdout, done.returncode), ("", USAGE))
                self.assertEqual(done.stderr, f"mcrhost: {path}:{complaint}\n")

    def test_refuses_wrong_use(self):
        for arguments, complaint in MISUSES:
            with self.subTest(arguments):
                done = self.plan(arguments)
                self.assertEqual((done.stderr, done.stdout, done.returncode), (f"mcrhost: {complaint}\n", "", USAGE))

    def test_goes_on_after_an_interruption(self):
        values = "fields = {value = 0x2A5A5}\nfor = {group = [1, 2], index = \"0-7\"}\n"
        plan = self.file("long.toml", HEAD + WRITE + f'units = "cpu"\nrepeat = 20\n{values}' + READ
                         + 'units = "cpu"\nrepeat = 20\n' + values.replace("fields = {value = 0x2A5A5}\n", "")
                         + "expect = {value = 0x2A5A5}\n" + RESET)
        whole = self.plan(f"run {plan} --every-run --state {self.folder}/whole")
        self.assertEqual(whole.returncode, OK)
        for number in (signal.SIGINT, signal.SIGKILL):
            with self.subTest(number):
                kept = self.folder / f"checkpoint {number}"
                arguments = f"run {plan} --every-run --state {self.folder}/parts --checkpoint '{kept}'"
                process = self.start(arguments)
                wait_for(lambda: kept.exists() and kept.read_text().count("outcome") > 20)
                process.send_signal(number)
                output, _ = process.communicate(timeout=60)
                if number == signal.SIGINT:
                    self.assertEqual(process.returncode, FAILED)
                    self.assertRegex(output, r"passed   cleanup: reset  .*\n(.*\n)?stopped: \d+ of 129 runs as expected, ")
                again = self.plan(arguments + " --resume")
                self.assertEqual((again.stdout, again.stderr, again.returncode), (whole.stdout, "", OK))
                self.assertEqual((self.folder / "parts").read_text(), (self.folder / "whole").read_text())
                self.check_refused_checkpoints(kept, plan)
                (self.folder / "parts").unlink()

    def check_refused_checkpoints(self, kept, plan):
        text = kept.read_text()
        other = self.file("long.txt.toml", plan.read_text() + "\n")
        for changed, file, more, complaint in (
            (text[:-9], plan, "", "is damaged"),
            (text, other, "", "is of another plan, 'long', or of another version of this one; begin again without --resume"),
            (text, plan, f"--machine {self.dead}", "is of another machine: "),
        ):
            kept.write_text(changed)
            done = self.plan(f"run {file} --resume --checkpoint '{kept}' {more}")
            self.assertEqual((done.stdout, done.returncode), ("", USAGE), complaint)
            self.assertTrue(done.stderr.startswith(f"mcrhost: --checkpoint: '{kept}' {complaint}"), done.stderr)

    def test_a_second_signal_ends_it(self):
        files = f"--junit {self.folder}/results.xml --ocptv {self.folder}/results.jsonl"
        process = self.start(f"run {self.file('stop.toml', HEAD + '[[step]]' + chr(10) + ENDLESS + RESET)} {files}")
        self.assertIn("stop: Test", process.stdout.readline())
        process.send_signal(signal.SIGINT)
        output, _ = process.communicate(timeout=60)
        self.assertEqual(process.returncode, FAILED)
        self.assertEqual(output, "skipped  endless         io_9685_0101  interrupted\n"
                                 "passed   cleanup: reset  cp_9A11_0101  1 run\n"
                                 "stopped: 1 of 2 runs as expected, 1 not made, 1 step skipped\n")
        self.assertEqual(ocptv.check((self.folder / "results.jsonl").read_text())[-1][1]["status"], "SKIP")
        self.assertEqual(junitparser.JUnitXml.fromfile(str(self.folder / "results.xml")).skipped, 1)

        process = self.start(f"run {self.file('stop.toml', HEAD + '[[cleanup]]' + chr(10) + ENDLESS + STEP + 'para = [8]')}")
        self.assertIn("stop: Test", process.stdout.readline())
        self.assertIn("passed ", process.stdout.readline())
        process.send_signal(signal.SIGINT)
        time.sleep(0.2)
        self.assertIsNone(process.poll())
        process.send_signal(signal.SIGINT)
        process.communicate(timeout=60)
        self.assertEqual(process.returncode, -signal.SIGINT)

    def check_files(self, plan, machine):
        """Runs a built-in plan; gives the OCPTV artifacts, the JUnit suites and what was printed."""
        done = self.plan(f"run {plan} --machine {machine} --junit {{folder}}/r.xml --ocptv {{folder}}/r.jsonl")
        self.assertEqual(done.stderr, "")
        suites = junitparser.JUnitXml.fromfile(str(self.folder / "r.xml"))
        artifacts = ocptv.check((self.folder / "r.jsonl").read_text())
        self.assertEqual(suites.tests, sum(len(list(suite)) for suite in suites))
        self.assertEqual({prop.value for suite in suites for prop in suite.properties() if prop.name == "simulated"}, {"true"})
        return done, artifacts, suites

    def test_built_in_plans_pass(self):
        for plan in ("bring-up", "memory-path"):
            for machine in MACHINES:
                with self.subTest(plan=plan, machine=machine):
                    done, artifacts, suites = self.check_files(plan, machine)
                    self.assertEqual(done.returncode, OK, done.stdout)
                    self.assertEqual(artifacts[-1][1], {"status": "COMPLETE", "result": "PASS"})
                    self.assertEqual((suites.failures, suites.errors, suites.skipped), (0, 0, 0))
                    self.assertNotIn("FAIL", [content["type"] for kind, content in artifacts if kind == "diagnosis"])

    def test_built_in_plans_find_faults(self):
        for plan, fault, report, place in FAULTS:
            with self.subTest(plan=plan, fault=fault):
                machine = self.file("faulty.toml", 'base = "default"\n' + fault)
                done, artifacts, suites = self.check_files(plan, machine)
                self.assertEqual(done.returncode, FAILED)
                self.assertIn(report, done.stdout)
                self.assertEqual(artifacts[-1][1], {"status": "COMPLETE", "result": "FAIL"})
                found = [content for kind, content in artifacts if kind == "diagnosis" and content["type"] == "FAIL"]
                self.assertEqual({content["hardwareInfoId"] for content in found}, {place})
                self.assertGreaterEqual(len(found), suites.failures)
                self.assertGreater(suites.failures, 0)

    def test_machines_without_a_kind_of_unit(self):
        done, artifacts, suites = self.check_files("memory-path", self.no_cpu)
        self.assertEqual((done.returncode, suites.skipped), (OK, len(list(suites))))
        self.assertEqual(artifacts[-1][1], {"status": "SKIP", "result": "NOT_APPLICABLE"})

    def test_texts_that_formats_have_to_escape(self):
        name = r'''<&>\"\u0001\uFFFE'\\ ä'''
        plan = self.file("odd.toml", f'title = "{name}"\n[[step]]\nname = "{name}"\nmacro = "9A12"\nunits = "cpu:0.0"\n'
                                     "para = [0x18]\n")
        self.check_files(plan, "default")
        suite = next(iter(junitparser.JUnitXml.fromfile(str(self.folder / "r.xml"))))
        self.assertEqual(suite.name, "<&>\"\uFFFD\uFFFD'\\ ä")
        self.assertIn("failure: parameter refused: there is no group 3", next(iter(suite)).result[0].text)

    def test_json_says_what_the_text_says(self):
        text, options, status, output = RUNS[1]
        path = self.file("test.toml", HEAD + text)
        events = [json.loads(line) for line in self.plan(f"run {path} --json").stdout.splitlines()]
        kinds = [event["event"] for event in events]
        self.assertEqual(kinds[:3] + kinds[-2:], ["plan", "step", "run", "step end", "end"])
        self.assertEqual(events[0]["machine"], {"name": "two-board server", "simulated": True})
        run = next(event for event in events if event.get("outcome") == "failed")
        self.assertEqual(run["mismatches"], ["value is 0x00000003 instead of 0x00000002"])
        self.assertEqual(run["measured"], [{"name": "value", "value": 3, "text": "0x00000003",
                                            "expected": {"text": "0x00000002", "holds": False, "value": 2}}])
        self.assertEqual((events[-1]["outcome"], events[-1]["passed"], events[-1]["runs"]), ("failed", 3, 6))

    def test_shows_plans(self):
        self.assertEqual(self.plan("list").stdout, "bring-up      Bring-up check of every unit\n"
                                                   "memory-path   Memory path: ports, links, DIMMs, check bits\n")
        self.assertEqual(self.plan("show bring-up --source").stdout,
                         (pathlib.Path(os.environ["SOURCE_DIR"]) / "plans" / "bring-up.toml").read_text())
        plan = self.file("shown.toml", HEAD + WRITE + 'units = "cpu:0"\nfields = {value = 1, group = 1}\n'
                         'for = {index = [0, 3]}\n' + RESET)
        shown = self.plan(f"show {plan}").stdout
        self.assertEqual(shown, f"shown: Test  5 runs in 2 steps  {ON}\n\nwrite\n  cp_9A12_0101  cpu:0.0 cpu:0.1\n"
                                "  2 choices of values, index=0 to index=3\n\ncleanup: reset\n  cp_9A11_0101  cpu:0.0\n")


if __name__ == "__main__":
    unittest.main()
