#!/usr/bin/env python3
"""Tests of scripts/compare_lcov.py and scripts/gcov_to_lcov.py."""
import collections
import io
import os
import shutil
import subprocess
import sys
import tempfile
import unittest
from contextlib import redirect_stdout

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "scripts"))
import compare_lcov  # noqa: E402
import gcov_to_lcov  # noqa: E402


def write(folder, name, text):
    with open(os.path.join(folder, name), "w") as f:
        f.write(text)
    return os.path.join(folder, name)


def lcov(*records):
    """LCOV text: records are (test name, file, {line: count})."""
    return "".join("TN:%s\nSF:%s\n%send_of_record\n" % (test, path, "".join(
        "DA:%d,%d\n" % item for item in sorted(lines.items()))) for test, path, lines in records)


class CompareTest(unittest.TestCase):
    def setUp(self):
        self.dir = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, self.dir)
        self.source = self.write("twice.c", "int twice(int x)\n{\n    int y = x +\n            x;\n"
                                 "    if (y > 100)\n        return 0;\n    return y;\nEND_TEST\n")

    def write(self, name, text):
        return write(self.dir, name, text)

    def compare(self, ref, mirt, *options):
        out = io.StringIO()
        with redirect_stdout(out):
            status = compare_lcov.main([ref, mirt, "--root", self.dir] + list(options))
        return status, out.getvalue()

    def test_figures_files_details_and_thresholds(self):
        # Line 8 closes the function through a macro ("}"), left aside as a
        # closing brace; twice.h and other.c only gcov knows.
        ref = self.write("gcov.info", lcov(
            ("gcov", self.source, {1: 1, 3: 1, 4: 1, 5: 3, 6: 0, 7: 1, 8: 1}),
            ("gcov", os.path.join(self.dir, "twice.h"), {3: 5}),
            ("gcov", self.write("other.c", ""), {1: 1, 3: 1})))
        # mirt64 writes one section per process, with names relative to --root.
        mirt = self.write("mirt.info", lcov(("p1", "twice.c", {1: 1, 5: 1, 6: 0}),
                                            ("p2", "twice.c", {3: 0, 5: 1, 7: 1})))
        status, text = self.compare(ref, mirt, "--details")
        self.assertEqual(status, 0)
        total = [line.split() for line in text.splitlines() if line.startswith("total")][0]
        # executable, never run, executed, exact; then the braces.
        self.assertEqual(total[2::2] + total[-1:], ["5/6", "1/2", "3/5", "2/3", "1"])
        self.assertIn("files only gcov knows: 2, 3 lines (3 run)", text)
        self.assertIn("twice.h  1 lines, 1 run  (header file)", text)
        self.assertIn("sources gcov ran that mirt64 knows: 50.0% 1/2", text)
        # "  LINE  kind  gcov mirt  reason | source"
        lines = {int(l.split()[0]): l for l in text.splitlines() if "|" in l}
        self.assertEqual(sorted(lines), [3, 4, 5])
        self.assertIn("continuation of a multi-line statement", lines[4])
        self.assertIn("counts differ", lines[5])
        for option, limit, expected in (("--min-lines", "83", 0), ("--min-lines", "84", 3),
                                        ("--min-executed", "60", 0), ("--min-files", "51", 3)):
            status, text = self.compare(ref, mirt, option, limit)
            self.assertEqual(status, expected, option + " " + limit)
        self.assertIn("below threshold: files 50.0% < 51.0%", text)
        # Line 5 ran twice by gcov's blocks (gcov counted it entered three times);
        # its gcov count differs in a second run, which sets it aside.
        runs = self.write("runs.info", lcov(("runs", self.source, {5: 2, 7: 1})))
        again = self.write("again.info", lcov(("gcov", self.source, {5: 4, 7: 1})))
        for options, cell, kind in ((["--runs", runs], "3/3", "gcov counts re-entries"),
                                    (["--runs", runs, "--again", again], "2/2", "varies between runs")):
            text = self.compare(ref, mirt, "--details", *options)[1]
            self.assertEqual([l.split() for l in text.splitlines() if l.startswith("total")][0][10], cell)
            self.assertIn(kind, [l for l in text.splitlines() if "|" in l][2])
        self.assertEqual(self.compare(ref, os.path.join(self.dir, "missing.info"))[0], 2)
        for text, brace in (("  }));", True), ("} // namespace x", True), ("} else {", False),
                            ("x = {};", False)):
            self.assertEqual(compare_lcov.is_closing_brace(text), brace, text)

    def test_branches_match_pair_by_pair(self):
        # Line 5: gcov lists the outcome that goes on first, mirt64 true first, over two
        # test cases ([1, 0] + [0, 2]); line 6: as many outcomes in neither.
        ref = self.write("gcov.info", "TN:gcov\nSF:%s\nDA:5,3\nBRDA:5,0,0,2\nBRDA:5,0,1,1\nDA:6,1\n"
                         "BRDA:6,0,0,1\nBRDA:6,0,1,0\nBRDA:6,0,2,4\nend_of_record\n" % self.source)
        mirt = self.write("mirt.info", "".join(
            "TN:%s\nSF:twice.c\nDA:5,1\nBRDA:5,0,0,%d\nBRDA:5,0,1,%d\nBRDA:6,0,0,1\n"
            "end_of_record\n" % t for t in (("a", 1, 0), ("b", 0, 2))))
        self.assertIn("branches: lines with as many outcomes in both 50.0% 1/2; of their outcomes, "
                      "taken alike 100.0% 2/2, equal counts 100.0% 2/2", self.compare(ref, mirt)[1])
        # gcov's JSON: the outcome that only an exception takes is left out.
        document = {"current_working_directory": self.dir, "data_file": "twice.c.gcno", "files": [
            {"file": "twice.c", "lines": [{"line_number": 5, "count": 3, "branches": [
                {"count": 2}, {"count": 7, "throw": True}, {"count": 1}]}]}]}
        counts = collections.defaultdict(lambda: collections.defaultdict(int))
        branches = collections.defaultdict(dict)
        for _ in range(2):
            gcov_to_lcov.add_counts(document, counts, counts, branches)
        self.assertEqual(branches[self.source], {5: [4, 2]})


