#!/usr/bin/env python3
"""Tests of what scripts/bench makes of its measurements; nothing is measured here."""
import importlib.machinery
import importlib.util
import os
import re
import subprocess
import sys
import unittest

sys.dont_write_bytecode = True
import document  # noqa: E402
import measuring  # noqa: E402

SCRIPT = os.path.join(os.path.dirname(os.path.dirname(os.path.abspath(__file__))), "scripts", "bench")


def load_script():
    loader = importlib.machinery.SourceFileLoader("bench", SCRIPT)
    module = importlib.util.module_from_spec(importlib.util.spec_from_loader("bench", loader))
    loader.exec_module(module)
    return module


def costs(*seconds, more=None):
    return [measuring.Cost(each, 3 * document.MIB, more or {}) for each in seconds]


class Figures(unittest.TestCase):
    def test_numbers_have_three_digits_that_count(self):
        self.assertEqual([document.number(each) for each in (1234.5, 12.34, 1.234, None)],
                         ["1,234", "12.3", "1.23", "-"])

    def test_a_spread_is_minimum_and_median(self):
        self.assertEqual(document.spread([0.003, 0.001, 0.008], 1e-3), "1.00 / 3.00")
        self.assertEqual(document.spread([]), "-")

    def test_a_ratio_is_that_of_the_minima_and_the_median_of_the_rounds(self):
        # The rounds give 2, 3 and 1; the minima 2 and 1.
        self.assertEqual(document.times([2, 9, 4], [1, 3, 4]), "2.00 / 2.00")
        self.assertEqual(document.times([2, 12, 12], [1, 4, 4]), "2.00 / 3.00")
        self.assertEqual(document.times([1], []), "-")

    def test_growth_compares_accounts_of_the_largest_and_the_smallest_settings(self):
        self.assertAlmostEqual(document.growth({1000: [2.0, 1.0], 10000: [15.0, 30.0]}), 1.5)
        self.assertIsNone(document.growth({1000: [1.0]}))

    def test_what_lies_within_the_noise_is_no_change(self):
        noisy = [1.0, 1.3, 1.0, 1.3, 1.0]
        self.assertEqual(document.slower(noisy, [each * 1.1 for each in noisy])[2], "")
        steady = [1.0, 1.01, 1.0, 1.01, 1.0]
        self.assertEqual(document.slower(steady, [each * 1.1 for each in steady])[2], "slower")
        self.assertEqual(document.slower(steady, [each * 0.9 for each in steady])[2], "faster")
        self.assertEqual(document.slower(steady, steady)[2], "")

    def test_a_comparison_leaves_out_what_one_build_lacks(self):
        text = document.comparison_table({"a": [1.0, 1.0], "b": [1.0, 1.0]}, {"a": [2.0, 2.0]})
        self.assertIn("| a | 1,000 / 1,000 | 2,000 / 2,000 | 2.000 | 0.0 % | slower |", text)
        self.assertNotIn("| b |", text)


class Counts(unittest.TestCase):
    def test_system_calls(self):
        log = ['7 execve("/x", [], 0x1) = 0', '7 openat(AT_FDCWD, "a", O_RDONLY) = 3',
               "8 fsync(3 <unfinished ...>", "7 close(3) = 0", "8 <... fsync resumed>) = 0",
               '7 renameat2(3, "a", 4, "b", 0) = 0', "7 +++ exited with 0 +++"]
        self.assertEqual(dict(measuring.counted_calls(log)), {"calls": 5, "flushes": 1, "renames": 1})

    def test_work_of_the_codec(self):
        profile = ["fn=(1) main", "0 5", "cfn=(2) accountsettings::readBinary(bytes)", "calls=2 0", "0 70",
                   "fn=(2)", "cfn=(3) other()", "calls=1 0", "0 20", "fn=(4) save()", "cfn=(2)", "calls=1 0",
                   "0 30", "cfn=(5) accountsettings::writeBinary(list)", "calls=1 0", "0 9"]
        self.assertEqual(measuring.inclusive_instructions(profile), {"parsed": 100, "serialized": 9})


class Document(unittest.TestCase):
    def written(self, with_peers):
        script = load_script()
        extent = script.QUICK
        sizes = list(extent.rounds)
        measured = {(name, size): costs(size * 2e-6, size * 1e-6, more={
            "parsed": 1, "serialized": 2, "stores": 1}) for size in sizes for name, *_ in script.WORKS}
        if with_peers:
            measured.update({(name, size): costs(size * 1e-6, size * 5e-7)
                             for size in sizes for name, *_ in script.MARKS})
        measured.update({("distinct", size): costs(size * 1e-6) for size in extent.distinct})
        codec = {f"{work}/{form}/{who}/{size}": [2e-6, 1e-6] for work in ("read", "write")
                 for form in ("binary", "xml") for size in extent.codec_sizes
                 for who in (("this", "c", "python") if with_peers else ("this",))}
        counts = {"calls": 7, "flushes": 2, "renames": 1}
        small = [("`show`", costs(0.002), counts if with_peers else None, "2.0")]
        work = {name: {"parsed": 1.0, "serialized": 2.0} for name, *_ in script.WORKS}
        return script.write_document(extent, {"processor": "2 times one"}, measured, small, codec,
                                     work if with_peers else None)

    def test_every_row_is_there(self):
        text = self.written(with_peers=True)
        self.assertIn("| library, whole chain 0 to 12 | 10.0 / 15.0 | 2.00 / 2.00 | 3.5 | 3.00 | 300 |", text)
        self.assertIn("| `show` | 2.00 / 2.00 | 2.0 | 7 | 2 | 1 |", text)
        self.assertIn("| read, binary, 12 | 1.00 / 1.50 | 1.00 / 1.50 | 1.00 / 1.00 | 3 | 1.00 / 1.00 |", text)
        self.assertIn("| `report` | 1.0 | 2.0 |", text)

    def test_what_could_not_be_measured_is_said(self):
        text = self.written(with_peers=False)
        self.assertIn("| library, whole chain 0 to 12 | 10.0 / 15.0 | - | 3.5 | 3.00 | 300 |", text)
        self.assertIn("| `show` | 2.00 / 2.00 | 2.0 | - | - | - |", text)
        self.assertIn("| read, binary, 12 | 1.00 / 1.50 | - | - | 3 | - |", text)
        self.assertIn("The C library was not measured", text)
        self.assertIn("Not measured: there is no valgrind here.", text)

    def test_all_rows_of_a_table_are_as_wide_as_its_head(self):
        for block in re.findall(r"(?:^\|.*\n)+", self.written(with_peers=True), re.MULTILINE):
            widths = {line.count("|") for line in block.splitlines()}
            self.assertEqual(len(widths), 1, block)


class Script(unittest.TestCase):
    def test_help_names_the_options(self):
        shown = subprocess.run([SCRIPT, "--help"], check=True, capture_output=True, text=True).stdout
        for option in ("--quick", "--compare", "--output"):
            self.assertIn(option, shown)


if __name__ == "__main__":
    unittest.main()
