"""The sessions that the README and the tutorial show are what the program prints."""

import unittest

import sessions
from project import SOURCE


class Documents(unittest.TestCase):
    def test_readme(self):
        sessions.check(self, SOURCE / "README.md", 4)

    def test_tutorial(self):
        sessions.check(self, SOURCE / "docs" / "tutorial.md", 20)


if __name__ == "__main__":
    unittest.main()