@unittest.skipUnless(shutil.which("gcc") and shutil.which("gcov"), "needs gcc and gcov")
class GcovToLcovTest(unittest.TestCase):
    def test_counts_match_gcovs_own_listing(self):
        with tempfile.TemporaryDirectory() as d:
            write(d, "part.c", "static int part(int x)\n{\n    return x - 1;\n}\n")
            write(d, "t.c", "#include \"part.c\"\nint main(int argc, char** argv) {\n    int s = 0;\n"
                  "    for (int i = 0; i < 5; i++)\n        s += i;\n    if (argc > 3)\n"
                  "        return part(1); /* LCOV_EXCL_LINE */\n    return s == 10 ? 0 : 2;\n}\n")
            os.mkdir(os.path.join(d, "obj"))
            subprocess.run(["gcc", "--coverage", "-c", "t.c", "-o", "obj/t.o"], cwd=d, check=True)
            subprocess.run(["gcc", "--coverage", "obj/t.o", "-o", "t"], cwd=d, check=True)
            for _ in range(2):
                subprocess.run([os.path.join(d, "t")], cwd=d, check=True)
            info = os.path.join(d, "t.info")
            self.assertEqual(gcov_to_lcov.main([os.path.join(d, "obj"), "-o", info]), 0)
            sections = {}
            compare_lcov.read_lcov(info, d, sections)
            # gcov's own text listing: "count:line:source", "-" for no code, "#####" for never run.
            subprocess.run(["gcov", "-o", "obj", "t.c"], cwd=d, check=True,
                           stdout=subprocess.DEVNULL)
            listed = {}
            with open(os.path.join(d, "t.c.gcov")) as f:
                for row in f:
                    count, number = (p.strip() for p in row.split(":", 2)[:2])
                    if count != "-" and int(number) > 0:
                        listed[int(number)] = 0 if count.startswith("#") else int(count.rstrip("*"))
            self.assertEqual(listed.pop(7), 0)  # marked LCOV_EXCL_LINE
            self.assertEqual(dict(sections["gcov"][os.path.join(d, "t.c")]), listed)
            self.assertEqual(set(sections["included"]), {os.path.join(d, "part.c")})

    @unittest.skipUnless(shutil.which("g++"), "needs g++")
    def test_runs_count_a_line_once_where_gcov_enters_it_twice(self):
        # The return runs s's destructor (on the closing brace's line) between its
        # two blocks: gcov's line count is twice the calls, its blocks' once.
        with tempfile.TemporaryDirectory() as d:
            write(d, "t.cc", "#include <string>\nstatic std::string named(int n) {\n    std::string s(n, 0x78);\n"
                  "    return std::string(s);\n}\nint main(int argc, char**) {\n"
                  "    for (int i = 0; i < 3; i++)\n        named(argc + i);\n}\n")
            subprocess.run(["g++", "--coverage", "t.cc", "-o", "t"], cwd=d, check=True)
            subprocess.run([os.path.join(d, "t")], cwd=d, check=True)
            info, runs = os.path.join(d, "t.info"), os.path.join(d, "runs.info")
            self.assertEqual(gcov_to_lcov.main([d, "-o", info, "--runs", runs]), 0)
            source = os.path.join(d, "t.cc")
            self.assertEqual(compare_lcov.read_lcov(info, d)[source][4], 6)
            self.assertEqual(dict(compare_lcov.read_lcov(runs, d)[source]), {2: 3, 3: 3, 4: 3, 5: 3, 6: 1, 7: 4, 8: 3, 9: 1})


if __name__ == "__main__":
    unittest.main()
