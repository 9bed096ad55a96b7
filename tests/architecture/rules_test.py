#!/usr/bin/env python3
"""The rules of architecture.py can fail: each is broken in a copy of the sources, and the broken line is named.

usage: rules_test.py ROOT
"""
import shutil
import sys
import tempfile
import unittest
from pathlib import Path

import architecture

ROOT = Path(sys.argv.pop())


class Rules(unittest.TestCase):
    def complaints_after(self, file, line):
        """Complaints about the tree with a line put before the others of a file."""
        with tempfile.TemporaryDirectory() as folder:
            copy = Path(folder)
            for name in ("src", "api", "cli", "cluster", "hosts", "python"):
                shutil.copytree(ROOT / name, copy / name)
            path = copy / file
            path.write_text(line + "\n" + path.read_text())
            return architecture.check(copy)[0]

    def expect(self, file, line, complaint):
        found = self.complaints_after(file, line)
        self.assertTrue(any(c.startswith(f"{file}:1: ") and complaint in c for c in found), found)

    def test_an_include_of_a_floor_above(self):
        self.expect("src/optdoe/run/wrap32.h", '#include "optdoe/search/search_state.h"', "lies above")

    def test_an_include_of_the_roof_from_the_criteria(self):
        self.expect("src/optdoe/criteria/criterion.cpp", '#include "optdoe/entry/optdoe.h"', "lies above")

    def test_a_bare_include(self):
        self.expect("api/settings/settings.cpp", '#include "errors.h"', "no file from the root")

    def test_a_room_that_includes_another(self):
        self.expect("src/optdoe/criteria/cd2/cd2.cpp", '#include "optdoe/criteria/a2/a2.h"', "of another criterion")

    def test_a_criterion_named_outside_its_room_and_the_table(self):
        self.expect("src/optdoe/search/search_driver.cpp", "static int entropy_rounds;", "names the criterion entropy")

    def test_a_circle_of_two_units(self):
        found = self.complaints_after("src/optdoe/search/search_setup.cpp", '#include "optdoe/search/search_driver.h"')
        self.assertFalse(any("circle" in c for c in found), found)
        found = self.complaints_after("src/optdoe/search/search_state.h", '#include "optdoe/search/column_moves.h"')
        self.assertTrue(any("circle" in c and "search_state" in c for c in found), found)

    def test_a_criterion_named_in_a_comment_or_a_text_is_no_complaint(self):
        self.assertEqual(self.complaints_after("src/optdoe/search/search_driver.cpp", '// phip_ops, "a2_ops"'),
                         architecture.check(ROOT)[0])


if __name__ == "__main__":
    unittest.main()
