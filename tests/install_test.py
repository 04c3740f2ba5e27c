"""The installed package serves its users: through CMake, through pkg-config, and by starting mcrhost."""

import os
import pathlib
import subprocess
import tempfile
import unittest

BUILD = os.environ["BUILD_DIR"]
CONSUMER = pathlib.Path(os.environ["SOURCE_DIR"], "tests", "consumer")
LIBDIR = os.environ["INSTALL_LIBDIR"]


def run(*command, **environment):
    done = subprocess.run(
        [str(word) for word in command], capture_output=True, text=True, env=os.environ | environment, check=False
    )
    if done.returncode != 0:
        raise AssertionError(f"{command} ended with {done.returncode}:\n{done.stdout}{done.stderr}")
    return done.stdout


class InstalledPackage(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(cls.folder.cleanup)
        first = pathlib.Path(cls.folder.name, "first")
        run("cmake", "--install", BUILD, "--prefix", first)
        # Nothing may depend on where it was installed.
        cls.prefix = first.rename(pathlib.Path(cls.folder.name, "moved"))

    def test_cmake_package(self):
        build = pathlib.Path(self.folder.name, "build")
        compilers = [f"-DCMAKE_{language}_COMPILER={os.environ[name]}" for language, name in (("C", "CC"), ("CXX", "CXX"))]
        run("cmake", "-S", CONSUMER, "-B", build, "-G", "Ninja", f"-DCMAKE_PREFIX_PATH={self.prefix}", *compilers)
        run("cmake", "--build", build)
        self.assertEqual(run(build / "in_c"), "dumped, placeholder 0\n")
        self.assertIn(", cpu:0.0\n", run(build / "in_cpp"))

    def test_pkg_config(self):
        path = str(self.prefix / LIBDIR / "pkgconfig")
        flags = run("pkg-config", "--cflags", "--libs", "macrodebug", PKG_CONFIG_PATH=path).split()
        program = pathlib.Path(self.folder.name, "by_pkg_config")
        run(os.environ["CC"], "-std=c11", CONSUMER / "consumer.c", *flags, "-o", program)
        library_path = str(self.prefix / LIBDIR)
        self.assertEqual(run(program, LD_LIBRARY_PATH=library_path), "dumped, placeholder 0\n")

    def test_mcrhost_finds_its_libraries(self):
        self.assertIn("cp_9A10_0101", run(self.prefix / "bin" / "mcrhost", "list"))


if __name__ == "__main__":
    unittest.main()
