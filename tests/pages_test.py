"""Pages that mcrhost writes of itself: the manual is sound and says what --help says, the reference is up to date."""

import pathlib
import re
import tempfile
import unittest

from project import SOURCE, mcrhost, run

WIDE = ("-rLL=500n", "-Tascii", "-P-cbou")


def written(command):
    """The pages that a command writes into a folder, by name."""
    with tempfile.TemporaryDirectory() as folder:
        done = mcrhost(f"{command} --into {folder}")
        if (done.returncode, done.stdout, done.stderr) != (0, "", ""):
            raise AssertionError(f"{command}: {done}")
        return {path.name: path.read_text() for path in pathlib.Path(folder).iterdir()}


class Manual(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.pages = written("manual")

    def test_every_command_has_a_page(self):
        commands = re.findall(r"^  ([a-z][a-z0-9-]*) {2,}", mcrhost("--help").stdout.split("Subcommands:")[1], re.MULTILINE)
        self.assertGreaterEqual(len(commands), 8)
        self.assertEqual(set(self.pages), {"mcrhost.1", *(f"mcrhost-{command}.1" for command in commands)})

    def test_the_formatter_has_nothing_to_complain_of(self):
        for name, page in self.pages.items():
            with self.subTest(name):
                self.assertEqual(run("groff", "-man", "-ww", "-z", text=page), (0, ""))
                # A character that only some devices have, or a line that was taken for a request, gets lost unseen.
                self.assertTrue(page.isascii())

    def test_prose_has_no_names_of_the_source(self):
        """Renaming something in the source must not rename it in sentences."""
        for name, page in self.pages.items():
            prose = [line for line in page.splitlines() if not re.match(r"[.']|  ", line)]
            found = re.findall(r"\b[a-z]+_[a-z_]+\b|\b(?!JUnit)[A-Z]\w*[a-z]+[A-Z]\w*", "\n".join(prose))
            self.assertEqual(found, [], name)

    def test_pages_say_what_the_help_says(self):
        for name, page in self.pages.items():
            words = name.removesuffix(".1").split("-")[1:]
            shown = run("groff", "-man", *WIDE, text=page)[1]
            helped = mcrhost(" ".join([*words, "--help"])).stdout
            options = re.findall(r"^  (-\S+(?: \S+)?)(?:  |$)", helped, re.MULTILINE)
            examples = re.findall(r"^  (mcrhost .*)$", helped, re.MULTILINE)
            self.assertTrue(examples)
            for text in (*options, *examples):
                with self.subTest(page=name, text=text):
                    self.assertIn(text, shown)


    def test_exit_statuses_are_told_alike(self):
        """By the document, the page and the help of a command."""
        for document, command in (("host", "run"), ("plans", "plan")):
            with self.subTest(command):
                text = (SOURCE / "docs" / f"{document}.md").read_text()
                told = re.findall(r"^\| ([0-2]) \| (.*) \|$", text.split("| Exit status | Meaning |")[1], re.MULTILINE)[:3]
                section = self.pages[f"mcrhost-{command}.1"].split(".SH EXIT STATUS\n")[1].split(".SH")[0]
                shown = re.findall(r"\.TP\n\\fB(\d)\\fR\n(.*)\.\n", section)
                self.assertEqual([(status, meaning[0].lower() + meaning[1:]) for status, meaning in shown], told)
                helped = " ".join(mcrhost(f"{command} --help").stdout.split())
                self.assertIn(f"Ends with 0 when {told[0][1]}, 1 when {told[1][1]}, 2 for wrong usage.", helped)

    def test_parts_tell_what_is_common_once(self):
        for command, common, own in (("ring", ["--trace[=FILE]", "--state FILE"], ["BITS", "BITS"]),
                                     ("plan", ["--machine FILE", "--catalogue DIR"], ["--junit FILE", "--source"])):
            page = run("groff", "-man", *WIDE, text=self.pages[f"mcrhost-{command}.1"])[1]
            parts, shared = page.split("COMMON OPTIONS")
            terms = [re.findall(r"^ {7}(\S.*?)(?: {2,}|$)", text, re.MULTILINE) for text in (parts, shared)]
            for option in common:
                self.assertEqual([text.count(option) for text in terms], [0, 1], (command, option))
            for option in own:
                self.assertEqual([text.count(option) for text in terms], [own.count(option), 0], (command, option))


class Reference(unittest.TestCase):
    def test_it_is_up_to_date(self):
        folder = SOURCE / "docs" / "reference"
        kept = {path.name: path.read_text() for path in folder.iterdir()}
        self.assertTrue(kept == written("reference"), "docs/reference is not what the catalogue says; to renew it: "
                        "rm docs/reference/*; ./mcrhost reference --into docs/reference")

    def test_tables_are_whole(self):
        """As many cells in every row as the heading of its table has."""
        for name, page in written("reference").items():
            for table in re.findall(r"(?:^\|.*\n)+", page, re.MULTILINE):
                cells = {len(re.findall(r"(?<!\\)\|", line)) for line in table.splitlines()}
                self.assertEqual(len(cells), 1, f"{name}:\n{table}")

    def test_documents_name_the_places_that_it_has(self):
        """A field of a parameter word that a document mentions is one of the macros that it is about."""
        reference = SOURCE / "docs" / "reference"
        places = 0
        for path in (SOURCE / "docs").glob("*.md"):
            text = path.read_text()
            linked = "".join((reference / page).read_text() for page in set(re.findall(r"\(reference/([\w-]+\.md)", text)))
            for word, bits in re.findall(r"`_PARA\[(\d)\]`,? \(?(bits? \d+(?:-\d+)?)", text):
                places += 1
                with self.subTest(document=path.name, word=word, bits=bits):
                    self.assertRegex(linked, rf"\\_PARA\[{word}\] {bits} \|")
        self.assertGreater(places, 3)

    def test_bits_count_one_way(self):
        """Words whose bit 0 is the most significant are named in one place, which says which those are."""
        counted = r"(?i)bits? (?:0 (?:is|being) the most|count\w* from the most)"
        for path in sorted((SOURCE / "docs").rglob("*.md")):
            with self.subTest(document=path.name):
                self.assertNotRegex(path.read_text(), counted)

    def test_misuse(self):
        done = mcrhost("reference crosbar")
        self.assertEqual((done.returncode, done.stdout), (2, ""))
        self.assertRegex(done.stderr, r"^mcrhost: there is no family 'crosbar'; the families are cpu-arrays, .*\n$")
        done = mcrhost("manual copy")
        self.assertEqual((done.returncode, done.stdout, done.stderr), (
            2, "", "mcrhost: there is no manual page of a command 'copy'; 'mcrhost --help' shows the commands\n"))


if __name__ == "__main__":
    unittest.main()
