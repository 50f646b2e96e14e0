#!/usr/bin/env python3
"""Tests the report on benchmarks.

    bench_report_test.py SCRIPTS_DIR BUILD_DIR BENCH_SETTINGS
"""

import json
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest
import xml.etree.ElementTree

sys.dont_write_bytecode = True  # keeps the source tree unchanged

SCRIPTS = BUILD = PROGRAM = None
SVG = "{http://www.w3.org/2000/svg}"


def row(**changes):
    values = {"work": "a scan", "ours": "a session", "rival": "bare sockets", "nanoseconds": 1234567, "ratio": "speed",
              "goal": 0.4, "median": 0.5, "least": 0.25, "most": 0.625}
    return {**values, **changes}


class Report(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.path = pathlib.Path(self.folder.name)

    def tearDown(self):
        self.folder.cleanup()

    def make(self, **programs):
        for name, rows in programs.items():
            (self.path / f"{name}.json").write_text(rows if isinstance(rows, str) else json.dumps(rows), encoding="utf-8")
        return subprocess.run([str(SCRIPTS / "bench_report"), str(BUILD), str(self.path)], stdout=subprocess.PIPE,
                              stderr=subprocess.PIPE, text=True, check=False)

    def page(self, **programs):
        done = self.make(**programs)
        self.assertEqual((0, ""), (done.returncode, done.stderr))
        return (self.path / "report.md").read_text(encoding="utf-8")

    def drawing(self):
        return xml.etree.ElementTree.parse(self.path / "report.svg").getroot()

    def place_of(self, tag, kind, attribute):
        found = [float(each.get(attribute)) for each in self.drawing().iter(SVG + tag) if each.get("class") == kind]
        self.assertEqual(1, len(found), kind)
        return found[0]

    def test_a_row_has_every_figure(self):
        self.assertIn("| bench_a | a scan | a session | 1234.6 µs | bare sockets | speed | 0.50 | 0.25 to 0.62 "
                      "| at least 0.40, reached |\n", self.page(bench_a=[row()]))

    def test_programs_are_in_one_table(self):
        page = self.page(bench_b=[row(work="second")], bench_a=[row(work="first"), row(work="first", rival="other")])
        places = [page.index(text) for text in ("| bench_a | first ", "| other |", "| bench_b | second ")]
        self.assertEqual(sorted(places), places)
        self.assertEqual(1, page.count("| Program |"))

    def test_goals_of_both_kinds_are_reached_or_missed(self):
        page = self.page(a=[row(median=0.39, least=0.3), row(median=0.4), row(goal=0),
                            row(ratio="time", goal=1.3, median=1.31, most=2), row(ratio="time", goal=1.3, median=1.3, most=2)])
        goals = re.findall(r"^\| a \|.*\| (.*) \|$", page, re.MULTILINE)
        self.assertEqual(["at least 0.40, **missed**", "at least 0.40, reached", "", "at most 1.30, **missed**",
                          "at most 1.30, reached"], goals)
        self.assertIn("2 of 4 goals are reached.", page)

    def test_the_machine_is_described(self):
        page = self.page(a=[row()])
        for name in ("Processor", "Cores", "Kernel", "Compiler", "Options"):
            self.assertRegex(page, rf"\| {name} \| (?!unknown)\S")
        self.assertRegex(page, r"\| Commit \| ([0-9a-f]{12}|unknown)")  # a copy of the tree has none
        self.assertRegex(page, r"\| Compiler \| .*\d+\.\d+")
        for part in ("## How to read it", "](report.svg)"):
            self.assertIn(part, page)

    def test_a_bar_in_a_name_does_not_end_the_cell(self):
        self.assertIn("| a \\| b |", self.page(a=[row(work="a | b")]))

    def test_the_chart_has_each_row_and_no_foreign_markup(self):
        self.page(a=[row(work="<b> & co"), row(rival='"quoted"'), row(work="last")])
        drawing = self.drawing()
        texts = [each.text for each in drawing.iter(SVG + "text")]
        for text in ("<b> & co", 'beside "quoted"', "last"):
            self.assertIn(text, texts)
        self.assertEqual(3, sum(1 for _ in drawing.iter(SVG + "circle")))
        self.assertIn("prefers-color-scheme: dark", drawing.find(SVG + "style").text)

    def test_the_axis_is_logarithmic_and_a_time_is_drawn_as_a_speed(self):
        def places(**changes):
            self.page(a=[row(**changes)])
            return [self.place_of("line", "bar", "x1"), self.place_of("circle", "mark", "cx"),
                    self.place_of("line", "bar", "x2"), self.place_of("line", "goal", "x1"),
                    self.place_of("line", "even", "x1")]

        as_speed = places(least=0.02, median=0.2, most=2, goal=0.02)
        self.assertAlmostEqual(as_speed[1] - as_speed[0], as_speed[2] - as_speed[1], delta=0.2)
        self.assertEqual(as_speed[0], as_speed[3])
        self.assertTrue(as_speed[1] < as_speed[4] < as_speed[2])
        self.assertEqual(as_speed, places(ratio="time", least=0.5, median=5, most=50, goal=50))

    def test_a_missed_goal_is_a_hollow_dot(self):
        self.page(a=[row(median=0.3)])
        self.place_of("circle", "mark missed", "cx")
        self.assertTrue(any((each.text or "").endswith("missed") for each in self.drawing().iter(SVG + "text")))

    def test_results_that_cannot_be_used_are_named(self):
        for rows, reason in (("", "Expecting value"), ("{}", "no results"), ([], "no results"),
                             ([row(median="fast")], "no valid median"), ([{"work": "a"}], "no valid ours"),
                             ([row(ratio="size")], "not plausible"), ([row(least=0)], "not plausible"),
                             ([row(most=0.3)], "not plausible")):
            done = self.make(bench_a=rows)
            self.assertEqual(1, done.returncode, rows)
            self.assertIn("bench_a.json", done.stderr)
            self.assertIn(reason, done.stderr)
            self.assertFalse((self.path / "report.md").exists())

    def test_no_results_are_an_error(self):
        done = self.make()
        self.assertEqual(1, done.returncode)
        self.assertIn("contains no results", done.stderr)

    def test_a_program_writes_what_the_report_reads(self):
        made = self.path / "bench_settings.json"
        subprocess.run([str(PROGRAM), "--rounds", "3", "--json", str(made), "20 KB: load"], stdout=subprocess.DEVNULL,
                       stderr=subprocess.DEVNULL, check=True)
        page = self.page()
        self.assertRegex(page, r"\| bench_settings \| settings blob of 20 KB: load \| the record \|.*a copy of the bytes")


if __name__ == "__main__":
    SCRIPTS, BUILD, PROGRAM = (pathlib.Path(argument) for argument in sys.argv[1:4])
    unittest.main(argv=sys.argv[:1], verbosity=2)
