"""The Debian packages: they divide the installation among them, and serve whoever installs them on a clean system."""

import os
import pathlib
import re
import tempfile
import unittest

from project import BUILD, SOURCE, output_of, run

VERSION = re.search(r"project\(macrodebug VERSION (\S+)", (SOURCE / "CMakeLists.txt").read_text())[1]
LIBRARIES = f"libmacrodebug{VERSION.split('.')[0]}"
PATH = f"{os.environ['PATH']}:/usr/sbin:/sbin"


def files_below(folder):
    return {str(path.relative_to(folder)) for path in folder.rglob("*") if not path.is_dir()}


def own_files(root):
    return {name for name in files_below(root) if name.startswith("usr/")}


class Packages(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        holder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(holder.cleanup)
        cls.folder = pathlib.Path(holder.name)
        output_of("cpack", "--config", BUILD / "CPackConfig.cmake", "-B", cls.folder / "packages")
        cls.packages = {path.name.split("_")[0]: path for path in (cls.folder / "packages").glob("*.deb")}

    def control(self, package, field):
        return output_of("dpkg-deb", "--field", self.packages[package], field).strip()

    def clean_root(self):
        """A system on which nothing is installed but what dpkg is told: the packages that this system has."""
        root = pathlib.Path(tempfile.mkdtemp(dir=self.folder))
        for name in ("etc", "var/lib/dpkg/info", "var/lib/dpkg/updates"):
            (root / name).mkdir(parents=True)
        ours = "|".join(map(re.escape, self.packages))
        status = pathlib.Path("/var/lib/dpkg/status").read_text()
        others = [entry for entry in status.split("\n\n") if not re.match(rf"Package: ({ours})\n", entry)]
        (root / "var/lib/dpkg/status").write_text("\n\n".join(others))
        return root

    def dpkg(self, root, *arguments):
        options = (f"--root={root}", f"--log={root}/log", "--force-script-chrootless", "--force-not-root")
        return run("fakeroot", "dpkg", *options, *arguments, PATH=PATH)

    def test_what_they_say_of_themselves(self):
        self.assertEqual(set(self.packages), {LIBRARIES, "libmacrodebug-dev", "mcrhost"})
        for package, section in ((LIBRARIES, "libs"), ("libmacrodebug-dev", "libdevel"), ("mcrhost", "utils")):
            with self.subTest(package):
                self.assertEqual(self.control(package, "Version"), VERSION)
                self.assertEqual(self.control(package, "Section"), section)
                self.assertEqual(self.control(package, "Maintainer"), "macrodebug maintainers")
                # A line for lists, and an indented text.
                self.assertRegex(self.control(package, "Description"), r"^[A-Z].{10,78}[a-z]\n .*\.$")
                if package != LIBRARIES:
                    self.assertIn(f"{LIBRARIES} (= {VERSION})", self.control(package, "Depends"))
        for package in (LIBRARIES, "mcrhost"):
            self.assertRegex(self.control(package, "Depends"), r"\blibc6 \(>= .*\blibstdc\+\+6 \(>= ")

    def test_they_are_the_installation(self):
        output_of("cmake", "--install", BUILD, "--prefix", self.folder / "whole" / "usr")
        together = []
        (self.folder / "parts").mkdir()
        for name, package in self.packages.items():
            output_of("dpkg-deb", "--extract", package, self.folder / "parts" / name)
            together += own_files(self.folder / "parts" / name)
        self.assertEqual(sorted(together), sorted(own_files(self.folder / "whole")))

    def test_they_need_each_other(self):
        status, said = self.dpkg(self.clean_root(), "--install", self.packages["mcrhost"])
        self.assertNotEqual(status, 0)
        self.assertIn(f"mcrhost depends on {LIBRARIES} (= {VERSION})", said)

    def test_on_a_clean_system(self):
        root = self.clean_root()
        status, said = self.dpkg(root, "--install", *self.packages.values())
        self.assertEqual(status, 0, said)
        self.assertTrue((root / "etc/ld.so.cache").exists())
        tutorial = (SOURCE / "docs" / "tutorial.md").read_text()
        command, shown = re.search(r"^\$ mcrhost (.*)\n((?:[^$`].*\n)+)", tutorial, re.MULTILINE).groups()
        environment = {"MACRODEBUG_LIBRARY": ""}
        self.assertEqual(run(root / "usr/bin/mcrhost", *command.split(), **environment), (0, shown))
        loaded = output_of(root / "usr/bin/mcrhost", "list", "--json", **environment)
        self.assertEqual(len(set(re.findall(rf'"library": "{root}/usr/lib/.*"', loaded))), 1)
        self.assertIn(b"mcrhost run", (root / "usr/share/man/man1/mcrhost-run.1").read_bytes())
        self.assertIn(LIBRARIES, output_of("dpkg", f"--root={root}", "--search", "*/libscdb.so.*"))

        status, said = self.dpkg(root, "--remove", *self.packages)
        self.assertEqual((status, own_files(root)), (0, set()), said)


if __name__ == "__main__":
    unittest.main()
